#include <tests/allocations/failingAllocations.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <iostream>

namespace {

bool watching = false;  // during a trial
bool armed = false;     // during its operation
long live = 0;          // blocks of the trial
long allocations = 0;   // of the operation
long failFrom = 0;
long failUpTo = 0;
long failures = 0;  // of the operation
long allFailures = 0;

bool mayAllocate() {
  if (armed) {
    ++allocations;
    if (allocations >= failFrom && allocations <= failUpTo) {
      ++failures;
      ++allFailures;
      return false;
    }
  }
  live += watching;
  return true;
}

}  // namespace

// --- in front of the C library -----------------------------------------------------------------------

extern "C" {

void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
void __libc_free(void*);

#define LORB_IN_FRONT __attribute__((visibility("default")))

LORB_IN_FRONT void* malloc(std::size_t bytes) {
  return mayAllocate() ? __libc_malloc(bytes) : nullptr;
}

LORB_IN_FRONT void* calloc(std::size_t count, std::size_t bytes) {
  return mayAllocate() ? __libc_calloc(count, bytes) : nullptr;
}

LORB_IN_FRONT void* realloc(void* block, std::size_t bytes) {
  if (!mayAllocate()) return nullptr;
  if (block != nullptr) live -= watching;
  return __libc_realloc(block, bytes);
}

LORB_IN_FRONT void* memalign(std::size_t alignment, std::size_t bytes) {
  return mayAllocate() ? __libc_memalign(alignment, bytes) : nullptr;
}

LORB_IN_FRONT void* aligned_alloc(std::size_t alignment, std::size_t bytes) {
  return memalign(alignment, bytes);
}

LORB_IN_FRONT int posix_memalign(void** block, std::size_t alignment, std::size_t bytes) {
  *block = memalign(alignment, bytes);
  return *block == nullptr ? ENOMEM : 0;
}

LORB_IN_FRONT void free(void* block) {
  if (block != nullptr) live -= watching;
  __libc_free(block);
}

}  // extern "C"

// --- trials ------------------------------------------------------------------------------------------

namespace lorb::test {

bool Trial::fails(std::function<void()> const& operation) {
  allocations = 0;
  failures = 0;
  failFrom = failAt_;
  failUpTo = failAt_ == 0 || failure_ == Failure::once ? failAt_ : LONG_MAX;
  bool threw = false;
  try {
    armed = true;
    operation();
    armed = false;
  } catch (std::bad_alloc const&) {
    armed = false;
    threw = true;
  }
  EXPECT_EQ(threw, failures > 0) << "allocation " << failAt_ << " of the operation";
  failed_ = threw;
  return threw;
}

class Trials {
 public:
  explicit Trials(std::function<void(Trial&)> trial) : trial_(std::move(trial)) {
    // What is made once a program is made before anything fails.
    Trial plain(0, Failure::once);
    trial_(plain);
  }

  /// Returns whether there was a `failAt`-th allocation; `left` is how many blocks remain after it.
  bool run(long failAt, Failure failure, long& left) const {
    Trial trial(failAt, failure);
    watching = true;
    live = 0;
    trial_(trial);
    watching = false;
    left = live;
    return trial.failed_;
  }

 private:
  std::function<void(Trial&)> trial_;
};

void onEveryAllocation(std::function<void(Trial&)> const& trial,
                       std::function<void(Trial&)> const& yardstick) {
  Trials const trials(trial);
  Trials const yardsticks(yardstick ? yardstick : [](Trial&) {});
  for (Failure const failure : {Failure::once, Failure::fromThereOn}) {
    bool failed = true;
    for (long failAt = 1; failed && !testing::Test::HasFailure(); ++failAt) {
      long allowed = 0, left = 0;
      yardsticks.run(failAt, failure, allowed);
      failed = trials.run(failAt, failure, left);
      EXPECT_EQ(left, allowed) << "blocks left behind when allocation " << failAt << " had failed";
    }
  }
}

namespace {

/// Says at the end how much has been tried.
class Tally : public testing::Environment {
  void TearDown() override { std::cout << allFailures << " allocations have failed\n"; }
};
[[maybe_unused]] auto* const tally = testing::AddGlobalTestEnvironment(new Tally);

}  // namespace

}  // namespace lorb::test
