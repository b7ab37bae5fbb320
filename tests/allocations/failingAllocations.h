#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <new>

/// The n-th allocation fails, for every n. The program's own malloc stands in front of the C library's, so
/// that no allocation of the libraries, of VTK or of the standard library is left out.
namespace lorb::test {

/// What may go wrong at one allocation: it alone fails, or memory is exhausted from there on.
enum class Failure { once, fromThereOn };

/// One trial: everything that is made in it must be gone at its end.
class Trial {
 public:
  /// Calls `operation` while allocations may fail. Returns whether it ended with `std::bad_alloc`, as it must
  /// whenever an allocation has failed.
  bool fails(std::function<void()> const& operation);

 private:
  friend class Trials;
  Trial(long failAt, Failure failure) : failAt_(failAt), failure_(failure) {}

  long failAt_;  // 1 for the first
  Failure failure_;
  bool failed_ = false;
};

/// Repeats `trial` with each allocation failing in turn, both ways, until all have failed. Nothing may be
/// left behind beyond what `yardstick` leaves when the same allocation fails.
void onEveryAllocation(std::function<void(Trial&)> const& trial,
                       std::function<void(Trial&)> const& yardstick = nullptr);

}  // namespace lorb::test
