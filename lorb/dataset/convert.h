#pragma once

#include <lorb/dataset/TypeID.h>

#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

namespace lorb {

/// The family's one rule of numeric conversion between element types:
///
/// - floating to integer: rounds to nearest, ties to even; saturates at the target's limits; NaN is 0
/// - integer to integer: saturates
/// - to `bool`: anything but zero is true, NaN included; from `bool`: true is 1
/// - to floating: rounds to nearest; what is too large becomes infinite
template <class To, class From>
inline To convertElement(From value) {
  if constexpr (std::is_same_v<To, From>) {
    return value;
  } else if constexpr (std::is_same_v<To, bool>) {
    return value != From(0);
  } else if constexpr (std::is_floating_point_v<To> || std::is_same_v<From, bool>) {
    return static_cast<To>(value);
  } else if constexpr (std::is_floating_point_v<From>) {
    // 2 to the number of value bits is exact in every floating type, unlike the limit below it.
    From const limit = std::ldexp(From(1), std::numeric_limits<To>::digits);
    From const rounded = std::nearbyint(value);
    if (rounded >= limit) return std::numeric_limits<To>::max();
    if (rounded <= (std::is_signed_v<To> ? -limit : From(0))) return std::numeric_limits<To>::min();
    return value == value ? static_cast<To>(rounded) : To(0);
  } else {
    if (std::cmp_greater(value, std::numeric_limits<To>::max())) return std::numeric_limits<To>::max();
    if (std::cmp_less(value, std::numeric_limits<To>::min())) return std::numeric_limits<To>::min();
    return static_cast<To>(value);
  }
}

/// Converts `count` consecutive elements. The ranges must not overlap.
template <class To, class From>
void convertElements(From const* source, To* target, std::size_t count) {
  if constexpr (std::is_same_v<To, From>) {
    if (count > 0) std::memcpy(target, source, count * sizeof(To));
  } else {
    for (std::size_t k = 0; k < count; ++k) target[k] = convertElement<To>(source[k]);
  }
}

}  // namespace lorb
