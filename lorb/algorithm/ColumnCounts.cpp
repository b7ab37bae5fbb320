#include <lorb/algorithm/ColumnCounts.h>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "lorb/algorithm/ColumnCounts.cpp"
#include <hwy/foreach_target.h>  // compiles this file once per instruction set
// After foreach_target.h, as Highway wants it.
#include <hwy/highway.h>

#include <hwy/cache_control.h>

#include <algorithm>

// --- what is compiled for every instruction set ------------------------------------------------------

HWY_BEFORE_NAMESPACE();
namespace lorb {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// x ^ side (0 inside, −1 outside) is the count again, and negative where x is of the other side.

/// Replaces the counts from above of a row by those of the next row, or sets them for the first one; tells
/// which sides that row holds. Blocks of counts that can't be told from those that follow are kept.
/// `sideAt(i)` gives the sides of a vector of voxels from i on; beyond the row it repeats the last voxel,
/// which adds no side that the row does not hold.
template <class SideAt>
HWY_INLINE SidesOfRow StepDown(bool isFirst, std::int16_t* counts, std::size_t width, KeptBlocks& kept,
                               SideAt sideAt) {
  hn::ScalableTag<std::int16_t> const d;
  auto const zero = hn::Zero(d);
  auto const one = hn::Set(d, 1);
  auto anyOutside = zero;
  auto allOutside = hn::Set(d, -1);
  auto [end, flagsEnd] = kept;
  for (std::size_t i = 0; i < width; i += hn::Lanes(d)) {
    auto const side = sideAt(i);
    anyOutside = hn::Or(anyOutside, side);
    allOutside = hn::And(allOutside, side);
    auto count = hn::Set(d, ColumnCounts::none);
    if (!isFirst) {
      auto const above = hn::Load(d, counts + i);
      auto const ofSide = hn::Xor(above, side);
      std::size_t const changes = !hn::AllFalse(d, hn::Lt(ofSide, zero));
      // Written in any case: whether sides change is as good as random.
      hn::Store(above, d, end);
      end += changes * hn::Lanes(d);
      *flagsEnd++ = static_cast<std::uint8_t>(changes);
      count = hn::SaturatedAdd(hn::Max(ofSide, zero), one);
    }
    hn::Store(hn::Xor(count, side), d, counts + i);
  }
  kept = {end, flagsEnd};
  return {!hn::AllTrue(d, hn::Lt(allOutside, zero)), !hn::AllFalse(d, hn::Lt(anyOutside, zero))};
}

SidesOfRow StepDownFlags(bool isFirst, std::int16_t* counts, std::size_t width, KeptBlocks& kept,
                         std::uint8_t const* inside) {
  hn::ScalableTag<std::int16_t> const d;
  hn::Rebind<std::uint8_t, decltype(d)> const dFlags;
  return StepDown(isFirst, counts, width, kept, [&](std::size_t i) HWY_ATTR {
    HWY_ALIGN std::uint8_t rest[HWY_MAX_BYTES];
    std::uint8_t const* flags = inside + i;
    if (i + hn::Lanes(d) > width) {
      std::fill_n(rest, hn::Lanes(d), inside[width - 1]);
      std::copy_n(inside + i, width - i, rest);
      flags = rest;
    }
    return hn::VecFromMask(d, hn::Eq(hn::PromoteTo(d, hn::LoadU(dFlags, flags)), hn::Zero(d)));
  });
}

SidesOfRow StepDownPacked(bool isFirst, std::int16_t* counts, std::size_t width, KeptBlocks& kept,
                          std::uint16_t const* packs, unsigned bit) {
  hn::ScalableTag<std::int16_t> const d;
  auto const selected = hn::Set(d, static_cast<std::int16_t>(1U << bit));
  return StepDown(isFirst, counts, width, kept, [&](std::size_t i) HWY_ATTR {
    auto const bits = hn::Load(d, reinterpret_cast<std::int16_t const*>(packs) + i);
    return hn::VecFromMask(d, hn::Eq(hn::And(bits, selected), hn::Zero(d)));
  });
}

/// Replaces the counts from above of the row below by those of a row, and sets its counts from either side.
void StepUp(std::int16_t* fromAbove, std::int16_t const* below, std::int16_t* counts, std::size_t width,
            KeptBlocks& kept) {
  hn::ScalableTag<std::int16_t> const d;
  std::size_t const lanes = hn::Lanes(d);
  auto const zero = hn::Zero(d);
  auto const one = hn::Set(d, 1);
  auto const none = hn::Set(d, ColumnCounts::none);
  auto [end, flagsEnd] = kept;
  for (std::size_t next = (width + lanes - 1) / lanes * lanes; next > 0; next -= lanes) {
    std::size_t const i = next - lanes;
    std::size_t const isKept = *--flagsEnd;
    hwy::Prefetch(end - countsAhead);  // slices that take turns push it out of the first cache
    end -= isKept * lanes;
    auto const known = hn::Load(d, isKept != 0 ? end : fromAbove + i);
    auto const side = hn::ShiftRight<15>(known);
    auto count = hn::Xor(known, side);
    auto const step = hn::Set(d, static_cast<std::int16_t>(1 - isKept));
    count = hn::Sub(count, hn::IfThenElseZero(hn::Lt(count, none), step));
    hn::Store(hn::Xor(count, side), d, fromAbove + i);
    auto const fromBelow = hn::SaturatedAdd(hn::Max(hn::Xor(hn::Load(d, below + i), side), zero), one);
    hn::Store(hn::Xor(hn::Min(count, fromBelow), side), d, counts + i);
  }
  kept = {end, flagsEnd};
}

std::size_t BlockLength() {
  return hn::Lanes(hn::ScalableTag<std::int16_t>());
}

}  // namespace HWY_NAMESPACE
}  // namespace lorb
HWY_AFTER_NAMESPACE();

