// The second stage for distances so large that looking at one row after the other takes long.
//
// When y grows, the nearest row never moves back, in any lane. So a few rows are solved first, and the rows
// between two of them need no other rows than those between theirs.
//
// To be included once for each instruction set.

#if defined(LORB_ENGINE_FAR_SEARCH_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef LORB_ENGINE_FAR_SEARCH_INL_H
#undef LORB_ENGINE_FAR_SEARCH_INL_H
#else
#define LORB_ENGINE_FAR_SEARCH_INL_H
#endif

#include <lorb/algorithm/engine/SearchMemory.h>
#include <lorb/algorithm/engine/lanes-inl.h>
#include <lorb/algorithm/engine/roots-inl.h>

#include <algorithm>
#include <bit>
#include <cmath>

HWY_BEFORE_NAMESPACE();
namespace lorb::engine {
namespace HWY_NAMESPACE {

/// The squares of a row of a part, below 2¹⁶.
struct Lanes16 {
  using Value = std::uint16_t;

  // Constructors that the compiler makes are not compiled for the instruction set.
  HWY_INLINE Lanes16() {}
  HWY_INLINE Lanes16(V16 lanes) : v(lanes) {}

  static HWY_INLINE Lanes16 Load(Value const* values) { return {hn::Load(d16, values)}; }
  static HWY_INLINE Lanes16 Set(int value) { return {hn::Set(d16, static_cast<Value>(value))}; }
  HWY_INLINE Lanes16 operator+(Lanes16 other) const { return {hn::Add(v, other.v)}; }
  HWY_INLINE Lanes16 Min(Lanes16 other) const { return {hn::Min(v, other.v)}; }
  HWY_INLINE Lanes16 Max(Lanes16 other) const { return {hn::Max(v, other.v)}; }
  HWY_INLINE int MaxLane() const { return hn::GetLane(hn::MaxOfLanes(d16, v)); }
  HWY_INLINE bool Meets(Lanes16 other, MaskWord lanes) const {
    return !hn::AllFalse(d16, hn::And(hn::Eq(v, other.v), LanesOf(d16, lanes, 0)));
  }
  HWY_INLINE V32 Lower() const { return PromoteLower(v); }
  HWY_INLINE V32 Upper() const { return PromoteUpper(v); }

  V16 v;
};

/// The same, below 2³¹.
struct Lanes32 {
  using Value = std::int32_t;

  HWY_INLINE Lanes32() {}
  HWY_INLINE Lanes32(V32 lowerLanes, V32 upperLanes) : lower(lowerLanes), upper(upperLanes) {}

  static HWY_INLINE Lanes32 Load(Value const* values) {
    return {hn::Load(d32, values), hn::Load(d32, values + lanes32)};
  }
  static HWY_INLINE Lanes32 Set(int value) { return {hn::Set(d32, value), hn::Set(d32, value)}; }
  HWY_INLINE Lanes32 operator+(Lanes32 other) const {
    return {hn::Add(lower, other.lower), hn::Add(upper, other.upper)};
  }
  HWY_INLINE Lanes32 Min(Lanes32 other) const {
    return {hn::Min(lower, other.lower), hn::Min(upper, other.upper)};
  }
  HWY_INLINE Lanes32 Max(Lanes32 other) const {
    return {hn::Max(lower, other.lower), hn::Max(upper, other.upper)};
  }
  HWY_INLINE int MaxLane() const { return hn::GetLane(hn::MaxOfLanes(d32, hn::Max(lower, upper))); }
  HWY_INLINE bool Meets(Lanes32 other, MaskWord lanes) const {
    auto const inLower = hn::And(hn::Eq(lower, other.lower), LanesOf(d32, lanes, 0));
    auto const inUpper = hn::And(hn::Eq(upper, other.upper), LanesOf(d32, lanes, lanes32));
    return !hn::AllFalse(d32, hn::Or(inLower, inUpper));
  }
  HWY_INLINE V32 Lower() const { return lower; }
  HWY_INLINE V32 Upper() const { return upper; }

  V32 lower, upper;
};

/// Squares and bounds of a part in 32 bits.
inline void PrepareFar(SearchMemory const& memory, int first, std::uint16_t const* counts,
                       Distances const* distances, MaskWord live) {
  V16 const limit = hn::Set(d16, unboundedDistance);
  auto const lanes = LanesOf(d16, live, 0);
  for (int y = 0; y < memory.rows; ++y) {
    V16 const across = hn::Min(hn::Load(d16, distances[y].data() + first), limit);
    V16 const bound = hn::IfThenElseZero(lanes, hn::Min(across, hn::Load(d16, counts + y * lanes16)));
    std::int32_t* const squares = memory.farSquares.get() + y * lanes16;
    std::int32_t* const bounds = memory.farBounds.get() + y * lanes16;
    hn::Store(hn::Mul(PromoteLower(across), PromoteLower(across)), d32, squares);
    hn::Store(hn::Mul(PromoteUpper(across), PromoteUpper(across)), d32, squares + lanes32);
    hn::Store(hn::Mul(PromoteLower(bound), PromoteLower(bound)), d32, bounds);
    hn::Store(hn::Mul(PromoteUpper(bound), PromoteUpper(bound)), d32, bounds + lanes32);
  }
}

template <class Lanes>
class FarSearch {
 public:
  using Value = typename Lanes::Value;
  using TileState = SearchMemory::TileState;

