// Vectors of the instruction set at hand. To be included once for each of them.

#if defined(LORB_ENGINE_LANES_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef LORB_ENGINE_LANES_INL_H
#undef LORB_ENGINE_LANES_INL_H
#else
#define LORB_ENGINE_LANES_INL_H
#endif

#include <lorb/algorithm/engine/block.h>

#include <hwy/highway.h>

/// Small arrays of vectors live in registers only where loops over them are unrolled.
#ifndef LORB_UNROLL
#ifdef __clang__
#define LORB_UNROLL _Pragma("clang loop unroll(full)")
#else
#define LORB_UNROLL _Pragma("GCC unroll 8")
#endif
#endif

HWY_BEFORE_NAMESPACE();
namespace lorb::engine {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

constexpr hn::CappedTag<std::uint8_t, blockColumns> d8;
constexpr hn::RepartitionToWide<decltype(d8)> d16;
constexpr hn::RepartitionToWide<decltype(d16)> dU32;
constexpr hn::RebindToSigned<decltype(dU32)> d32;
constexpr hn::RebindToFloat<decltype(d32)> dF;
constexpr hn::Half<decltype(d8)> d8Half;
constexpr hn::Half<decltype(d16)> d16Half;
using V8 = hn::Vec<decltype(d8)>;
using V16 = hn::Vec<decltype(d16)>;
using V32 = hn::Vec<decltype(d32)>;
using VF = hn::Vec<decltype(dF)>;

constexpr int lanes8 = static_cast<int>(hn::MaxLanes(d8));
constexpr int lanes16 = lanes8 / 2;
constexpr int lanes32 = lanes8 / 4;

/// A block is searched in parts of one vector of 16-bit lanes.
constexpr int partCount = blockColumns / lanes16;

/// Rows that are searched together: as many as there are registers for.
constexpr int tileRows = lanes8 == 64 ? 8 : 4;

/// The mask of the lanes whose bits of `word`, from bit `first` on, are set.
template <class D>
HWY_INLINE hn::Mask<D> LanesOf(D d, MaskWord word, int first) {
  MaskWord const bits = word >> first;
  return hn::LoadMaskBits(d, reinterpret_cast<std::uint8_t const*>(&bits));
}

HWY_INLINE V16 PromoteLower(V8 v) {
  return hn::PromoteTo(d16, hn::LowerHalf(d8Half, v));
}
HWY_INLINE V16 PromoteUpper(V8 v) {
  return hn::PromoteTo(d16, hn::UpperHalf(d8Half, v));
}
HWY_INLINE V32 PromoteLower(V16 v) {
  return hn::PromoteTo(d32, hn::LowerHalf(d16Half, v));
}
HWY_INLINE V32 PromoteUpper(V16 v) {
  return hn::PromoteTo(d32, hn::UpperHalf(d16Half, v));
}

}  // namespace HWY_NAMESPACE
}  // namespace lorb::engine
HWY_AFTER_NAMESPACE();

#endif
