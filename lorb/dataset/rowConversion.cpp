// The loops of numeric conversion, compiled per instruction set. They are plain; the compiler turns them into
// vectors.

#include <lorb/dataset/convert.h>
#include <lorb/dataset/rowConversion.h>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "lorb/dataset/rowConversion.cpp"
#include <hwy/foreach_target.h>  // compiles this file once per instruction set
// After foreach_target.h, as Highway wants it.
#include <hwy/highway.h>

#include <cstring>

// --- what is compiled for every instruction set ------------------------------------------------------

HWY_BEFORE_NAMESPACE();
namespace lorb {
namespace HWY_NAMESPACE {

template <class To, class From>
void ConvertRow(void const* source, void* target, std::size_t count) {
  convertElements(static_cast<From const*>(source), static_cast<To*>(target), count);
}

template <std::size_t bytes>
void CopyRow(void const* source, void* target, std::size_t count) {
  if (count > 0) std::memcpy(target, source, count * bytes);
}

/// Pairs that mean the same operation on bits share one loop.
template <class To, class From>
constexpr RowConversion SharedRow() {
  constexpr bool integers = std::is_integral_v<To> && std::is_integral_v<From>;
  if constexpr (std::is_same_v<To, From>) {
    return CopyRow<sizeof(To)>;
  } else if constexpr (std::is_same_v<From, bool>) {
    return SharedRow<To, unsigned char>();
  } else if constexpr (std::is_same_v<To, bool>) {
    if constexpr (std::is_integral_v<From>) {
      return ConvertRow<bool, std::make_unsigned_t<From>>;
    } else {
      return ConvertRow<bool, From>;
    }
  } else if constexpr (integers && std::is_unsigned_v<From> && sizeof(To) > sizeof(From)) {
    return ConvertRow<std::make_unsigned_t<To>, From>;
  } else {
    return ConvertRow<To, From>;
  }
}

#define LORB_TO(id, element, To, name) SharedRow<To, From>(),
template <class From>
constexpr RowConversion fromRows[] = {LORB_FOR_EACH_ELEMENT_TYPE(LORB_TO)};
#undef LORB_TO

#define LORB_FROM(id, element, From, name) fromRows<From>,
constexpr RowConversion const* rows[] = {LORB_FOR_EACH_ELEMENT_TYPE(LORB_FROM)};
#undef LORB_FROM

RowConversion FindRow(TypeID from, TypeID to) {
  return rows[from - 1][to - 1];
}

}  // namespace HWY_NAMESPACE
}  // namespace lorb
HWY_AFTER_NAMESPACE();

// --- what is compiled once ---------------------------------------------------------------------------

#if HWY_ONCE

namespace lorb {

HWY_EXPORT(FindRow);

RowConversion rowConversion(TypeID from, TypeID to) {
  return HWY_DYNAMIC_DISPATCH(FindRow)(from, to);
}

}  // namespace lorb

#endif  // HWY_ONCE
