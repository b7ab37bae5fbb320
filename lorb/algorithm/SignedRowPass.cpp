#include <lorb/algorithm/SignedRowPass.h>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "lorb/algorithm/SignedRowPass.cpp"
#include <hwy/foreach_target.h>  // compiles this file once per instruction set
// After foreach_target.h, as Highway wants it.
#include <hwy/highway.h>

#include <algorithm>
#include <bit>
#include <cmath>

// --- what is compiled for every instruction set ------------------------------------------------------

HWY_BEFORE_NAMESPACE();
namespace lorb {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

using namespace signed_row;

// Of a count x from `ColumnCounts`, x ^ side (0 inside, −1 outside) is the number of rows, and negative where
// x is of the other side.

constexpr std::int32_t farAway = 0x3FFFFFFF;

/// The squares behind a vector of counts.
template <class D>
HWY_INLINE hn::Vec<D> SquaresOf(D d, Row const& row, hn::Vec<D> counts) {
  auto const isNone = hn::Eq(counts, hn::Set(d, ColumnCounts::none));
  hn::RebindToUnsigned<D> const du;
  auto const square =
      row.exact ? hn::Mul(counts, counts)
                : hn::BitCast(d, hn::GatherIndex(du, row.squares, hn::IfThenZeroElse(isNone, counts)));
  return hn::IfThenElse(isNone, hn::Set(d, static_cast<std::int32_t>(row.infinite)), square);
}

/// What the column pass of one side leaves: squared distances of that side, 0 on the other.
void ColumnDistances(Row const& row, bool ofInside, std::uint32_t* values) {
  hn::ScalableTag<std::int32_t> const d;
  hn::Rebind<std::int16_t, decltype(d)> const dCounts;
  hn::RebindToUnsigned<decltype(d)> const du;
  auto const skipped = hn::Set(d, ofInside ? 0 : -1);
  std::size_t i = 0;
  for (; i < row.width; i += hn::Lanes(d)) {
    auto const mine = hn::PromoteTo(d, hn::LoadU(dCounts, row.counts + i));
    auto const side = hn::ShiftRight<31>(mine);
    auto const square = SquaresOf(d, row, hn::Xor(mine, side));
    hn::StoreU(hn::BitCast(du, hn::AndNot(hn::Xor(side, skipped), square)), du, values + i);
  }
}

/// Squared column distances in 16 bits, a row per side; 0 on the other side, `nowhere` beside the row. Counts
/// from 181 on come out too small, but beyond what is accepted from these rows.
void PrepareNearSites(Row const& row) {
  hn::ScalableTag<std::int16_t> const d;
  auto const cap = hn::Set(d, 181);
  for (std::size_t i = 0; i < row.width; i += hn::Lanes(d)) {
    auto const mine = hn::Load(d, row.counts + i);
    auto const side = hn::ShiftRight<15>(mine);
    auto const count = hn::Min(hn::Xor(mine, side), cap);
    auto const square = hn::Mul(count, count);
    hn::StoreU(hn::AndNot(side, square), d, row.insideSites + i);
    hn::StoreU(hn::And(side, square), d, row.outsideSites + i);
  }
  // What the last vector has written beyond the row.
  std::size_t const written = (row.width + hn::Lanes(d) - 1) / hn::Lanes(d) * hn::Lanes(d);
  std::fill(row.insideSites + row.width, row.insideSites + written, nowhere);
  std::fill(row.outsideSites + row.width, row.outsideSites + written, nowhere);
}

/// Two neighbouring blocks of positions, searched in step: the one hides the waits of the other.
template <class V>
struct Pair {
  V low, high;
};

/// min over |k| ≤ reach of site[u + k] + k², for two blocks of positions from `site` on, whose own values are
/// `best`. It stops as soon as farther sites can't be nearer, and does not begin where no site is near.
template <class D>
HWY_INLINE Pair<hn::Vec<D>> NearestSquared(D d, std::int16_t const* site, Pair<hn::Vec<D>> best) {
  auto const lanes = static_cast<int>(hn::Lanes(d));
  auto const limit = hn::Set(d, reachSquared);
  if (hn::AllTrue(d, hn::Gt(hn::Min(best.low, best.high), limit))) {
    auto least = hn::Min(best.low, best.high);
    for (int k = -reach; k < 2 * lanes + reach; k += lanes) least = hn::Min(least, hn::LoadU(d, site + k));
    if (hn::AllTrue(d, hn::Gt(least, limit))) return best;
  }
  // Four neighbours a turn: asking more often whether to go on costs more than it saves.
  auto square = hn::Set(d, 1);
  auto increment = hn::Set(d, 3);
  auto const two = hn::Set(d, 2);
  for (int k = 1; k <= reach; k += 4) {
    if (hn::AllFalse(d, hn::Gt(hn::Max(best.low, best.high), square))) break;
    HWY_UNROLL(4)
    for (int next = k; next < k + 4; ++next) {
      auto const low = hn::Min(hn::LoadU(d, site - next), hn::LoadU(d, site + next));
      auto const high = hn::Min(hn::LoadU(d, site + lanes - next), hn::LoadU(d, site + lanes + next));
      best.low = hn::Min(best.low, hn::SaturatedAdd(low, square));
      best.high = hn::Min(best.high, hn::SaturatedAdd(high, square));
      square = hn::Add(square, increment);
      increment = hn::Add(increment, two);
    }
  }
  return best;
}

/// Squared distances up to `reachSquared`; whatever is larger is only a bound. Lists the blocks that hold any
/// such.
std::size_t NearPass(Row const& row) {
  hn::ScalableTag<std::int16_t> const d;
  std::size_t const lanes = hn::Lanes(d);
  auto const limit = hn::Set(d, reachSquared);
  std::size_t farBlocks = 0;
  for (std::size_t i = 0; i < row.width; i += 2 * lanes) {
    std::size_t const rest = row.width - i;
    auto const isLow = hn::FirstN(d, rest);
    auto const isHigh = hn::FirstN(d, rest - std::min(rest, lanes));
    auto const sites = [&](std::int16_t const* side) HWY_ATTR {
      return Pair<hn::Vec<decltype(d)>>{hn::IfThenElseZero(isLow, hn::LoadU(d, side + i)),
                                        hn::IfThenElseZero(isHigh, hn::LoadU(d, side + i + lanes))};
    };
    auto const inside = NearestSquared(d, row.insideSites + i, sites(row.insideSites));
    auto const outside = NearestSquared(d, row.outsideSites + i, sites(row.outsideSites));
    auto const low = hn::Add(inside.low, outside.low);
    auto const high = hn::Add(inside.high, outside.high);
    hn::Store(low, d, row.nearDistances + i);
    hn::Store(high, d, row.nearDistances + i + lanes);
    row.farBlocks[farBlocks] = static_cast<std::int32_t>(i);
    farBlocks += !hn::AllFalse(d, hn::Gt(low, limit));
    row.farBlocks[farBlocks] = static_cast<std::int32_t>(i + lanes);
    farBlocks += !hn::AllFalse(d, hn::Gt(high, limit));
  }
  return farBlocks;
}

/// An s in [begin, end] that minimises site[s] + (u − s)². Sites up to a vector beyond `end` are looked at
/// too, which does no harm.
std::int32_t Nearest(std::int32_t const* site, std::int32_t begin, std::int32_t end, std::int32_t u) {
  hn::ScalableTag<std::int32_t> const d;
  auto const lanes = static_cast<std::int32_t>(hn::Lanes(d));
  auto const target = hn::Set(d, u);
  auto const step = hn::Set(d, lanes);
  auto position = hn::Iota(d, begin);
  auto best = hn::Set(d, 0x7FFFFFFF);
  auto bestPosition = position;
  for (std::int32_t s = begin; s <= end; s += lanes) {
    auto const away = hn::Sub(position, target);
    auto const value = hn::Add(hn::LoadU(d, site + s), hn::Mul(away, away));
    bestPosition = hn::IfThenElse(hn::Lt(value, best), position, bestPosition);
    best = hn::Min(best, value);
    position = hn::Add(position, step);
  }
  HWY_ALIGN std::int32_t positions[HWY_MAX_BYTES / sizeof(std::int32_t)];
  hn::Store(bestPosition, d, positions);
  return positions[hn::FindFirstTrue(d, hn::Eq(best, hn::MinOfLanes(d, best)))];
}

/// How far from `position`, at one end of a group of far blocks, its nearest site can be: as far as the one
/// in its own column, and hardly farther than that of the `neighbour` outside the group, whose distance is
/// known. The latter keeps the work on a row linear, however many groups it holds.
std::int32_t Radius(Row const& row, std::int32_t position, std::int32_t neighbour) {
  auto const width = static_cast<std::int32_t>(row.width);
  auto const rootAbove = [](double square) { return static_cast<std::int32_t>(std::sqrt(square)) + 1; };
  std::int16_t const mine = row.counts[position];
  std::int16_t const count = mine >= 0 ? mine : static_cast<std::int16_t>(~mine);
  std::int32_t const own = count == ColumnCounts::none ? width : rootAbove(row.squares[count]);
  if (neighbour < 0 || neighbour >= width) return own;
  return std::min(own, rootAbove(row.nearDistances[neighbour]) + 1);
}

/// The squared distances of the positions [first, last], all of one side, exact at any distance. The other
/// side's voxels are sites with 0. Returns a vector with the largest among its lanes.
hn::Vec<hn::ScalableTag<std::int32_t>> FarPositions(Row const& row, std::int32_t first, std::int32_t last) {
  hn::ScalableTag<std::int32_t> const d;
  hn::Rebind<std::int16_t, decltype(d)> const dCounts;
  auto const lanes = static_cast<std::int32_t>(hn::Lanes(d));
  auto const width = static_cast<std::int32_t>(row.width);

  // 1: the sites, as far as they can be nearest to any of the positions
  std::int32_t const firstSite = std::max(0, first - Radius(row, first, first - 1));
  std::int32_t const lastSite = std::min(width - 1, last + Radius(row, last, last + 1));
  auto const ownSide = hn::Set(d, row.counts[first] >= 0 ? 0 : -1);
  for (std::int32_t i = firstSite; i <= lastSite; i += lanes) {
    auto const count = hn::Xor(hn::PromoteTo(d, hn::LoadU(dCounts, row.counts + i)), ownSide);
    auto const isOther = hn::Lt(count, hn::Zero(d));
    hn::StoreU(hn::IfThenZeroElse(isOther, SquaresOf(d, row, hn::Max(count, hn::Zero(d)))), d, row.sites + i);
  }
  std::fill_n(row.sites + lastSite + 1, lanes, farAway);

  // 2: a nearest site of the first position of each block and of the very last position, by halves: what is
  // nearest to a position between two others lies between what is nearest to them
  auto const blockLength = static_cast<std::int32_t>(hn::Lanes(hn::ScalableTag<std::int16_t>()));
  auto const blocks = static_cast<std::size_t>((last - first) / blockLength) + 1;
  row.nearest[0] =
      Nearest(row.sites, firstSite, std::min(lastSite, first + Radius(row, first, first - 1)), first);
  row.nearest[blocks] = Nearest(row.sites, row.nearest[0], lastSite, last);
  for (std::size_t half = std::bit_ceil(blocks) / 2; half > 0; half /= 2) {
    for (std::size_t b = half; b < blocks; b += 2 * half) {
      row.nearest[b] = Nearest(row.sites, row.nearest[b - half], row.nearest[std::min(b + half, blocks)],
                               first + static_cast<std::int32_t>(b) * blockLength);
    }
  }

  // 3: all positions of a block, from the few sites between
  auto const one = hn::Set(d, 1);
  auto farthest = hn::Zero(d);
  for (std::size_t b = 0; b < blocks; ++b) {
    std::int32_t const start = first + static_cast<std::int32_t>(b) * blockLength;
    auto lowAway = hn::Iota(d, start - row.nearest[b]);
    auto highAway = hn::Iota(d, start - row.nearest[b] + lanes);
    auto low = hn::Set(d, 0x7FFFFFFF);
    auto high = low;
    for (std::int32_t s = row.nearest[b]; s <= row.nearest[b + 1]; ++s) {
      auto const site = hn::Set(d, row.sites[s]);
      low = hn::Min(low, hn::Add(hn::Mul(lowAway, lowAway), site));
      high = hn::Min(high, hn::Add(hn::Mul(highAway, highAway), site));
      lowAway = hn::Sub(lowAway, one);
      highAway = hn::Sub(highAway, one);
    }
    farthest = hn::Max(farthest, hn::Max(low, high));
    hn::StoreU(low, d, row.distances + start);
    if (blockLength > lanes) hn::StoreU(high, d, row.distances + start + lanes);
  }
  return farthest;
}

/// All distances in 32 bits, those of the far blocks computed anew. Blocks that follow each other are of one
/// side, and one side alone: what lies beyond reach has no other side within a block's length.
/// Returns the largest, or `reachSquared` if that is larger.
std::int32_t FarPass(Row const& row, std::size_t farBlocks) {
  hn::ScalableTag<std::int32_t> const d;
  hn::Rebind<std::int16_t, decltype(d)> const dNear;
  for (std::size_t i = 0; i < row.width; i += hn::Lanes(d)) {
    hn::Store(hn::PromoteTo(d, hn::LoadU(dNear, row.nearDistances + i)), d, row.distances + i);
  }
  auto const blockLength = static_cast<std::int32_t>(hn::Lanes(hn::ScalableTag<std::int16_t>()));
  auto const width = static_cast<std::int32_t>(row.width);
  auto farthest = hn::Set(d, reachSquared);
  for (std::size_t b = 0; b < farBlocks;) {
    std::int32_t const first = row.farBlocks[b];
    std::int32_t end = first;
    while (b < farBlocks && row.farBlocks[b] == end) {
      end += blockLength;
      ++b;
    }
    farthest = hn::Max(farthest, FarPositions(row, first, std::min(end, width) - 1));
  }
  return hn::GetLane(hn::MaxOfLanes(d, farthest));
}

/// Whether the table entries [begin, end) are what the square root of their index is. Where they are,
/// computing roots is faster than looking them up.
bool ArePlainRoots(float const* table, std::int32_t begin, std::int32_t end) {
  hn::ScalableTag<float> const d;
  hn::RebindToSigned<decltype(d)> const di;
  auto const lanes = static_cast<std::int32_t>(hn::Lanes(d));
  bool plain = true;
  std::int32_t k = begin;
  for (; k + lanes <= end && plain; k += lanes) {
    plain = hn::AllTrue(d, hn::Eq(hn::LoadU(d, table + k), hn::Sqrt(hn::ConvertTo(d, hn::Iota(di, k)))));
  }
  for (; k < end && plain; ++k) plain = table[k] == std::sqrt(static_cast<float>(k));
  return plain;
}

/// Roots with the sign of the side.
template <bool plainRoots, class Squared>
void WriteDistances(Row const& row, Squared const* squared, float const* table, float* distances) {
  hn::ScalableTag<float> const d;
  hn::RebindToSigned<decltype(d)> const di;
  hn::Rebind<Squared, decltype(d)> const dSquared;
  hn::Rebind<std::int16_t, decltype(d)> const dCounts;
  auto const signBit = hn::SignBit(d);
  std::size_t i = 0;
  for (; i + hn::Lanes(d) <= row.width; i += hn::Lanes(d)) {
    auto index = hn::Zero(di);
    if constexpr (sizeof(Squared) == sizeof(float)) {
      index = hn::Load(dSquared, squared + i);
    } else {
      index = hn::PromoteTo(di, hn::LoadU(dSquared, squared + i));
    }
    auto root = hn::Zero(d);
    if constexpr (plainRoots) {
      root = hn::Sqrt(hn::ConvertTo(d, index));
    } else {
      root = hn::GatherIndex(d, table, index);
    }
    auto const outside = hn::BitCast(d, hn::PromoteTo(di, hn::LoadU(dCounts, row.counts + i)));
    hn::StoreU(hn::Xor(root, hn::AndNot(outside, signBit)), d, distances + i);
  }
  for (; i < row.width; ++i) {
    float const root = table[squared[i]];
    distances[i] = row.counts[i] >= 0 ? -root : root;
  }
}

template <class Squared>
void WriteDistances(Row const& row, Squared const* squared, std::int32_t largest, Roots& roots,
                    float* distances) {
  if (roots.plain && largest >= roots.plainUpTo) {
    // Twice as far as asked for, so that it does not come to this often.
    std::int32_t const end = std::min(2 * largest + 1, roots.count);
    roots.plain = ArePlainRoots(roots.table, roots.plainUpTo, end);
    roots.plainUpTo = end;
  }
  if (roots.plain) {
    WriteDistances<true>(row, squared, roots.table, distances);
  } else {
    WriteDistances<false>(row, squared, roots.table, distances);
  }
}

/// One row from counts and near sites to distances.
void SolveRow(Row const& row, Roots& roots, float* distances) {
  if (std::size_t const farBlocks = NearPass(row); farBlocks > 0) {
    std::int32_t const largest = FarPass(row, farBlocks);
    WriteDistances(row, row.distances, largest, roots, distances);
  } else {
    WriteDistances(row, row.nearDistances, reachSquared, roots, distances);
  }
}

}  // namespace HWY_NAMESPACE
}  // namespace lorb
HWY_AFTER_NAMESPACE();

