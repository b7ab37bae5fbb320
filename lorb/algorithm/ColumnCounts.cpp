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

/// The counts of a row from those of the row above (null for the first row), and which sides it holds.
/// `sideAt(i)` gives the sides of a vector of voxels from i on; beyond the row it repeats the last voxel,
/// which adds no side that the row does not hold.
template <class SideAt>
HWY_INLINE SidesOfRow StepDown(std::int16_t const* above, std::int16_t* counts, std::size_t width,
                               SideAt sideAt) {
  hn::ScalableTag<std::int16_t> const d;
  auto const zero = hn::Zero(d);
  auto const one = hn::Set(d, 1);
  auto anyOutside = zero;
  auto allOutside = hn::Set(d, -1);
  for (std::size_t i = 0; i < width; i += hn::Lanes(d)) {
    auto const side = sideAt(i);
    anyOutside = hn::Or(anyOutside, side);
    allOutside = hn::And(allOutside, side);
    auto const count = above == nullptr
                           ? hn::Set(d, ColumnCounts::none)
                           : hn::SaturatedAdd(hn::Max(hn::Xor(hn::Load(d, above + i), side), zero), one);
    hn::Store(hn::Xor(count, side), d, counts + i);
  }
  return {!hn::AllTrue(d, hn::Lt(allOutside, zero)), !hn::AllFalse(d, hn::Lt(anyOutside, zero))};
}

SidesOfRow StepDownFlags(std::int16_t const* above, std::int16_t* counts, std::size_t width,
                         std::uint8_t const* inside) {
  hn::ScalableTag<std::int16_t> const d;
  hn::Rebind<std::uint8_t, decltype(d)> const dFlags;
  return StepDown(above, counts, width, [&](std::size_t i) HWY_ATTR {
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

SidesOfRow StepDownPacked(std::int16_t const* above, std::int16_t* counts, std::size_t width,
                          std::uint16_t const* packs, unsigned bit) {
  hn::ScalableTag<std::int16_t> const d;
  auto const selected = hn::Set(d, static_cast<std::int16_t>(1U << bit));
  return StepDown(above, counts, width, [&](std::size_t i) HWY_ATTR {
    auto const bits = hn::Load(d, reinterpret_cast<std::int16_t const*>(packs) + i);
    return hn::VecFromMask(d, hn::Eq(hn::And(bits, selected), hn::Zero(d)));
  });
}

/// Counts from above become counts from either side. The row to come after this one is asked for, since
/// slices that take turns hide from the processor what each needs next.
void StepUp(std::int16_t const* next, std::int16_t* counts, std::int16_t const* below, std::size_t width) {
  hn::ScalableTag<std::int16_t> const d;
  auto const zero = hn::Zero(d);
  auto const one = hn::Set(d, 1);
  for (std::size_t i = 0; i < width; i += hn::Lanes(d)) {
    hwy::Prefetch(next + i);
    auto const mine = hn::Load(d, counts + i);
    auto const side = hn::ShiftRight<15>(mine);
    auto const fromBelow = hn::SaturatedAdd(hn::Max(hn::Xor(hn::Load(d, below + i), side), zero), one);
    hn::Store(hn::Xor(hn::Min(hn::Xor(mine, side), fromBelow), side), d, counts + i);
  }
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

ColumnCounts::ColumnCounts(int width, int height)
    : width_(static_cast<std::size_t>(width)),
      height_(height),
      rowLength_((width_ + 63) / 64 * 64),
      counts_(allocateAligned<std::int16_t>(rowLength_ * static_cast<std::size_t>(height + 1))) {
  // Nothing beside a row may be mistaken for an index.
  for (int j = 0; j < height; ++j)
    std::fill(mutableRow(j) + width, mutableRow(j) + rowLength_, std::int16_t{0});
  std::fill_n(mutableRow(height), rowLength_, std::int16_t{0});
}

void ColumnCounts::restart() {
  seenInside_ = false;
  seenOutside_ = false;
}

void ColumnCounts::enterRow(int j, std::uint8_t const* inside) {
  notice(j, HWY_DYNAMIC_DISPATCH(StepDownFlags)(above(j), mutableRow(j), width_, inside));
}

void ColumnCounts::enterRow(int j, std::uint16_t const* packs, unsigned bit) {
  notice(j, HWY_DYNAMIC_DISPATCH(StepDownPacked)(above(j), mutableRow(j), width_, packs, bit));
}

void ColumnCounts::notice(int j, SidesOfRow sides) {
  if (j == 0) return;
  seenInside_ |= sides.inside;
  seenOutside_ |= sides.outside;
}

void ColumnCounts::completeRow(int j) {
  if (j + 1 < height_)
    HWY_DYNAMIC_DISPATCH(StepUp)(row(j > 0 ? j - 1 : 0), mutableRow(j), row(j + 1), width_);
}

}  // namespace lorb

#endif  // HWY_ONCE
