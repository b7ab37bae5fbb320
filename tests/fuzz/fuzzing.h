#pragma once

#include <lorb/dataset/TypeID.h>

#include <FuzzedDataProvider.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <vector>

namespace fuzzing {

/// Ends the program, which is what libFuzzer takes for a finding.
inline void require(bool holds, char const* what) {
  if (holds) return;
  std::fprintf(stderr, "lorb fuzzing: %s\n", what);
  std::abort();
}

/// One of the element types, for `f(std::type_identity<T>{})`.
template <class F>
void withElementType(FuzzedDataProvider& data, F f) {
  lorb::visitElementType(static_cast<lorb::TypeID>(data.ConsumeIntegralInRange(1U, 11U)), f);
}

/// `count` elements of any bits; zeros where the data has run out.
template <class T>
std::vector<T> elements(FuzzedDataProvider& data, std::size_t count) {
  std::vector<T> result(count);
  auto const bytes = data.ConsumeBytes<std::uint8_t>(count * sizeof(T));
  for (std::size_t k = 0; k < count; ++k) {
    if (k >= bytes.size() / sizeof(T)) break;
    T value;
    if constexpr (std::is_same_v<T, bool>) {
      value = bytes[k] & 1;
    } else {
      std::memcpy(&value, &bytes[k * sizeof(T)], sizeof(T));
    }
    result[k] = value;
  }
  return result;
}

/// Flags from the bits of the data.
inline std::vector<char> flags(FuzzedDataProvider& data, std::size_t count) {
  auto const bytes = data.ConsumeBytes<std::uint8_t>((count + 7) / 8);
  std::vector<char> result(count);
  for (std::size_t k = 0; k < count; ++k)
    result[k] = k / 8 < bytes.size() ? static_cast<char>(bytes[k / 8] >> k % 8 & 1) : 0;
  return result;
}

}  // namespace fuzzing
