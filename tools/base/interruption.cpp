#include "tools/base/interruption.h"

#include "tools/base/ChildProcesses.h"
#include "tools/base/WorkFolder.h"
#include "tools/base/errors.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <latch>
#include <optional>
#include <string_view>
#include <thread>

namespace lorb::tools {
namespace {

/// Whoever started the process may have it ignore some: nohup the one, a shell in the background the other.
bool isIgnored(int number) {
  struct sigaction action = {};
  return sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

sigset_t interruptions() {
  sigset_t set;
  sigemptyset(&set);
  for (int const number : {SIGINT, SIGTERM, SIGHUP}) {
    if (!isIgnored(number)) sigaddset(&set, number);
  }
  return set;
}

/// Waits in a thread of its own, where it may do what a signal handler may not.
[[noreturn]] void waitForInterruption(int errors, std::latch* waiting) {
  sigset_t const set = interruptions();
  waiting->count_down();
  int signal = 0;
  while (sigwait(&set, &signal) != 0) {
  }
  ChildProcesses::endAllForGood();
  WorkFolder::removeAllForGood();
  constexpr std::string_view line = "\r\x1b[Klorb-distance: interrupted\n";
  constexpr std::size_t control = 4;  // characters that clear a bar of progress
  std::size_t const skipped = isatty(errors) != 0 ? 0 : control;
  [[maybe_unused]] auto const ignored = write(errors, line.data() + skipped, line.size() - skipped);
  _exit(static_cast<int>(ExitCode::interrupted));
}

}  // namespace

void endOnInterruption() {
  sigset_t const set = interruptions();
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  // Standard error may be silenced when the signal comes.
  int const errors = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
  // Until the thread has started it may hold locks of its start, which a process that is forked meanwhile
  // would wait for in vain.
  static std::optional<std::latch> waiting;
  waiting.emplace(1);
  std::thread(waitForInterruption, errors, &*waiting).detach();
  waiting->wait();
}

}  // namespace lorb::tools