// --- what is compiled once ---------------------------------------------------------------------------

#if HWY_ONCE

namespace lorb {

HWY_EXPORT(StepDownFlags);
HWY_EXPORT(StepDownPacked);
HWY_EXPORT(StepUp);
HWY_EXPORT(BlockLength);

ColumnCounts::ColumnCounts(int width, int height)
    : width_(static_cast<std::size_t>(width)),
      height_(height),
      rowStride_(wholeVectors(width) + 192),
      rows_(allocateAligned<std::int16_t>(3 * rowStride_)),
      blocks_(allocateAligned<std::int16_t>(countsAhead +
                                            wholeVectors(width) * static_cast<std::size_t>(height))),
      isKept_(allocateAligned<std::uint8_t>(wholeVectors(width) / HWY_DYNAMIC_DISPATCH(BlockLength)() *
                                            static_cast<std::size_t>(height))) {
  // Nothing beside a row may be mistaken for an index.
  std::fill_n(rows_.get(), 3 * rowStride_, std::int16_t{0});
  restart();
}

void ColumnCounts::restart() {
  seenInside_ = false;
  seenOutside_ = false;
  kept_ = {blocks_.get() + countsAhead, isKept_.get()};
}

void ColumnCounts::enterRow(int j, std::uint8_t const* inside) {
  notice(j, HWY_DYNAMIC_DISPATCH(StepDownFlags)(j == 0, rows_.get(), width_, kept_, inside));
}

void ColumnCounts::enterRow(int j, std::uint16_t const* packs, unsigned bit) {
  notice(j, HWY_DYNAMIC_DISPATCH(StepDownPacked)(j == 0, rows_.get(), width_, kept_, packs, bit));
}

void ColumnCounts::notice(int j, SidesOfRow sides) {
  if (j == 0) return;
  seenInside_ |= sides.inside;
  seenOutside_ |= sides.outside;
}

void ColumnCounts::completeRow(int j) {
  if (j + 1 < height_) {
    HWY_DYNAMIC_DISPATCH(StepUp)(rows_.get(), row(j + 1), rows_.get() + offsetOf(j), width_, kept_);
  } else {
    std::copy_n(rows_.get(), rowStride_, rows_.get() + offsetOf(j));
  }
}

}  // namespace lorb

#endif  // HWY_ONCE
