#include <lorb/algorithm/SignedSlice.h>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "lorb/algorithm/SignedSlice.cpp"
#include <hwy/foreach_target.h>  // compiles this file once per instruction set
// After foreach_target.h, as Highway wants it.
#include <hwy/highway.h>

#include <algorithm>
#include <new>

// --- what is compiled for every instruction set ------------------------------------------------------

HWY_BEFORE_NAMESPACE();
namespace lorb {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

using namespace signed_row;

// Counts carry the side: c inside, ~c outside. So x ^ side (0 inside, −1 outside) is the count again, and
// negative where x is of the other side.

constexpr std::int16_t nowhere = 32767;
constexpr std::int32_t farAway = 0x3FFFFFFF;
constexpr std::size_t spacing = 16;  // between the positions that the search by halves solves first

/// The counts of a row from those of the row above (null for the first row), and which sides it holds.
Sides StepDown(std::int16_t const* above, std::uint8_t const* inside, std::int16_t* counts,
               std::size_t width) {
  hn::ScalableTag<std::int16_t> const d;
  hn::Rebind<std::uint8_t, decltype(d)> const dFlags;
  auto const zero = hn::Zero(d);
  auto const one = hn::Set(d, 1);
  auto anyOutside = zero;
  auto allOutside = hn::Set(d, -1);
  auto const advance = [&](std::uint8_t const* flags, std::size_t i) HWY_ATTR {
    auto const side = hn::VecFromMask(d, hn::Eq(hn::PromoteTo(d, hn::LoadU(dFlags, flags)), zero));
    anyOutside = hn::Or(anyOutside, side);
    allOutside = hn::And(allOutside, side);
    auto const count = above == nullptr
                           ? hn::Set(d, noneInColumn)
                           : hn::SaturatedAdd(hn::Max(hn::Xor(hn::Load(d, above + i), side), zero), one);
    hn::Store(hn::Xor(count, side), d, counts + i);
  };
  std::size_t i = 0;
  for (; i + hn::Lanes(d) <= width; i += hn::Lanes(d)) advance(inside + i, i);
  if (i < width) {
    // The rest of the vector repeats the last voxel, which adds no side that the row does not hold.
    HWY_ALIGN std::uint8_t rest[HWY_MAX_BYTES];
    std::fill_n(rest, hn::Lanes(d), inside[width - 1]);
    std::copy_n(inside + i, width - i, rest);
    advance(rest, i);
  }
  return {!hn::AllTrue(d, hn::Lt(allOutside, zero)), !hn::AllFalse(d, hn::Lt(anyOutside, zero))};
}

void StepUp(std::int16_t* counts, std::int16_t const* below, std::size_t width) {
  hn::ScalableTag<std::int16_t> const d;
  auto const zero = hn::Zero(d);
  auto const one = hn::Set(d, 1);
  for (std::size_t i = 0; i < width; i += hn::Lanes(d)) {
    auto const mine = hn::Load(d, counts + i);
    auto const side = hn::ShiftRight<15>(mine);
    auto const fromBelow = hn::SaturatedAdd(hn::Max(hn::Xor(hn::Load(d, below + i), side), zero), one);
    hn::Store(hn::Xor(hn::Min(hn::Xor(mine, side), fromBelow), side), d, counts + i);
  }
}

/// The squares behind a vector of counts.
template <class D>
HWY_INLINE hn::Vec<D> SquaresOf(D d, Row const& row, hn::Vec<D> counts) {
  auto const isNone = hn::Eq(counts, hn::Set(d, noneInColumn));
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

/// Squared column distances in 16 bits, a row per side; 0 on the other side. Counts from 181 on come out
/// too small, but beyond what is accepted from these rows.
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
  // The last vector may have gone beyond the row.
  for (std::int16_t* sites : {row.insideSites, row.outsideSites}) {
    std::fill_n(sites - margin, margin, nowhere);
    std::fill_n(sites + row.width, margin, nowhere);
  }
}

/// min over |k| ≤ reach of site[u + k] + k², for a vector of positions from `site` on, whose own values are
/// `best`. It stops as soon as farther sites can't be nearer, and does not begin where no site is near.
template <class D>
HWY_INLINE hn::Vec<D> NearestSquared(D d, std::int16_t const* site, hn::Vec<D> best) {
  auto const lanes = static_cast<int>(hn::Lanes(d));
  if (hn::AllTrue(d, hn::Gt(best, hn::Set(d, reachSquared)))) {
    auto least = best;
    for (int k = -reach; k < lanes + reach; k += lanes) least = hn::Min(least, hn::LoadU(d, site + k));
    if (hn::AllTrue(d, hn::Gt(least, hn::Set(d, reachSquared)))) return best;
  }
  for (int k = 1; k <= reach; ++k) {
    auto const square = hn::Set(d, static_cast<std::int16_t>(k * k));
    if (hn::AllFalse(d, hn::Gt(best, square))) break;
    auto const pair = hn::Min(hn::LoadU(d, site - k), hn::LoadU(d, site + k));
    best = hn::Min(best, hn::SaturatedAdd(pair, square));
  }
  return best;
}

/// Squared distances up to `reachSquared`; whatever is larger is only a bound. Lists the blocks that hold
/// any such.
std::size_t NearPass(Row const& row) {
  hn::ScalableTag<std::int16_t> const d;
  std::size_t farBlocks = 0;
  for (std::size_t i = 0; i < row.width; i += hn::Lanes(d)) {
    auto const valid = hn::FirstN(d, row.width - i);
    auto const inside = hn::IfThenElseZero(valid, hn::LoadU(d, row.insideSites + i));
    auto const outside = hn::IfThenElseZero(valid, hn::LoadU(d, row.outsideSites + i));
    auto best = NearestSquared(d, row.insideSites + i, inside);
    best = hn::Add(best, NearestSquared(d, row.outsideSites + i, outside));
    hn::Store(best, d, row.nearDistances + i);
    row.farBlocks[farBlocks] = static_cast<std::int32_t>(i);
    farBlocks += !hn::AllFalse(d, hn::Gt(best, hn::Set(d, reachSquared)));
  }
  return farBlocks;
}

/// The smallest s in [begin, end] that minimises site[s] + (u − s)².
std::int32_t Nearest(std::int32_t const* site, std::int32_t begin, std::int32_t end, std::int32_t u) {
  hn::ScalableTag<std::int32_t> const d;
  auto const step = static_cast<std::int32_t>(hn::Lanes(d));
  auto best = hn::Set(d, 0x7FFFFFFF);
  auto bestPosition = hn::Set(d, end);
  auto position = hn::Iota(d, begin);
  auto const target = hn::Set(d, u);
  for (std::int32_t s = begin; s <= end; s += step) {
    auto const offset = hn::Sub(position, target);
    auto const value = hn::Add(hn::LoadU(d, site + s), hn::Mul(offset, offset));
    auto const better = hn::Lt(value, best);
    best = hn::Min(best, value);
    bestPosition = hn::IfThenElse(better, position, bestPosition);
    position = hn::Add(position, hn::Set(d, step));
  }
  auto const minimum = hn::MinOfLanes(d, best);
  auto const candidates = hn::IfThenElse(hn::Eq(best, minimum), bestPosition, hn::Set(d, 0x7FFFFFFF));
  return hn::GetLane(hn::MinOfLanes(d, candidates));
}

/// Solves the positions between two solved ones by halves: a position's nearest site lies between those
/// of its neighbours.
void SolveBetween(Row const& row, std::int32_t first, std::size_t low, std::size_t high) {
  if (high - low < 2) return;
  std::size_t const middle = (low + high) / 2;
  row.nearest[middle] = Nearest(row.sites, row.nearest[low], row.nearest[high],
                                first + static_cast<std::int32_t>(middle * spacing));
  SolveBetween(row, first, low, middle);
  SolveBetween(row, first, middle, high);
}

/// The squared distances of the positions [first, last] of the run [runFirst, runLast] of one side, exact
/// at any distance. The sites are the run itself and, with 0, its neighbours of the other side; anything
/// beyond is farther than those.
void FarPositions(Row const& row, std::int32_t runFirst, std::int32_t runLast, std::int32_t first,
                  std::int32_t last) {
  hn::ScalableTag<std::int32_t> const d;
  hn::Rebind<std::int16_t, decltype(d)> const dCounts;
  auto const lanes = static_cast<std::int32_t>(hn::Lanes(d));

  // 1: the sites
  for (std::int32_t i = runFirst; i <= runLast; i += lanes) {
    auto const mine = hn::PromoteTo(d, hn::LoadU(dCounts, row.counts + i));
    hn::StoreU(SquaresOf(d, row, hn::Xor(mine, hn::ShiftRight<31>(mine))), d, row.sites + i);
  }
  std::int32_t const firstSite = runFirst - 1;
  std::int32_t const lastSite = runLast + 1;
  std::fill_n(row.sites + lastSite, lanes + 1, farAway);
  row.sites[firstSite] = runFirst > 0 ? 0 : farAway;
  if (static_cast<std::size_t>(lastSite) < row.width) row.sites[lastSite] = 0;

  // 2: the nearest site of every 16th position and of the last
  auto const length = static_cast<std::size_t>(last - first + 1);
  std::size_t const blocks = (length + spacing - 2) / spacing;
  row.nearest[0] = Nearest(row.sites, firstSite, lastSite, first);
  if (blocks > 0) {
    row.nearest[blocks] = Nearest(row.sites, row.nearest[0], lastSite, last);
    SolveBetween(row, first, 0, blocks);
  }

  // 3: the positions between, each from the few sites between its neighbours' nearest
  for (std::size_t block = 0; block <= (length - 1) / spacing; ++block) {
    std::int32_t const from = row.nearest[block];
    std::int32_t const to = row.nearest[std::min(block + 1, blocks)];
    std::int32_t const start = first + static_cast<std::int32_t>(block * spacing);
    HWY_ALIGN std::int32_t result[std::max<std::size_t>(spacing, HWY_MAX_BYTES / 4)];
    for (std::int32_t v = 0; v < static_cast<std::int32_t>(spacing); v += lanes) {
      auto away = hn::Sub(hn::Iota(d, start + v), hn::Set(d, from));
      auto best = hn::Set(d, 0x7FFFFFFF);
      for (std::int32_t s = from; s <= to; ++s) {
        best = hn::Min(best, hn::Add(hn::Mul(away, away), hn::Set(d, row.sites[s])));
        away = hn::Sub(away, hn::Set(d, 1));
      }
      hn::Store(best, d, result + v);
    }
    std::copy_n(result, std::min<std::int32_t>(spacing, last + 1 - start), row.distances + start);
  }
}

/// The end of the run of one side that `position` lies in: the last position towards the right.
std::int32_t RunEnd(Row const& row, std::int32_t position) {
  hn::ScalableTag<std::int16_t> const d;
  bool const inside = row.counts[position] >= 0;
  auto const lanes = static_cast<std::int32_t>(hn::Lanes(d));
  auto const width = static_cast<std::int32_t>(row.width);
  for (std::int32_t i = position; i < width; i += lanes) {
    auto const isOutside = hn::Lt(hn::LoadU(d, row.counts + i), hn::Zero(d));
    auto const first = hn::FindFirstTrue(d, inside ? isOutside : hn::Not(isOutside));
    if (first >= 0) return std::min(i + static_cast<std::int32_t>(first), width) - 1;
  }
  return width - 1;
}

/// The same towards the left.
std::int32_t RunStart(Row const& row, std::int32_t position) {
  bool const inside = row.counts[position] >= 0;
  while (position > 0 && (row.counts[position - 1] >= 0) == inside) --position;
  return position;
}

/// All distances in 32 bits, those beyond reach computed anew.
void FarPass(Row const& row, std::size_t farBlocks) {
  hn::ScalableTag<std::int32_t> const d;
  hn::Rebind<std::int16_t, decltype(d)> const dNear;
  for (std::size_t i = 0; i < row.width; i += hn::Lanes(d)) {
    hn::Store(hn::PromoteTo(d, hn::LoadU(dNear, row.nearDistances + i)), d, row.distances + i);
  }
  auto const blockLength = static_cast<std::int32_t>(hn::Lanes(hn::ScalableTag<std::int16_t>()));
  auto const width = static_cast<std::int32_t>(row.width);
  std::int32_t solved = 0;
  for (std::size_t b = 0; b < farBlocks; ++b) {
    std::int32_t const blockEnd = std::min(row.farBlocks[b] + blockLength, width);
    for (std::int32_t first = std::max(solved, row.farBlocks[b]); first < blockEnd; ++first) {
      if (row.nearDistances[first] <= reachSquared) continue;
      std::int32_t const runFirst = RunStart(row, first);
      std::int32_t const runLast = RunEnd(row, first);
      // Far blocks that follow without a gap are solved together.
      std::size_t lastBlock = b;
      while (lastBlock + 1 < farBlocks &&
             row.farBlocks[lastBlock + 1] == row.farBlocks[lastBlock] + blockLength) {
        ++lastBlock;
      }
      std::int32_t const last = std::min(runLast, row.farBlocks[lastBlock] + blockLength - 1);
      FarPositions(row, runFirst, runLast, first, last);
      first = solved = last + 1;
    }
  }
}

/// Roots from the table, with the sign of the side.
template <class Distance>
void WriteDistances(Row const& row, Distance const* squared, float const* squareRoots, float* distances) {
  hn::ScalableTag<float> const d;
  hn::RebindToSigned<decltype(d)> const di;
  hn::Rebind<Distance, decltype(d)> const dSquared;
  hn::Rebind<std::int16_t, decltype(d)> const dCounts;
  auto const signBit = hn::SignBit(d);
  std::size_t i = 0;
  for (; i + hn::Lanes(d) <= row.width; i += hn::Lanes(d)) {
    auto index = hn::Undefined(di);
    if constexpr (sizeof(Distance) == sizeof(float)) {
      index = hn::Load(dSquared, squared + i);
    } else {
      index = hn::PromoteTo(di, hn::LoadU(dSquared, squared + i));
    }
    auto const outside = hn::BitCast(d, hn::PromoteTo(di, hn::LoadU(dCounts, row.counts + i)));
    hn::StoreU(hn::Xor(hn::GatherIndex(d, squareRoots, index), hn::AndNot(outside, signBit)), d,
               distances + i);
  }
  for (; i < row.width; ++i) {
    float const root = squareRoots[squared[i]];
    distances[i] = row.counts[i] >= 0 ? -root : root;
  }
}

void SolveRow(Row const& row, float const* squareRoots, float* distances) {
  PrepareNearSites(row);
  if (std::size_t const farBlocks = NearPass(row); farBlocks > 0) {
    FarPass(row, farBlocks);
    WriteDistances(row, row.distances, squareRoots, distances);
  } else {
    WriteDistances(row, row.nearDistances, squareRoots, distances);
  }
}

}  // namespace HWY_NAMESPACE
}  // namespace lorb
HWY_AFTER_NAMESPACE();