  /// `live`: the lanes of the part that are searched.
  FarSearch(Value const* squares, Value const* bounds, MaskWord live, SearchMemory const& memory)
      : squares_(squares), bounds_(bounds), live_(live), memory_(memory) {}

  /// Solves and writes all tiles of the state `which`. Those with squares above `limit` become far32. Returns
  /// whether any tile is in that state now.
  bool Run(TileState which, int limit, Roots& roots, PartWriter const& writer) const {
    int const tileCount = (memory_.rows + tileRows - 1) / tileRows;
    TileState* const states = memory_.states.get();
    bool remain = false;
    for (int begin = 0; begin < tileCount; ++begin) {
      remain |= states[begin] == TileState::far32;
      if (states[begin] != which) continue;
      int end = begin;
      while (end < tileCount && states[end] == which) ++end;
      Sample(begin, end);
      for (int t = begin; t < end; ++t) {
        if (SolveTile(t, {memory_.sites[Index(t - begin)].first, memory_.sites[Index(t - begin + 1)].last},
                      limit, roots, writer)) {
          continue;
        }
        states[t] = TileState::far32;
        remain = true;
      }
      begin = end - 1;
    }
    return remain;
  }

 private:
  using SiteRange = SearchMemory::SiteRange;

  static std::size_t Index(int i) { return static_cast<std::size_t>(i); }

  HWY_INLINE Lanes SquareFrom(int row, int y) const {
    return Lanes::Load(squares_ + row * lanes16) + Lanes::Set((row - y) * (row - y));
  }

  /// Finds where the nearest voxels lie for the first row of a run of tiles and for the last row of each.
  void Sample(int begin, int end) const {
    int const firstRow = begin * tileRows, endRow = std::min(memory_.rows, end * tileRows),
              count = end - begin;
    Lanes max = Lanes::Load(bounds_ + firstRow * lanes16);
    for (int y = firstRow + 1; y < endRow; ++y) max = max.Max(Lanes::Load(bounds_ + y * lanes16));
    int const reach = static_cast<int>(std::sqrt(static_cast<double>(max.MaxLane())));
    SiteRange* const sites = memory_.sites.get();

    sites[0] = SampleRow(firstRow, reach, {0, memory_.rows - 1});
    sites[count] = SampleRow(endRow - 1, reach, {sites[0].first, memory_.rows - 1});
    for (int half = static_cast<int>(std::bit_ceil(static_cast<unsigned>(count))) / 2; half > 0; half /= 2) {
      for (int i = half; i < count; i += 2 * half) {
        int const y = firstRow + i * tileRows - 1;
        sites[i] = SampleRow(y, reach, {sites[i - half].first, sites[std::min(count, i + half)].last});
      }
    }
  }

  /// The rows among `range`, and at most `reach` away, in which the nearest voxels of row `y` lie.
  SiteRange SampleRow(int y, int reach, SiteRange range) const {
    int first = std::max(range.first, y - reach), last = std::min(range.last, y + reach);
    Lanes even = SquareFrom(first, y), odd = even;
    int row = first + 1;
    for (; row < last; row += 2) {
      even = even.Min(SquareFrom(row, y));
      odd = odd.Min(SquareFrom(row + 1, y));
    }
    if (row == last) even = even.Min(SquareFrom(row, y));
    Lanes const nearest = even.Min(odd);
    while (first < last && !nearest.Meets(SquareFrom(first, y), live_)) ++first;
    while (first < last && !nearest.Meets(SquareFrom(last, y), live_)) --last;
    return {first, last};
  }

  /// Solves a tile whose nearest voxels lie in the rows `range`, and writes it unless squares are above
  /// `limit`.
  bool SolveTile(int tile, SiteRange range, int limit, Roots& roots, PartWriter const& writer) const {
    int const y = tile * tileRows, count = std::min(tileRows, memory_.rows - y);
    Lanes best[tileRows];
    LORB_UNROLL
    for (int i = 0; i < tileRows; ++i) best[i] = Lanes::Load(bounds_ + (y + i) * lanes16);
    for (int row = range.first; row <= range.last; ++row) {
      Lanes const square = Lanes::Load(squares_ + row * lanes16);
      LORB_UNROLL
      for (int i = 0; i < tileRows; ++i) {
        int const k = row - y - i;
        best[i] = best[i].Min(square + Lanes::Set(k * k));
      }
    }
    Lanes max = best[0];
    LORB_UNROLL
    for (int i = 1; i < tileRows; ++i) {
      if (i < count) max = max.Max(best[i]);
    }
    int const largest = max.MaxLane();
    if (largest > limit) return false;
    VerifyRoots(roots, largest);
    LORB_UNROLL
    for (int i = 0; i < tileRows; ++i) {
      if (i < count) writer.Write(y + i, best[i].Lower(), best[i].Upper());
    }
    return true;
  }

  Value const* squares_;
  Value const* bounds_;
  MaskWord live_;
  SearchMemory const& memory_;
};

}  // namespace HWY_NAMESPACE
}  // namespace lorb::engine
HWY_AFTER_NAMESPACE();

#endif
