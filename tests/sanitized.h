// Whether a sanitizer has replaced the allocator: it ends the program instead of throwing `std::bad_alloc`,
// and keeps what is freed for a while.
#pragma once

namespace lorb::test {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool isSanitized = true;
#elif defined(__has_feature)
inline constexpr bool isSanitized = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
inline constexpr bool isSanitized = false;
#endif

}  // namespace lorb::test
