// The second stage: for every voxel of a block the least sum of a row's squared distance and the squared
// distance to that row.
//
// Let g be the distance of a voxel to the nearest one of the other class along the axis of the first stage, c
// the same along the column. The result is min(c², min over k of g(y ± k)² + k²), whatever the classes in the
// column: it is at most c², so only |k| < c matters, and there the column has one class; a voxel of the other
// class farther on adds g² ≥ 1 to k² ≥ c².
//
// To be included once for each instruction set.

#if defined(LORB_ENGINE_SEARCH_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef LORB_ENGINE_SEARCH_INL_H
#undef LORB_ENGINE_SEARCH_INL_H
#else
#define LORB_ENGINE_SEARCH_INL_H
#endif

#include <lorb/algorithm/engine/SearchMemory.h>
#include <lorb/algorithm/engine/farSearch-inl.h>
#include <lorb/algorithm/engine/lanes-inl.h>
#include <lorb/algorithm/engine/roots-inl.h>
#include <lorb/algorithm/engine/scan-inl.h>

#include <algorithm>

HWY_BEFORE_NAMESPACE();
namespace lorb::engine {
namespace HWY_NAMESPACE {

/// The rows of one part of a block in the work memory.
struct Part {
  Part(SearchMemory const& memory, int number)
      : first(number * lanes16),
        squares(memory.squares.get() + (number * (memory.rows + 2 * marginRows) + marginRows) * lanes16),
        minima(memory.minima.get() +
               (number * (memory.rows / tileRows + 1 + 2 * marginTiles) + marginTiles) * lanes16),
        bounds(memory.bounds.get() + number * (memory.rows + tileRows) * lanes16),
        counts(memory.counts.get() + number * memory.rows * lanes16) {}

  static constexpr int marginTiles = marginRows / tileRows;