// --- what is compiled once ---------------------------------------------------------------------------

#if HWY_ONCE

namespace lorb {

HWY_EXPORT(ColumnDistances);
HWY_EXPORT(PrepareNearSites);
HWY_EXPORT(SolveRow);

namespace {

/// Up to this height no column distance reaches beyond 2²⁴, where sums in single precision are still exact.
constexpr int exactHeight = (1 << 12) + 1;

}  // namespace

bool SignedRowPass::canHold(int width, int height) {
  std::int64_t const w = width;
  std::int64_t const h = height;
  return w > 0 && h > 0 && h < ColumnCounts::none && w * w + h * h < (1 << 29);
}

SignedRowPass::SignedRowPass(int width, int height, float const* squareRoots)
    : roots_{squareRoots, width * width + height * height},
      squares_(allocateAligned<std::uint32_t>(static_cast<std::size_t>(height))),
      infinite_(allocateAligned<std::uint32_t>(static_cast<std::size_t>(height))) {
  // Sums of odd numbers in single precision: beyond 2²⁴ they are no longer squares.
  float square = 0.0F;
  float infinite = static_cast<float>(roots_.count);
  int increment = 1;
  for (int k = 0; k < height; ++k) {
    squares_[static_cast<std::size_t>(k)] = static_cast<std::uint32_t>(square);
    infinite_[static_cast<std::size_t>(k)] = static_cast<std::uint32_t>(infinite);
    square += static_cast<float>(increment);
    infinite += static_cast<float>(increment);
    increment += 2;
  }

  // Whole pairs of vectors of up to 64 elements. Each array is followed by the margin of the next.
  using signed_row::margin;
  std::size_t const length = (static_cast<std::size_t>(width) + 127) / 128 * 128 + 2 * margin;
  work16_ = allocateAligned<std::int16_t>(5 * length);
  work32_ = allocateAligned<std::int32_t>(4 * length);
  std::fill_n(work16_.get(), 5 * length, signed_row::nowhere);
  std::int16_t* const near = work16_.get() + margin;
  std::int32_t* const far = work32_.get() + margin;
  for (std::size_t k = 0; k < 2; ++k) {
    rows_[k] = {static_cast<std::size_t>(width),
                nullptr,
                squares_.get(),
                0,
                height <= exactHeight,
                near + 2 * k * length,
                near + (2 * k + 1) * length,
                near + 4 * length,
                far,
                far + length,
                far + 2 * length,
                far + 3 * length};
  }
}

void SignedRowPass::prepare(std::int16_t const* counts, int j) {
  signed_row::Row& row = rows_[prepared_++ % 2];
  row.counts = counts;
  row.infinite = infinite_[static_cast<std::size_t>(j)];
  HWY_DYNAMIC_DISPATCH(PrepareNearSites)(row);
}

void SignedRowPass::solve(float* distances) {
  HWY_DYNAMIC_DISPATCH(SolveRow)(rows_[solved_++ % 2], roots_, distances);
}

std::uint32_t const* SignedRowPass::columnDistances(std::int16_t const* counts, int j, bool ofInside) {
  signed_row::Row row = rows_[0];
  row.counts = counts;
  row.infinite = infinite_[static_cast<std::size_t>(j)];
  auto* const values = reinterpret_cast<std::uint32_t*>(row.distances);
  HWY_DYNAMIC_DISPATCH(ColumnDistances)(row, ofInside, values);
  return values;
}

}  // namespace lorb

#endif  // HWY_ONCE
