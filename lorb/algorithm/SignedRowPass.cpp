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

/// Two blocks of positions, searched in step: the one hides the waits of the other.
template <class T>
struct Pair {
  T low, high;
};

/// Whether the squared column distances of all sites within reach of a block are beyond `limit`.
template <class D>
HWY_INLINE bool NoneIsNear(D d, std::int16_t const* site, hn::Vec<D> own, hn::Vec<D> limit) {
  auto const lanes = static_cast<int>(hn::Lanes(d));
  auto least = own;
  if (!hn::AllTrue(d, hn::Gt(least, limit))) return false;
  for (int k = -reach; k < lanes + reach; k += lanes) least = hn::Min(least, hn::LoadU(d, site + k));
  return hn::AllTrue(d, hn::Gt(least, limit));
}

/// min over |k| ≤ reach of site[u + k] + k², for two blocks of positions that begin at `site` and whose own
/// values are `best`. It stops as soon as farther sites can't be nearer, and does not begin where no site is
/// near.
template <class D>
HWY_INLINE Pair<hn::Vec<D>> NearestSquared(D d, Pair<std::int16_t const*> site, Pair<hn::Vec<D>> best) {
  auto const limit = hn::Set(d, reachSquared);
  if (NoneIsNear(d, site.low, best.low, limit) && NoneIsNear(d, site.high, best.high, limit)) return best;
  // Four neighbours a turn: asking more often whether to go on costs more than it saves.
  auto square = hn::Set(d, 1);
  auto increment = hn::Set(d, 3);
  auto const two = hn::Set(d, 2);
  for (int k = 1; k <= reach; k += 4) {
    if (hn::AllFalse(d, hn::Gt(hn::Max(best.low, best.high), square))) break;
    HWY_UNROLL(4)
    for (int next = k; next < k + 4; ++next) {
      auto const low = hn::Min(hn::LoadU(d, site.low - next), hn::LoadU(d, site.low + next));
      auto const high = hn::Min(hn::LoadU(d, site.high - next), hn::LoadU(d, site.high + next));
      best.low = hn::Min(best.low, hn::SaturatedAdd(low, square));
      best.high = hn::Min(best.high, hn::SaturatedAdd(high, square));
      square = hn::Add(square, increment);
      increment = hn::Add(increment, two);
    }
  }
  return best;
}

/// Squared distances up to `reachSquared` of the blocks that are not known to be far; whatever is larger is
/// only a bound, and marks its block as far. Returns whether any block is.
bool NearPass(Row const& row) {
  hn::ScalableTag<std::int16_t> const d;
  std::size_t const lanes = hn::Lanes(d);
  std::size_t const blocks = (row.width + lanes - 1) / lanes;
  auto const limit = hn::Set(d, reachSquared);
  bool anyFar = false;
  auto const nextUnknown = [&](std::size_t b) {
    for (; b < blocks && row.far[b] != 0; ++b) anyFar = true;
    return b;
  };
  for (std::size_t b = nextUnknown(0); b < blocks;) {
    // The last one alone is searched twice.
    std::size_t const partner = nextUnknown(b + 1);
    std::size_t const low = b * lanes;
    std::size_t const high = partner < blocks ? partner * lanes : low;
    auto const sites = [&](std::int16_t const* side) HWY_ATTR {
      return Pair<hn::Vec<decltype(d)>>{
          hn::IfThenElseZero(hn::FirstN(d, row.width - low), hn::LoadU(d, side + low)),
          hn::IfThenElseZero(hn::FirstN(d, row.width - high), hn::LoadU(d, side + high))};
    };
    auto const inside =
        NearestSquared(d, {row.insideSites + low, row.insideSites + high}, sites(row.insideSites));
    auto const outside =
        NearestSquared(d, {row.outsideSites + low, row.outsideSites + high}, sites(row.outsideSites));
    auto const keep = [&](std::size_t begin, hn::Vec<decltype(d)> squared) HWY_ATTR {
      hn::Store(squared, d, row.nearDistances + begin);
      bool const isFar = !hn::AllFalse(d, hn::Gt(squared, limit));
      row.far[begin / lanes] = isFar;
      anyFar |= isFar;
    };
    keep(low, hn::Add(inside.low, outside.low));
    keep(high, hn::Add(inside.high, outside.high));
    b = partner < blocks ? nextUnknown(partner + 1) : blocks;
  }
  return anyFar;
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
  // No farther than its root and 1, of which the whole numbers count.
  return std::min(own, rootAbove(row.nearDistances[neighbour]));
}

using Squares = hn::Vec<hn::ScalableTag<std::int32_t>>;

