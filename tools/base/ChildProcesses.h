// Work in child processes, several side by side. A child that crashes or runs out of memory ends nothing
// else.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <map>
#include <string>

namespace lorb::tools {

/// What a child process left behind.
struct ChildOutcome {
  std::size_t number;    ///< that it was started with
  int exitCode;          ///< 0 also when a signal ended it
  int signal;            ///< that ended it; 0 when it ended by itself
  std::string out, err;  ///< what it printed
};

/// The child processes of this process, which has no others meanwhile.
class ChildProcesses {
 public:
  ChildProcesses() = default;
  ~ChildProcesses();  ///< Ends those that are still running.
  ChildProcesses(ChildProcesses const&) = delete;
  ChildProcesses& operator=(ChildProcesses const&) = delete;

  /// Calls `f` in a new child process, which ends with the exit code that `f` returns. What it prints is kept
  /// in memory. The child leaves the work folders of this process alone, and gets SIGTERM when this process
  /// ends before it. No other thread of this process may hold a lock that `f` waits for. Throws `Error` when
  /// no process is to be had.
  void start(std::size_t number, std::function<int()> const& f);

  std::size_t running() const { return children_.size(); }

  /// Waits until one of them has ended. One at least must be running.
  ChildOutcome wait();

  /// Sends SIGTERM to all children of this process and waits until they have ended, for a few seconds; then
  /// ends them outright. For a process that is to end at once, from whichever thread: callers that start a
  /// child or wait for one afterwards wait forever.
  static void endAllForGood();

 private:
  struct Child {
    std::size_t number;
    int out, err;  ///< files in memory
  };
  std::map<pid_t, Child> children_;
};

}  // namespace lorb::tools
