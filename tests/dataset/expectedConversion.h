// The oracle of numeric conversion: the family's rule written a second time, slowly and in `long
// double`, which holds every value of every element type exactly.

#pragma once

#include <lorb/dataset/TypeID.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <type_traits>
#include <vector>

namespace lorb::test {

static_assert(std::numeric_limits<long double>::digits >= 64, "64-bit integers must fit exactly");

/// The whole number nearest to `value`, the even one of two that are equally near.
inline long double roundedHalfToEven(long double value) {
  long double const below = std::floor(value);
  long double const rest = value - below;
  bool const belowIsEven = std::fmod(below, 2.0L) == 0.0L;
  return rest < 0.5L || (rest == 0.5L && belowIsEven) ? below : below + 1.0L;
}

template <class To, class From>
To expectedConversion(From value) {
  if constexpr (std::is_same_v<To, From>) {
    return value;
  } else {
    long double const exact = static_cast<long double>(value);
    if constexpr (std::is_same_v<To, bool>) {
      return !(exact == 0.0L);
    } else if constexpr (std::is_floating_point_v<To>) {
      return static_cast<To>(exact);
    } else {
      if (std::isnan(exact)) return 0;
      constexpr long double lowest = static_cast<long double>(std::numeric_limits<To>::min());
      constexpr long double highest = static_cast<long double>(std::numeric_limits<To>::max());
      if (exact <= lowest) return std::numeric_limits<To>::min();
      if (exact >= highest) return std::numeric_limits<To>::max();
      return static_cast<To>(roundedHalfToEven(exact));
    }
  }
}

/// Equal to the last bit, so that −0 differs from 0.
template <class T>
bool haveSameBits(T a, T b) {
  return std::memcmp(&a, &b, sizeof(T)) == 0;
}

/// As `haveSameBits`, but all NaN are alike: the processor chooses the bits of a converted one.
template <class T>
bool agree(T a, T b) {
  if constexpr (std::is_floating_point_v<T>) {
    if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
  }
  return haveSameBits(a, b);
}

/// NaN values of a floating type, quiet and signalling, with payloads.
template <class T>
std::vector<T> notNumbers() {
  using Bits = std::conditional_t<sizeof(T) == 4, unsigned, unsigned long>;
  constexpr auto infinity = static_cast<Bits>(sizeof(T) == 4 ? 0x7f800000 : 0x7ff0000000000000);
  constexpr Bits quiet = (infinity >> 1) & ~infinity;
  constexpr Bits sign = ~(~Bits{0} >> 1);
  std::vector<T> values;
  for (Bits const bits : {infinity | quiet, infinity | quiet | sign, infinity | quiet | 0x1234, infinity | 1,
                          infinity | sign | 0x77}) {
    T value;
    std::memcpy(&value, &bits, sizeof(T));
    values.push_back(value);
  }
  return values;
}

/// The values of `T` at which conversions go wrong: the limits of all types and their neighbours, ties,
/// zeros, values too small or too large for anybody, NaN; then some of random bits.
template <class T>
std::vector<T> edgeValues() {
  if constexpr (std::is_same_v<T, bool>) {
    return {false, true, true, false, true};
  } else {
    std::vector<T> values;
    auto const add = [&](long double value) {
      if (value >= static_cast<long double>(std::numeric_limits<T>::lowest()) &&
          value <= static_cast<long double>(std::numeric_limits<T>::max())) {
        values.push_back(static_cast<T>(value));
      }
    };
    for (int const exponent : {0, 1, 7, 8, 15, 16, 23, 24, 25, 31, 32, 52, 53, 54, 63, 64, 127, 128}) {
      long double const power = std::ldexp(1.0L, exponent);
      for (long double const near : {power - 2, power - 1.5L, power - 1, power - 0.5L, power, power + 0.5L,
                                     power + 1, power + 1.5L, power + 2}) {
        add(near);
        add(-near);
      }
    }
    values.push_back(std::numeric_limits<T>::lowest());
    values.push_back(std::numeric_limits<T>::max());
    values.push_back(T{0});
    std::mt19937_64 random(20210319);
    if constexpr (std::is_floating_point_v<T>) {
      using Limits = std::numeric_limits<T>;
      for (T const value : {T(0.5), T(1.5), T(2.5), T(3.5), T(254.5), T(32766.5), T(0.3), T(1e10),
                            Limits::min(), Limits::denorm_min(), Limits::infinity(),
                            std::nextafter(T(0.5), T(0)), std::nextafter(T(0.5), T(1)), T(0)}) {
        values.push_back(value);
        values.push_back(-value);
      }
      for (int const exponent : {7, 8, 15, 16, 31, 32, 63, 64}) {
        T const power = std::ldexp(T(1), exponent);
        for (T const near : {std::nextafter(power, T(0)), std::nextafter(power, Limits::infinity())}) {
          values.push_back(near);
          values.push_back(-near);
        }
      }
      if constexpr (std::is_same_v<T, double>) {
        // About the largest, the smallest normal and the smallest denormal float, ties between floats.
        double const largest = std::numeric_limits<float>::max(),
                     overflow = std::ldexp(double(0x1ffffff), 103);
        double const smallest = std::numeric_limits<float>::min();
        double const denormal = std::numeric_limits<float>::denorm_min();
        for (double const value :
             {largest, overflow, std::nextafter(overflow, 0.0), smallest * 0.99999998, denormal * 1.5,
              denormal * 0.5, denormal * 0.50000001, 1 + 0x1p-24, 1 + 0x3p-24, 1 + 0x1p-24 + 0x1p-50}) {
          values.push_back(value);
          values.push_back(-value);
        }
      }
      for (T const value : notNumbers<T>()) values.push_back(value);
    }
    for (int k = 0; k < 200; ++k) {
      unsigned long const bits = random();
      T value;
      std::memcpy(&value, &bits, sizeof(T));
      values.push_back(value);
    }
    return values;
  }
}

}  // namespace lorb::test
