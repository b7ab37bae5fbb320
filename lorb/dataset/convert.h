#pragma once

#include <lorb/dataset/TypeID.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

namespace lorb {

/// Rounds to nearest, ties to even, in additions that compilers turn into vectors on any machine: beside
/// this number there is no room for a fraction.
template <class From>
inline From roundToEven(From value) {
  constexpr From noFraction = static_cast<From>(std::uint64_t{1} << (std::numeric_limits<From>::digits - 1));
  From const magnitude = std::fabs(value);
  From const rounded = std::copysign((magnitude + noFraction) - noFraction, value);
  return magnitude < noFraction ? rounded : value;
}

/// The family's one rule of numeric conversion between element types:
///
/// - floating to integer: rounds to nearest, ties to even; saturates at the target's limits; NaN is 0
/// - integer to integer: saturates
/// - to `bool`: anything but zero is true, NaN included; from `bool`: true is 1
/// - to floating: rounds to nearest; what is too large becomes infinite
///
/// Selections rather than branches, so that loops over it become vectors.
template <class To, class From>
inline To convertElement(From value) {
  if constexpr (std::is_same_v<To, From>) {
    return value;
  } else if constexpr (std::is_same_v<To, bool>) {
    return value != From(0);
  } else if constexpr (std::is_floating_point_v<To> || std::is_same_v<From, bool>) {
    return static_cast<To>(value);
  } else if constexpr (std::is_floating_point_v<From>) {
    using limits = std::numeric_limits<To>;
    // 2 to the number of value bits is exact in every floating type, unlike the largest integer below it.
    constexpr From above = static_cast<From>(limits::max() / 2 + 1) * 2;
    constexpr From lowest = static_cast<From>(limits::min());
    From const rounded = roundToEven(value);
    bool const fits = rounded < above && rounded > lowest;  // false for NaN
    To const inRange = static_cast<To>(fits ? rounded : From(0));
    To const beyond = rounded >= above ? limits::max() : rounded <= lowest ? limits::min() : To(0);
    return fits ? inRange : beyond;
  } else {
    constexpr To least = std::cmp_less(std::numeric_limits<From>::min(), std::numeric_limits<To>::min())
                             ? std::numeric_limits<To>::min()
                             : static_cast<To>(std::numeric_limits<From>::min());
    constexpr To most = std::cmp_greater(std::numeric_limits<From>::max(), std::numeric_limits<To>::max())
                            ? std::numeric_limits<To>::max()
                            : static_cast<To>(std::numeric_limits<From>::max());
    // The limits that both types hold, in the source's type.
    value = value < static_cast<From>(least) ? static_cast<From>(least) : value;
    value = value > static_cast<From>(most) ? static_cast<From>(most) : value;
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
