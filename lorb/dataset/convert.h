#pragma once

#include <lorb/dataset/TypeID.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

namespace lorb {

/// The whole number nearest to `value`, the even one of two, modulo 2 to the width of `Whole`. It is left in
/// the lowest bits of a sum that has no room for a fraction, whence no compiler lacks the vector
/// instructions. For magnitudes up to a quarter of 2 to the digits of `value`.
template <class Whole, class From>
inline Whole nearestWhole(From value) {
  static_assert(sizeof(Whole) == sizeof(From));
  constexpr From noFraction = static_cast<From>(Whole{3} << (std::numeric_limits<From>::digits - 2));
  return std::bit_cast<Whole>(value + noFraction) - std::bit_cast<Whole>(noFraction);
}

/// `condition ? a : b` in bits: where one of the two is constant, GCC makes branches of a selection, and no
/// vectors of the loop around it.
template <class T>
inline T select(bool condition, T a, T b) {
  using Bits = std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>;
  Bits const mask = Bits{0} - Bits{condition};
  return std::bit_cast<T>((std::bit_cast<Bits>(a) & mask) | (std::bit_cast<Bits>(b) & ~mask));
}

/// To 8, 16 or 32 bits, all of whose limits `From` holds with room for a fraction.
template <class To, class From>
inline To roundToNarrow(From value) {
  constexpr From least = std::numeric_limits<To>::min(), most = std::numeric_limits<To>::max();
  value = select(value == value, value, From(0));
  value = select(value < most, value, most);
  value = select(value > least, value, least);
  using Whole = std::conditional_t<sizeof(From) == 4, std::uint32_t, std::uint64_t>;
  return static_cast<To>(nearestWhole<Whole>(value));
}

/// To 64 bits, as a multiple of 2³² and a rest, both of which `nearestWhole` takes. The rest is exact.
template <class To>
inline To roundToWide(double value) {
  constexpr double above = std::is_signed_v<To> ? 0x1p63 : 0x1p64;
  constexpr double lowest = static_cast<double>(std::numeric_limits<To>::min());
  double const bounded = select(value > lowest, select(value < above, value, 0.0), 0.0);  // NaN is 0
  constexpr double noFraction = 0x1.8p52;
  double const upper = (bounded * 0x1p-32 + noFraction) - noFraction;
  double const rest = bounded - upper * 0x1p32;
  To const whole =
      static_cast<To>((nearestWhole<std::uint64_t>(upper) << 32) + nearestWhole<std::uint64_t>(rest));
  To const notBelow = select(value <= lowest, std::numeric_limits<To>::min(), whole);
  return select(value >= above, std::numeric_limits<To>::max(), notBelow);
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
    // A double is exact for every float, and has room for fractions of 32-bit numbers.
    if constexpr (sizeof(To) == 8) {
      return roundToWide<To>(value);
    } else if constexpr (sizeof(To) == 4) {
      return roundToNarrow<To>(static_cast<double>(value));
    } else {
      return roundToNarrow<To>(value);
    }
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

/// Converts `count` consecutive elements. The ranges must not overlap. Always inline, so that it becomes
/// vectors of the instruction set that its caller is compiled for.
template <class To, class From>
[[gnu::always_inline]] inline void convertElements(From const* __restrict source, To* __restrict target,
                                                   std::size_t count) {
  if constexpr (std::is_same_v<To, From>) {
    if (count > 0) std::memcpy(target, source, count * sizeof(To));
  } else {
    for (std::size_t k = 0; k < count; ++k) target[k] = convertElement<To>(source[k]);
  }
}

}  // namespace lorb
