// The threads that a run works on.
#pragma once

#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/task_arena.h>

#include <new>

namespace lorb::tools {

/// Threads that end with this object: a process that forks while others start may find locks held for ever.
class Workers {
 public:
  /// As many as `threads`, at least 1.
  explicit Workers(unsigned threads)
      : limit_(oneapi::tbb::global_control::max_allowed_parallelism, threads),
        count_(static_cast<int>(threads)) {}
  ~Workers() { oneapi::tbb::finalize(handle_, std::nothrow); }
  Workers(Workers const&) = delete;
  Workers& operator=(Workers const&) = delete;

  /// Calls `f`, in which parallel algorithms of oneTBB use these threads.
  template <class F>
  void run(F const& f) {
    // More threads than processors are had only when both the process and the arena are told.
    oneapi::tbb::task_arena arena(count_);
    arena.execute(f);
  }

 private:
  oneapi::tbb::task_scheduler_handle handle_{oneapi::tbb::attach{}};
  oneapi::tbb::global_control limit_;
  int count_;
};

}  // namespace lorb::tools
