// Whether a sanitizer has replaced the allocator: it ends the program instead of throwing `std::bad_alloc`,
// and keeps what is freed for a while.
#pragma once

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define LORB_CHECKS_LEAKS 1
extern "C" void __lsan_disable(void);
extern "C" void __lsan_enable(void);
#endif
#endif

namespace lorb::test {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool isSanitized = true;
#elif defined(__has_feature)
inline constexpr bool isSanitized = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
inline constexpr bool isSanitized = false;
#endif

/// While it lives, the leak checker passes over what is allocated.
class LeaksExpected {
 public:
  LeaksExpected() { disable(); }
  ~LeaksExpected() { enable(); }
  LeaksExpected(LeaksExpected const&) = delete;
  LeaksExpected& operator=(LeaksExpected const&) = delete;

 private:
#if LORB_CHECKS_LEAKS
  static void disable() {
    __lsan_disable();
  }
  static void enable() {
    __lsan_enable();
  }
#else
  static void disable() {}
  static void enable() {}
#endif
};

}  // namespace lorb::test