  int first;  // column
  std::uint16_t *squares, *minima, *bounds, *counts;
};

// --- squares and bounds ------------------------------------------------------------------------------

/// Fills the work memory of a part.
inline void Prepare(Part const& part, int rows, MaskWord const* words, Distances const* distances,
                    MaskWord solved) {
  V16 const limit = hn::Set(d16, nearLimit);

  // 1: downwards, counts from the last change
  V16 count = hn::Set(d16, unboundedDistance);
  hn::Store(count, d16, part.counts);
  for (int y = 1; y < rows; ++y) {
    count = CountOn(count, ~(words[y] ^ words[y - 1]), part.first);
    hn::Store(count, d16, part.counts + y * lanes16);
  }

  // 2: upwards, counts from the next change, and what follows from both
  count = hn::Set(d16, unboundedDistance);
  auto const live = LanesOf(d16, solved, part.first);
  V16 minimum = hn::Set(d16, nearLimitSquared);
  for (int y = rows; y-- > 0;) {
    if (y + 1 < rows) count = CountOn(count, ~(words[y] ^ words[y + 1]), part.first);
    V16 const along = hn::Min(count, hn::Load(d16, part.counts + y * lanes16));
    hn::Store(along, d16, part.counts + y * lanes16);
    V16 const across = hn::Min(hn::Load(d16, distances[y].data() + part.first), limit);
    V16 const bound = hn::IfThenElseZero(live, hn::Min(across, along));
    V16 const square = hn::Mul(across, across);
    hn::Store(hn::Mul(bound, bound), d16, part.bounds + y * lanes16);
    hn::Store(square, d16, part.squares + y * lanes16);
    minimum = hn::Min(minimum, square);
    if (y % tileRows == 0) {
      hn::Store(minimum, d16, part.minima + y / tileRows * lanes16);
      minimum = hn::Set(d16, nearLimitSquared);
    }
  }
}

// --- the near search ---------------------------------------------------------------------------------

struct SquareTable {
  constexpr SquareTable() {
    for (unsigned k = 0; k < 256; ++k) values[k] = static_cast<std::uint16_t>(k * k);
  }
  std::uint16_t values[256] = {};
};
constexpr SquareTable squareTable;

HWY_INLINE V16 MaxOf(V16 const* rows) {
  V16 max = hn::Max(hn::Max(rows[0], rows[1]), hn::Max(rows[2], rows[3]));
  if constexpr (tileRows == 8) {
    max = hn::Max(max, hn::Max(hn::Max(rows[4], rows[5]), hn::Max(rows[6], rows[7])));
  }
  return max;
}

HWY_INLINE bool AnyAbove(V16 values, int limit) {
  return !hn::AllFalse(d16, hn::Gt(values, hn::Set(d16, static_cast<std::uint16_t>(limit))));
}

/// Whether rows more than `k` away may improve on `max`: they add (k + 1)² to a square that is at least 1.
HWY_INLINE bool MayGain(V16 max, int k) {
  return AnyAbove(max, (k + 1) * (k + 1) + 1);
}

/// Rows that the search looks at between two looks at what is left.
constexpr int round = 8;

/// Looks at the rows `from` to `to` above and below each row of a tile, beyond the `k0` that have been looked
/// at. `below` holds the rows below in turn: row i + j of them is in below[(i + j) % tileRows].
template <int from, int to>
HWY_INLINE void Steps(std::uint16_t const* rows, int k0, V16* below, V16* best) {
  std::uint16_t const* const up = rows - k0 * lanes16;
  std::uint16_t const* const down = rows + k0 * lanes16;
  LORB_UNROLL
  for (int j = from; j <= to; ++j) {
    V16 const square = hn::Set(d16, squareTable.values[k0 + j]);
    below[(tileRows - 1 + j) % tileRows] = hn::Load(d16, down + (tileRows - 1 + j) * lanes16);
    LORB_UNROLL
    for (int i = 0; i < tileRows; ++i) {
      V16 const nearer = hn::Min(below[(i + j) % tileRows], hn::Load(d16, up + (i - j) * lanes16));
      best[i] = hn::Min(best[i], hn::Add(nearer, square));
    }
  }
}

/// Distances beyond which the far search takes over, once `farSteps` rows have been looked at. So the near
/// search looks at no more than farDistance + `round` rows, and what it solves is below `nearLimit`.
constexpr int farDistance = 120;
static_assert(farDistance + round + tileRows <= marginRows && farDistance < nearLimit);
constexpr int farSteps = 64;

/// The least square of the rows that `round` steps beyond `k0` look at, on one side.
HWY_INLINE V16 MinOfRound(std::uint16_t const* minima) {
  V16 minimum = hn::Load(d16, minima);
  LORB_UNROLL
  for (int t = 1; t < (tileRows + round) / tileRows; ++t)
    minimum = hn::Min(minimum, hn::Load(d16, minima + t * lanes16));
  return minimum;
}

/// Searches the rows around a tile for `best`, from the nearest on. Returns false when that would take long.
HWY_INLINE bool SearchNear(Part const& part, int y, V16* best) {
  if (!MayGain(MaxOf(best), 0)) return true;
  std::uint16_t const* const rows = part.squares + y * lanes16;
  std::uint16_t const* const minima = part.minima + y / tileRows * lanes16;
  for (int k0 = 0;;) {
    V16 below[tileRows];
    LORB_UNROLL
    for (int i = 0; i < tileRows; ++i) below[i] = hn::Load(d16, rows + (k0 + i) * lanes16);
    if (k0 == 0) {
      Steps<1, 2>(rows, k0, below, best);
      if (!MayGain(MaxOf(best), k0 + 2)) return true;
      Steps<3, 4>(rows, k0, below, best);
    } else {
      Steps<1, 4>(rows, k0, below, best);
    }
    if (!MayGain(MaxOf(best), k0 + 4)) return true;
    Steps<5, round>(rows, k0, below, best);

    // Rounds in which no row can gain are passed over.
    V16 const max = MaxOf(best);
    for (;;) {
      k0 += round;
      if (!MayGain(max, k0)) return true;
      if (k0 == farSteps && AnyAbove(max, farDistance * farDistance)) return false;
      V16 const least = hn::Min(MinOfRound(minima - (k0 + round) / tileRows * lanes16),
                                MinOfRound(minima + k0 / tileRows * lanes16));
      V16 const square = hn::Set(d16, squareTable.values[k0 + 1]);
      if (!hn::AllFalse(d16, hn::Gt(max, hn::Add(least, square)))) break;
    }
  }
}

// --- a block -----------------------------------------------------------------------------------------

using TileState = SearchMemory::TileState;

/// Whether a tile is passed to the far search at once: its neighbours needed that.
HWY_INLINE TileState Foresee(TileState left, TileState above, V16 bound) {
  if (left == TileState::solved || above == TileState::solved) return TileState::solved;
  if (!AnyAbove(bound, farDistance * farDistance)) return TileState::solved;
  return left == TileState::far32 && AnyAbove(bound, nearLimitSquared - 1) ? TileState::far32
                                                                           : TileState::far16;
}

/// The tiles of a part that are solved soon. Returns whether others remain.
inline bool SearchNearTiles(Part const& part, int rows, TileState* states, PartWriter const& writer) {
  bool remain = false;
  for (int y = 0, t = 0; y < rows; y += tileRows, ++t) {
    V16 best[tileRows];
    LORB_UNROLL
    for (int i = 0; i < tileRows; ++i) best[i] = hn::Load(d16, part.bounds + (y + i) * lanes16);
    states[t] = Foresee(states[t], states[t > 0 ? t - 1 : 0], MaxOf(best));
    if (states[t] == TileState::solved && !SearchNear(part, y, best)) states[t] = TileState::far16;
    if (states[t] != TileState::solved) {
      remain = true;
      continue;
    }
    int const count = std::min(tileRows, rows - y);
    LORB_UNROLL
    for (int i = 0; i < tileRows; ++i) {
      if (i < count) writer.Write(y + i, PromoteLower(best[i]), PromoteUpper(best[i]));
    }
  }
  return remain;
}

int MaxBound(SearchMemory const& memory, MaskWord const* words, Distances const* distances, MaskWord solved) {
  V16 max = hn::Zero(d16);
  for (int number = 0; number < partCount; ++number) {
    Part const part(memory, number);
    Prepare(part, memory.rows, words, distances, solved);
    for (int y = 0; y < memory.rows; ++y) {
      V16 const bound =
          hn::Min(hn::Load(d16, part.counts + y * lanes16), hn::Load(d16, distances[y].data() + part.first));
      max = hn::Max(max, hn::IfThenElseZero(LanesOf(d16, solved, part.first), bound));
    }
  }
  return hn::GetLane(hn::MaxOfLanes(d16, max));
}

void SearchBlock(SearchMemory const& memory, MaskWord const* words, Distances const* distances,
                 MaskWord solved, ConstantColumns const& constant, Roots& roots, Target const& target) {
  VerifyRoots(roots, nearLimitSquared);
  int const rows = memory.rows;
  for (int number = 0; number < partCount; ++number) {
    Part const part(memory, number);
    PartWriter const writer(words, part.first, constant, roots, target);
    if (writer.isEmpty()) continue;
    Prepare(part, rows, words, distances, solved);
    if (!SearchNearTiles(part, rows, memory.states.get(), writer)) continue;

    MaskWord const live = solved >> part.first;
    FarSearch<Lanes16> const far16(part.squares, part.bounds, live, memory);
    if (!far16.Run(TileState::far16, nearLimitSquared - 1, roots, writer)) continue;
    PrepareFar(memory, part.first, part.counts, distances, live);
    FarSearch<Lanes32> const far32(memory.farSquares.get(), memory.farBounds.get(), live, memory);
    far32.Run(TileState::far32, roots.count - 1, roots, writer);
  }
}

}  // namespace HWY_NAMESPACE
}  // namespace lorb::engine
HWY_AFTER_NAMESPACE();

#endif
