#include "tools/base/childCalls.h"

#include "tools/base/errors.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <new>
#include <optional>
#include <system_error>

namespace lorb::tools {
namespace {

/// What precedes each message in the pipe.
struct MessageHead {
  bool isEnd = false;  ///< whether the call ended, the message being the text of its exception
  CallEnd end = CallEnd::returned;
  std::uint64_t size = 0;
};

struct Pipe {
  Pipe() {
    if (pipe2(ends, O_CLOEXEC) == 0) return;
    throw Error(ExitCode::internal, "can't make a pipe: " + std::generic_category().message(errno));
  }
  ~Pipe() {
    closeEnd(0);
    closeEnd(1);
  }
  Pipe(Pipe const&) = delete;
  Pipe& operator=(Pipe const&) = delete;
  void closeEnd(std::size_t k) {
    if (ends[k] >= 0) close(ends[k]);
    ends[k] = -1;
  }
  int ends[2] = {-1, -1};  ///< to read from and to write to
};

/// False when the other end is closed before all bytes came.
bool readAll(int file, void* target, std::size_t size) {
  auto* bytes = static_cast<char*>(target);
  while (size > 0) {
    ssize_t const count = read(file, bytes, size);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    bytes += count;
    size -= static_cast<std::size_t>(count);
  }
  return true;
}

/// Ends the child when nobody reads.
void writeAll(int file, void const* source, std::size_t size) {
  auto const* bytes = static_cast<char const*>(source);
  while (size > 0) {
    ssize_t const count = write(file, bytes, size);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) _exit(1);
    bytes += count;
    size -= static_cast<std::size_t>(count);
  }
}

void writeMessage(int file, MessageHead head, void const* bytes, std::size_t size) {
  head.size = size;
  writeAll(file, &head, sizeof head);
  writeAll(file, bytes, size);
}

void becomeSilent() {
  int const nowhere = open("/dev/null", O_WRONLY);
  dup2(nowhere, STDOUT_FILENO);
  dup2(nowhere, STDERR_FILENO);
}

/// The address sanitizer reserves more address space than any limit leaves.
#if defined(__has_feature)
constexpr bool hasAddressSanitizer = __has_feature(address_sanitizer);
#else
constexpr bool hasAddressSanitizer = false;
#endif

/// Bytes of address space that this process has.
std::uint64_t addressSpace() {
  std::uint64_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  return pages * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
}

void limitTo(int resource, std::uint64_t most) {
  rlimit limit;
  if (getrlimit(resource, &limit) != 0) return;
  limit.rlim_cur = std::min<rlim_t>(most, limit.rlim_max);
  setrlimit(resource, &limit);
}

/// Seconds of processor time that this process has taken, rounded up.
std::uint64_t secondsTaken() {
  rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<std::uint64_t>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) + 2;
}

void becomeHarmless(ChildLimits const& limits) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  limitTo(RLIMIT_CORE, 0);
  if (!hasAddressSanitizer) limitTo(RLIMIT_AS, addressSpace() + limits.bytes);
  for (int number : {SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGXCPU}) signal(number, SIG_DFL);
  becomeSilent();
}

/// How a call ended in the child process that survives it.
MessageHead endOf(std::size_t k, ChildCall const& f, Send const& send, std::string& reason) {
  try {
    f(k, send);
    return {true, CallEnd::returned};
  } catch (std::bad_alloc const&) {
    return {true, CallEnd::outOfMemory};
  } catch (std::exception const& error) {
    reason = error.what();
  } catch (...) {
    reason = "unknown exception";
  }
  return {true, CallEnd::threw};
}

[[noreturn]] void runChild(std::size_t first, std::size_t count, ChildLimits const& limits,
                           ChildCall const& f, int file) {
  becomeHarmless(limits);
  Send const send = [file](std::span<std::byte const> bytes) {
    writeMessage(file, {}, bytes.data(), bytes.size());
  };
  for (std::size_t k = first; k < count; ++k) {
    limitTo(RLIMIT_CPU, secondsTaken() + limits.seconds);
    std::string reason;
    MessageHead const end = endOf(k, f, send, reason);
    writeMessage(file, end, reason.data(), reason.size());
  }
  _exit(0);
}

/// A child process, which is ended with this object at the latest.
class Child {
 public:
  Child(std::size_t first, std::size_t count, ChildLimits const& limits, ChildCall const& f) {
    // What waits in buffers is not to be printed twice.
    std::cout.flush();
    std::fflush(nullptr);
    process_ = fork();
    if (process_ < 0) {
      throw Error(ExitCode::internal, "can't start a process: " + std::generic_category().message(errno));
    }
    if (process_ == 0) runChild(first, count, limits, f, pipe_.ends[1]);
    pipe_.closeEnd(1);
  }
  ~Child() {
    if (process_ <= 0) return;
    kill(process_, SIGKILL);
    wait();
  }
  Child(Child const&) = delete;
  Child& operator=(Child const&) = delete;

  /// The next message; nothing when the child has ended.
  std::optional<MessageHead> next(std::vector<std::byte>& bytes) {
    MessageHead head;
    if (!readAll(pipe_.ends[0], &head, sizeof head)) return std::nullopt;
    bytes.resize(head.size);
    if (!readAll(pipe_.ends[0], bytes.data(), bytes.size())) return std::nullopt;
    return head;
  }

  /// What ended a child that sent no end of its call.
  CallEnd end() {
    int const status = wait();
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGXCPU ? CallEnd::outOfTime : CallEnd::crashed;
  }

 private:
  int wait() {
    int status = 0;
    while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {
    }
    process_ = -1;
    return status;
  }

  Pipe pipe_;
  pid_t process_ = -1;
};

}  // namespace

void callInChild(std::size_t count, ChildLimits const& limits, ChildCall const& f, Received const& received,
                 Ended const& ended) {
  std::vector<std::byte> bytes;
  for (std::size_t k = 0; k < count;) {
    Child child(k, count, limits, f);
    while (k < count) {
      auto const head = child.next(bytes);
      if (!head) {
        ended(k++, child.end(), {});
        break;
      }
      if (head->isEnd) {
        ended(k++, head->end, {reinterpret_cast<char const*>(bytes.data()), bytes.size()});
      } else {
        received(k, bytes);
      }
    }
  }
}

}  // namespace lorb::tools
