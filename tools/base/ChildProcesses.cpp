#include "tools/base/ChildProcesses.h"

#include "tools/base/WorkFolder.h"
#include "tools/base/errors.h"

#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <mutex>
#include <set>
#include <system_error>
#include <thread>

namespace lorb::tools {
namespace {

std::mutex mutex;
std::set<pid_t> living;  // guarded by the mutex

[[noreturn]] void refuse(char const* what) {
  throw Error(ExitCode::internal, std::string(what) + ": " + std::generic_category().message(errno));
}

int fileInMemory(char const* name) {
  int const file = memfd_create(name, MFD_CLOEXEC);
  if (file < 0) refuse("no memory for what a child process prints");
  return file;
}

/// What waits in buffers is not to be printed by both processes.
void flushEverything() {
  std::cout.flush();
  std::cerr.flush();
  std::fflush(nullptr);
}

[[noreturn]] void runChild(pid_t parent, int out, int err, std::function<int()> const& f) {
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  if (getppid() != parent) _exit(static_cast<int>(ExitCode::interrupted));
  dup2(out, STDOUT_FILENO);
  dup2(err, STDERR_FILENO);
  WorkFolder::leaveToParent();
  int const code = f();
  flushEverything();
  _exit(code);
}

std::string contentOf(int file) {
  std::string content;
  char buffer[65536];
  lseek(file, 0, SEEK_SET);
  for (ssize_t count; (count = read(file, buffer, sizeof buffer)) > 0;) {
    content.append(buffer, static_cast<std::size_t>(count));
  }
  close(file);
  return content;
}

/// Whether the child has ended within some seconds.
bool endsSoon(pid_t child) {
  for (int attempt = 0; attempt < 100; ++attempt) {
    if (waitpid(child, nullptr, WNOHANG) != 0) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  return false;
}

void endAll() {
  for (pid_t const child : living) kill(child, SIGTERM);
  for (pid_t const child : living) {
    if (endsSoon(child)) continue;
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
  }
  living.clear();
}

}  // namespace

ChildProcesses::~ChildProcesses() {
  std::lock_guard const guard(mutex);
  endAll();
  for (auto const& child : children_) {
    close(child.second.out);
    close(child.second.err);
  }
}

void ChildProcesses::start(std::size_t number, std::function<int()> const& f) {
  int const out = fileInMemory("out"), err = fileInMemory("err");
  flushEverything();
  std::unique_lock guard(mutex);
  pid_t const parent = getpid(), child = fork();
  if (child < 0) refuse("no child process can be had");
  if (child == 0) {
    living.clear();  // they are no children of this one
    guard.unlock();
    runChild(parent, out, err, f);
  }
  living.insert(child);
  children_[child] = {number, out, err};
}

ChildOutcome ChildProcesses::wait() {
  // The number of an ended child is not given to another process before it is taken off the list.
  siginfo_t info = {};
  int result = 0;
  do result = waitid(P_ALL, 0, &info, WEXITED | WNOWAIT);
  while (result != 0 && errno == EINTR);
  int const error = errno;
  std::lock_guard const guard(mutex);  // forever, when another thread has ended all children
  errno = error;
  if (result != 0) refuse("a child process is lost");
  int status = 0;
  waitpid(info.si_pid, &status, 0);
  living.erase(info.si_pid);
  auto const node = children_.extract(info.si_pid);
  Child const& child = node.mapped();
  return {child.number, WIFEXITED(status) ? WEXITSTATUS(status) : 0,
          WIFSIGNALED(status) ? WTERMSIG(status) : 0, contentOf(child.out), contentOf(child.err)};
}

void ChildProcesses::endAllForGood() {
  mutex.lock();
  endAll();
}

}  // namespace lorb::tools