// --- what is compiled once ---------------------------------------------------------------------------

#if HWY_ONCE

namespace lorb {

HWY_EXPORT(StepDown);
HWY_EXPORT(StepUp);
HWY_EXPORT(ColumnDistances);
HWY_EXPORT(SolveRow);

namespace {

constexpr std::size_t alignment = 64;
constexpr int exactInFloat = 1 << 24;

std::size_t wholeVectors(std::size_t count) {
  return (count + 63) / 64 * 64;
}

}  // namespace

void SignedSlice::Aligned::operator()(void* memory) const {
  ::operator delete(memory, std::align_val_t(alignment));
}

template <class T>
SignedSlice::Array<T> SignedSlice::allocate(std::size_t count) {
  return Array<T>(static_cast<T*>(::operator new(count * sizeof(T), std::align_val_t(alignment))));
}

bool SignedSlice::canHold(int width, int height) {
  std::int64_t const w = width;
  std::int64_t const h = height;
  return w > 0 && h > 0 && h < signed_row::noneInColumn && w * w + h * h < (1 << 29);
}

SignedSlice::SignedSlice(int width, int height, float const* squareRoots)
    : width_(width),
      height_(height),
      infinity_(static_cast<float>(width * width + height * height)),
      squareRoots_(squareRoots),
      rowLength_(wholeVectors(static_cast<std::size_t>(width))),
      counts_(allocate<std::int16_t>(rowLength_ * static_cast<std::size_t>(height) + signed_row::margin)),
      squares_(allocate<std::uint32_t>(static_cast<std::size_t>(height))),
      infinite_(allocate<std::uint32_t>(static_cast<std::size_t>(height))),
      rowWork_(allocate<std::int32_t>(6 * (rowLength_ + 2 * signed_row::margin))) {
  // Sums of odd numbers in single precision: beyond 2²⁴ they are no longer squares.
  float square = 0.0F;
  float infinite = infinity_;
  int increment = 1;
  for (int k = 0; k < height; ++k) {
    squares_[static_cast<std::size_t>(k)] = static_cast<std::uint32_t>(square);
    infinite_[static_cast<std::size_t>(k)] = static_cast<std::uint32_t>(infinite);
    square += static_cast<float>(increment);
    infinite += static_cast<float>(increment);
    increment += 2;
  }
}

void SignedSlice::restart() {
  seenInside_ = false;
  seenOutside_ = false;
}

void SignedSlice::enterRow(int j, std::uint8_t const* inside) {
  signed_row::Sides const sides = HWY_DYNAMIC_DISPATCH(StepDown)(j > 0 ? row(j - 1) : nullptr, inside, row(j),
                                                                 static_cast<std::size_t>(width_));
  if (j == 0) return;
  seenInside_ |= sides.inside;
  seenOutside_ |= sides.outside;
}

void SignedSlice::completeRow(int j) {
  if (j + 1 < height_) HWY_DYNAMIC_DISPATCH(StepUp)(row(j), row(j + 1), static_cast<std::size_t>(width_));
}

void SignedSlice::leaveRow(int j, float* distances) {
  completeRow(j);
  HWY_DYNAMIC_DISPATCH(SolveRow)(workOn(j), squareRoots_, distances);
}

std::uint32_t const* SignedSlice::columnDistances(int j, bool ofInside) {
  signed_row::Row const work = workOn(j);
  auto* const values = reinterpret_cast<std::uint32_t*>(work.distances);
  HWY_DYNAMIC_DISPATCH(ColumnDistances)(work, ofInside, values);
  return values;
}

signed_row::Row SignedSlice::workOn(int j) const {
  std::size_t const length = rowLength_ + 2 * signed_row::margin;
  auto* const near = reinterpret_cast<std::int16_t*>(rowWork_.get());
  auto* const far = rowWork_.get() + 2 * length;
  return {
      static_cast<std::size_t>(width_),
      row(j),
      squares_.get(),
      infinite_[static_cast<std::size_t>(j)],
      infinity_ + static_cast<float>(height_) * static_cast<float>(height_) < exactInFloat,
      near + signed_row::margin,
      near + length + signed_row::margin,
      near + 2 * length,
      far,
      far + length + signed_row::margin,
      far + 2 * length,
      far + 3 * length,
  };
}

}  // namespace lorb

#endif  // HWY_ONCE