/// Squared distances of a block of positions from `start` on, to whose first one site `begin` is nearest and
/// to all others one of [begin, end].
HWY_INLINE Pair<Squares> FromAnySites(Row const& row, std::int32_t start, std::int32_t begin,
                                      std::int32_t end) {
  hn::ScalableTag<std::int32_t> const d;
  auto const one = hn::Set(d, 1);
  auto lowAway = hn::Iota(d, start - begin);
  auto highAway = hn::Add(lowAway, hn::Set(d, static_cast<std::int32_t>(hn::Lanes(d))));
  auto low = hn::Set(d, 0x7FFFFFFF);
  auto high = low;
  for (std::int32_t s = begin; s <= end; ++s) {
    auto const site = hn::Set(d, row.sites[s]);
    low = hn::Min(low, hn::Add(hn::Mul(lowAway, lowAway), site));
    high = hn::Min(high, hn::Add(hn::Mul(highAway, highAway), site));
    lowAway = hn::Sub(lowAway, one);
    highAway = hn::Sub(highAway, one);
  }
  return {low, high};
}

/// How many sites `FromCloseSites` takes at the most: sums of 2 l r must fit into 16 bits.
HWY_INLINE std::int32_t MostCloseSites() {
  return 0x7FFF / (2 * static_cast<std::int32_t>(hn::Lanes(hn::ScalableTag<std::int16_t>()))) - 4;
}

/// The same in 16 bits. At position start + l, site begin + r is better than `begin` by 2 l r less what it is
/// worse by at `start`. What is worse by more than 16 bits hold is never the best.
HWY_INLINE Pair<Squares> FromCloseSites(Row const& row, std::int32_t start, std::int32_t begin,
                                        std::int32_t end) {
  hn::ScalableTag<std::int32_t> const d;
  hn::ScalableTag<std::int16_t> const dShort;
  hn::Rebind<std::int16_t, decltype(d)> const dHalf;
  std::int32_t const ahead = start - begin;
  auto const lanes = static_cast<std::int32_t>(hn::Lanes(d));

  // 1: by how much each is worse at `start`
  auto const firstCost = hn::Set(d, row.sites[begin] + ahead * ahead);
  auto away = hn::Sub(hn::Set(d, ahead), hn::Iota(d, 0));
  for (std::int32_t r = 0; r < end - begin + 4; r += lanes) {
    auto const cost = hn::Add(hn::LoadU(d, row.sites + begin + r), hn::Mul(away, away));
    hn::StoreU(hn::DemoteTo(dHalf, hn::Sub(cost, firstCost)), dHalf, row.excesses + r);
    away = hn::Sub(away, hn::Set(d, lanes));
  }

  // 2: the best, from the last site to the first, so that 2 l is all there is to subtract from one to the
  // next; four at a time, since each waits for the one before
  auto const step = hn::ShiftLeft<1>(hn::Iota(dShort, 0));
  auto const fourSteps = hn::ShiftLeft<2>(step);
  auto best0 = hn::Set(dShort, 0x7FFF), best1 = best0, best2 = best0, best3 = best0;
  for (std::int32_t r = (end - begin) / 4 * 4; r >= 0; r -= 4) {
    best0 = hn::Min(hn::Set(dShort, row.excesses[r]), hn::Sub(best0, fourSteps));
    best1 = hn::Min(hn::Set(dShort, row.excesses[r + 1]), hn::Sub(best1, fourSteps));
    best2 = hn::Min(hn::Set(dShort, row.excesses[r + 2]), hn::Sub(best2, fourSteps));
    best3 = hn::Min(hn::Set(dShort, row.excesses[r + 3]), hn::Sub(best3, fourSteps));
  }
  best2 = hn::Min(best2, hn::Sub(best3, step));
  best1 = hn::Min(best1, hn::Sub(best2, step));
  best0 = hn::Min(best0, hn::Sub(best1, step));

  // 3: and what `begin` itself is away by
  HWY_ALIGN std::int16_t best[HWY_MAX_BYTES / sizeof(std::int16_t)];
  hn::Store(best0, dShort, best);
  auto const site = hn::Set(d, row.sites[begin]);
  auto const squares = [&](std::int32_t first, std::int16_t const* gains) HWY_ATTR {
    auto const distance = hn::Iota(d, ahead + first);
    return hn::Add(hn::Add(hn::Mul(distance, distance), site), hn::PromoteTo(d, hn::LoadU(dHalf, gains)));
  };
  return {squares(0, best), squares(lanes, best + hn::Lanes(dShort) - hn::Lanes(d))};
}

