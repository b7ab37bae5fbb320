#include "tools/volume/crashFence.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <iostream>
#include <memory>
#include <new>

namespace lorb::tools {
namespace {

using Counter = std::atomic<std::size_t>;

/// Memory that child processes share.
class SharedCounter {
 public:
  SharedCounter()
      : memory_(mmap(nullptr, sizeof(Counter), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) {
    if (memory_ == MAP_FAILED) throw std::bad_alloc();
    new (memory_) Counter(0);
  }
  ~SharedCounter() { munmap(memory_, sizeof(Counter)); }
  SharedCounter(SharedCounter const&) = delete;
  SharedCounter& operator=(SharedCounter const&) = delete;
  Counter& operator*() const { return *static_cast<Counter*>(memory_); }

 private:
  void* memory_;
};

void becomeSilent() {
  int const nowhere = open("/dev/null", O_WRONLY);
  dup2(nowhere, STDOUT_FILENO);
  dup2(nowhere, STDERR_FILENO);
}

[[noreturn]] void runChild(std::size_t count, std::function<void(std::size_t)> const& f, Counter& next) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  rlimit const noCore = {0, 0};
  setrlimit(RLIMIT_CORE, &noCore);
  for (int number : {SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL}) signal(number, SIG_DFL);
  becomeSilent();
  for (; next < count; ++next) {
    try {
      f(next);
    } catch (...) {
    }
  }
  _exit(0);
}

bool endedBySignal(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) return false;
  }
  return WIFSIGNALED(status);
}

}  // namespace

std::vector<std::size_t> fatalCalls(std::size_t count, std::function<void(std::size_t)> const& f) {
  std::vector<std::size_t> fatal;
  SharedCounter const next;
  while (*next < count) {
    // What waits in buffers is not to be printed twice.
    std::cout.flush();
    std::fflush(nullptr);
    pid_t const child = fork();
    if (child < 0) break;
    if (child == 0) runChild(count, f, *next);
    if (!endedBySignal(child)) break;
    fatal.push_back((*next)++);
  }
  return fatal;
}

}  // namespace lorb::tools
