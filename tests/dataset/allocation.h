// Whether a test may ask for more memory than there is.

#pragma once

namespace lorb::test {

/// The address sanitizer's allocator ends the program instead of throwing `std::bad_alloc`.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool exhaustedMemoryThrows = false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
inline constexpr bool exhaustedMemoryThrows = false;
#else
inline constexpr bool exhaustedMemoryThrows = true;
#endif
#else
inline constexpr bool exhaustedMemoryThrows = true;
#endif

}  // namespace lorb::test