/// The squared distances of the positions [first, last], all of one side, exact at any distance. The other
/// side's voxels are sites with 0. Returns a vector with the largest among its lanes.
Squares FarPositions(Row const& row, std::int32_t first, std::int32_t last) {
  hn::ScalableTag<std::int32_t> const d;
  hn::Rebind<std::int16_t, decltype(d)> const dCounts;
  auto const lanes = static_cast<std::int32_t>(hn::Lanes(d));
  auto const width = static_cast<std::int32_t>(row.width);

  // 1: the sites, as far as they can be nearest to any of the positions
  std::int32_t const radiusOfFirst = Radius(row, first, first - 1);
  std::int32_t const radiusOfLast = Radius(row, last, last + 1);
  std::int32_t const firstSite = std::max(0, first - radiusOfFirst);
  std::int32_t const lastSite = std::min(width - 1, last + radiusOfLast);
  auto const ownSide = hn::Set(d, row.counts[first] >= 0 ? 0 : -1);
  for (std::int32_t i = firstSite; i <= lastSite; i += lanes) {
    auto const count = hn::Xor(hn::PromoteTo(d, hn::LoadU(dCounts, row.counts + i)), ownSide);
    auto const isOther = hn::Lt(count, hn::Zero(d));
    hn::StoreU(hn::IfThenZeroElse(isOther, SquaresOf(d, row, hn::Max(count, hn::Zero(d)))), d, row.sites + i);
  }
  std::fill_n(row.sites + lastSite + 1, lanes + 4, farAway);

  // 2: a nearest site of the first position of each block and of the very last position, by halves: what is
  // nearest to a position between two others lies between what is nearest to them
  auto const blockLength = static_cast<std::int32_t>(hn::Lanes(hn::ScalableTag<std::int16_t>()));
  auto const blocks = static_cast<std::size_t>((last - first) / blockLength) + 1;
  row.nearest[0] = Nearest(row.sites, firstSite, std::min(lastSite, first + radiusOfFirst), first);
  row.nearest[blocks] = Nearest(row.sites, std::max(row.nearest[0], last - radiusOfLast), lastSite, last);
  for (std::size_t half = std::bit_ceil(blocks) / 2; half > 0; half /= 2) {
    for (std::size_t b = half; b < blocks; b += 2 * half) {
      row.nearest[b] = Nearest(row.sites, row.nearest[b - half], row.nearest[std::min(b + half, blocks)],
                               first + static_cast<std::int32_t>(b) * blockLength);
    }
  }

  // 3: all positions of a block, from the few sites between
  auto farthest = hn::Zero(d);
  for (std::size_t b = 0; b < blocks; ++b) {
    std::int32_t const start = first + static_cast<std::int32_t>(b) * blockLength;
    std::int32_t const begin = row.nearest[b], end = row.nearest[b + 1];
    auto const squares = end - begin < MostCloseSites() ? FromCloseSites(row, start, begin, end)
                                                        : FromAnySites(row, start, begin, end);
    hn::StoreU(squares.low, d, row.distances + start);
    if (blockLength > lanes) hn::StoreU(squares.high, d, row.distances + start + lanes);
    farthest = hn::Max(farthest, hn::Max(squares.low, squares.high));
  }
  return farthest;
}

/// All distances in 32 bits, those of the far blocks computed anew. Blocks that follow each other are of one
/// side, and one side alone: what lies beyond reach has no other side within a block's length. Keeps those
/// marked that will be far in the row above as well, since distances change by 1 at most from row to row.
/// Returns the largest, or `reachSquared` if that is larger.
std::int32_t FarPass(Row const& row) {
  hn::ScalableTag<std::int32_t> const d;
  hn::Rebind<std::int16_t, decltype(d)> const dNear;
  std::size_t const blockLength = hn::Lanes(hn::ScalableTag<std::int16_t>());
  auto farthest = hn::Set(d, reachSquared);
  for (std::size_t first = 0; first < row.width;) {
    std::size_t end = first;
    while (end < row.width && row.far[end / blockLength] != 0) end += blockLength;
    if (end == first) {
      end += blockLength;
      for (; first < end; first += hn::Lanes(d)) {
        hn::Store(hn::PromoteTo(d, hn::LoadU(dNear, row.nearDistances + first)), d, row.distances + first);
      }
      continue;
    }
    std::size_t const last = std::min(end, row.width) - 1;
    farthest = hn::Max(farthest,
                       FarPositions(row, static_cast<std::int32_t>(first), static_cast<std::int32_t>(last)));
    for (; first < end; first += blockLength) {
      std::int32_t const atEnds =
          std::max(row.distances[first], row.distances[std::min(first + blockLength - 1, last)]);
      row.far[first / blockLength] = atEnds > (reach + 2) * (reach + 2);
    }
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
  if (NearPass(row)) {
    WriteDistances(row, row.distances, FarPass(row), roots, distances);
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

SignedRowPass::SignedRowPass(int width, int height, int slices, float const* squareRoots)
    : height_(height),
      roots_{squareRoots, width * width + height * height},
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
  work16_ = allocateAligned<std::int16_t>(6 * length);
  far_.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(slices));
  work32_ = allocateAligned<std::int32_t>(3 * length);
  std::fill_n(work16_.get(), 6 * length, signed_row::nowhere);
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
                near + 5 * length,
                nullptr,
                far,
                far + length,
                far + 2 * length};
  }
}

void SignedRowPass::prepare(std::int16_t const* counts, int j, int slice) {
  signed_row::Row& row = rows_[prepared_++ % 2];
  row.counts = counts;
  row.far = far_.data() + static_cast<std::size_t>(slice) * row.width;
  if (j + 1 == height_) std::fill_n(row.far, row.width, std::uint8_t{0});
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
