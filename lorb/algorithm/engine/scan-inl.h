// The first stage: distances to the nearest change of class along one axis.
// To be included once for each instruction set.

#if defined(LORB_ENGINE_SCAN_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef LORB_ENGINE_SCAN_INL_H
#undef LORB_ENGINE_SCAN_INL_H
#else
#define LORB_ENGINE_SCAN_INL_H
#endif

#include <lorb/algorithm/engine/lanes-inl.h>

#include <algorithm>
#include <bit>

HWY_BEFORE_NAMESPACE();
namespace lorb::engine {
namespace HWY_NAMESPACE {

// --- along rows --------------------------------------------------------------------------------------

/// Finds how far the nearest changes lie beyond the ends of each block of a row.
void CarryAcrossRow(MaskWord const* words, std::size_t wordCount, std::size_t stride, RowCarry* carries) {
  int carry = unboundedDistance;
  MaskWord before = words[0] & 1;
  for (std::size_t b = 0; b < wordCount; ++b) {
    carries[b * stride].left = static_cast<std::uint16_t>(carry);
    MaskWord const word = words[b];
    MaskWord const edges = word ^ (word << 1 | before);
    before = word >> 63;
    carry = edges ? std::countl_zero(edges) + 1 : std::min(carry + blockColumns, int{unboundedDistance});
  }
  carry = unboundedDistance;
  MaskWord after = words[wordCount - 1] >> 63;
  for (std::size_t b = wordCount; b-- > 0;) {
    carries[b * stride].right = static_cast<std::uint16_t>(carry);
    MaskWord const word = words[b];
    MaskWord const edges = word ^ (word >> 1 | after << 63);
    after = word & 1;
    carry = edges ? std::countr_zero(edges) + 1 : std::min(carry + blockColumns, int{unboundedDistance});
  }
}

/// Whole blocks of 16 bytes moved up by `blocks`, zeros below.
template <int blocks>
HWY_INLINE V8 MoveBlocksUp(V8 v) {
  V32 const from = hn::Sub(hn::Iota(d32, 0), hn::Set(d32, 4 * blocks));
  auto const index = hn::IndicesFromVec(d32, hn::And(from, hn::Set(d32, lanes32 - 1)));
  V32 const moved = hn::TableLookupLanes(hn::BitCast(d32, v), index);
  return hn::BitCast(d8, hn::IfThenElseZero(hn::Gt(from, hn::Set(d32, -1)), moved));
}

/// The same downwards.
template <int blocks>
HWY_INLINE V8 MoveBlocksDown(V8 v) {
  V32 const from = hn::Add(hn::Iota(d32, 0), hn::Set(d32, 4 * blocks));
  auto const index = hn::IndicesFromVec(d32, hn::And(from, hn::Set(d32, lanes32 - 1)));
  V32 const moved = hn::TableLookupLanes(hn::BitCast(d32, v), index);
  return hn::BitCast(d8, hn::IfThenElseZero(hn::Lt(from, hn::Set(d32, lanes32)), moved));
}

/// Lane k receives the largest of the lanes up to k.
HWY_INLINE V8 PrefixMax(V8 v) {
  v = hn::Max(v, hn::ShiftLeftBytes<1>(d8, v));
  v = hn::Max(v, hn::ShiftLeftBytes<2>(d8, v));
  v = hn::Max(v, hn::ShiftLeftBytes<4>(d8, v));
  v = hn::Max(v, hn::ShiftLeftBytes<8>(d8, v));
  // Those were the bytes of each 16-byte block; its maximum goes on to the blocks above.
  V8 carry = hn::TableLookupBytes(v, hn::Set(d8, 15));
  if constexpr (lanes8 > 16) carry = MoveBlocksUp<1>(carry);
  if constexpr (lanes8 > 32) {
    carry = hn::Max(carry, MoveBlocksUp<1>(carry));
    carry = hn::Max(carry, MoveBlocksUp<2>(carry));
  }
  return lanes8 > 16 ? hn::Max(v, carry) : v;
}

/// Lane k receives the largest of the lanes from k on.
HWY_INLINE V8 SuffixMax(V8 v) {
  v = hn::Max(v, hn::ShiftRightBytes<1>(d8, v));
  v = hn::Max(v, hn::ShiftRightBytes<2>(d8, v));
  v = hn::Max(v, hn::ShiftRightBytes<4>(d8, v));
  v = hn::Max(v, hn::ShiftRightBytes<8>(d8, v));
  V8 carry = hn::TableLookupBytes(v, hn::Zero(d8));
  if constexpr (lanes8 > 16) carry = MoveBlocksDown<1>(carry);
  if constexpr (lanes8 > 32) {
    carry = hn::Max(carry, MoveBlocksDown<1>(carry));
    carry = hn::Max(carry, MoveBlocksDown<2>(carry));
  }
  return lanes8 > 16 ? hn::Max(v, carry) : v;
}

/// A carry that is larger than any distance in a block with a change, and still a byte when 64 is added.
constexpr unsigned maxCarry = 255 - blockColumns;

/// Distances to the nearest edge at or left of each lane; edge k lies between columns k − 1 and k. `carry` is
/// the distance from the column before the vector.
HWY_INLINE V8 FromLeft(hn::Mask<decltype(d8)> edges, unsigned carry) {
  V8 const number = hn::Add(hn::Iota(d8, 0), hn::Set(d8, 1));
  V8 const nearest = PrefixMax(hn::IfThenElseZero(edges, number));
  V8 const here = hn::Sub(hn::Add(number, hn::Set(d8, 1)), nearest);
  V8 const beyond = hn::Add(number, hn::Set(d8, static_cast<std::uint8_t>(std::min(carry, maxCarry))));
  return hn::IfThenElse(hn::Eq(nearest, hn::Zero(d8)), beyond, here);
}

/// The same at or right of each lane; edge k lies between columns k and k + 1.
HWY_INLINE V8 FromRight(hn::Mask<decltype(d8)> edges, unsigned carry) {
  V8 const number = hn::Sub(hn::Set(d8, static_cast<std::uint8_t>(lanes8)), hn::Iota(d8, 0));
  V8 const nearest = SuffixMax(hn::IfThenElseZero(edges, number));
  V8 const here = hn::Sub(hn::Add(number, hn::Set(d8, 1)), nearest);
  V8 const beyond = hn::Add(number, hn::Set(d8, static_cast<std::uint8_t>(std::min(carry, maxCarry))));
  return hn::IfThenElse(hn::Eq(nearest, hn::Zero(d8)), beyond, here);
}

/// A row of a block with an edge: no distance is above 64, so bytes hold them.
HWY_INLINE void ScanNearRow(MaskWord leftEdges, MaskWord rightEdges, RowCarry carry,
                            std::uint16_t* distances) {
  for (int begin = 0; begin < blockColumns; begin += lanes8) {
    int const end = begin + lanes8;
    MaskWord const before = leftEdges & ((MaskWord{1} << begin) - 1);
    MaskWord const behind = end < blockColumns ? rightEdges >> end % blockColumns : 0;
    auto const left =
        static_cast<unsigned>(before ? begin - 63 + std::countl_zero(before) : carry.left + begin);
    auto const right =
        static_cast<unsigned>(behind ? std::countr_zero(behind) + 1 : carry.right + blockColumns - end);
    V8 const nearest = hn::Min(FromLeft(LanesOf(d8, leftEdges, begin), left),
                               FromRight(LanesOf(d8, rightEdges, begin), right));
    hn::Store(PromoteLower(nearest), d16, distances + begin);
    hn::Store(PromoteUpper(nearest), d16, distances + begin + lanes16);
  }
}

/// A row of a block without an edge: the nearest ones lie beyond its ends.
HWY_INLINE void ScanFarRow(RowCarry carry, std::uint16_t* distances) {
  for (int k = 0; k < blockColumns; k += lanes16) {
    V16 const number = hn::Iota(d16, static_cast<std::uint16_t>(k));
    V16 const left = hn::Add(number, hn::Set(d16, static_cast<std::uint16_t>(carry.left + 1)));
    V16 const right = hn::Sub(hn::Set(d16, static_cast<std::uint16_t>(carry.right + blockColumns)), number);
    hn::Store(hn::Min(left, right), d16, distances + k);
  }
}

void ScanRows(MaskWord const* words, MaskWord const* before, MaskWord const* after, RowCarry const* carries,
              int rows, Distances* distances) {
  for (int y = 0; y < rows; ++y) {
    MaskWord const word = words[y];
    MaskWord const leftEdges = word ^ (word << 1 | (before ? before[y] >> 63 : word & 1));
    MaskWord const rightEdges = word ^ (word >> 1 | (after ? after[y] << 63 : word >> 63 << 63));
    if (leftEdges | rightEdges) {
      ScanNearRow(leftEdges, rightEdges, carries[y], distances[y].data());
    } else {
      ScanFarRow(carries[y], distances[y].data());
    }
  }
}

// --- along columns -----------------------------------------------------------------------------------

/// One row further: counts go on where the class stays and begin anew where it changes.
HWY_INLINE V16 CountOn(V16 count, MaskWord same, int first) {
  return hn::Add(hn::IfThenElseZero(LanesOf(d16, same, first), count), hn::Set(d16, 1));
}

void CountColumns(MaskWord const* words, int rows, Distances* counts) {
  for (int first = 0; first < blockColumns; first += lanes16) {
    V16 count = hn::Set(d16, unboundedDistance);
    for (int y = 0; y < rows; ++y) {
      if (y > 0) count = CountOn(count, ~(words[y] ^ words[y - 1]), first);
      hn::Store(count, d16, counts[y].data() + first);
    }
    count = hn::Set(d16, unboundedDistance);
    for (int y = rows - 1; y-- > 0;) {
      count = CountOn(count, ~(words[y] ^ words[y + 1]), first);
      std::uint16_t* const place = counts[y].data() + first;
      hn::Store(hn::Min(count, hn::Load(d16, place)), d16, place);
    }
  }
}

// --- across sheets -----------------------------------------------------------------------------------

/// One voxel further: counts go on where the class stays and begin anew where it changes.
HWY_INLINE void CountSheetOn(MaskWord same, Distances& state) {
  for (int k = 0; k < blockColumns; k += lanes16) {
    V16 const count = hn::IfThenElseZero(LanesOf(d16, same, k), hn::Load(d16, state.data() + k));
    V16 const next = hn::Min(hn::Add(count, hn::Set(d16, 1)), hn::Set(d16, unboundedDistance));
    hn::Store(next, d16, state.data() + k);
  }
}

HWY_INLINE void KeepMin(Distances const& a, Distances& b) {
  for (int k = 0; k < blockColumns; k += lanes16) {
    V16 const nearer = hn::Min(hn::Load(d16, a.data() + k), hn::Load(d16, b.data() + k));
    hn::Store(nearer, d16, b.data() + k);
  }
}

/// Rows are taken in groups whose states stay in the first cache.
constexpr int groupRows = 8;

void CountFromAbove(SheetStack const& stack, int begin, int end, bool atEnd, Distances* state) {
  for (int first = 0; first < stack.rows; first += groupRows) {
    int const last = std::min(first + groupRows, stack.rows);
    for (int z = end; z-- > begin;) {
      MaskWord const* const words = stack.words + z * stack.stride;
      MaskWord const* const above = atEnd && z + 1 == end ? words : words + stack.stride;
      for (int y = first; y < last; ++y) CountSheetOn(~(words[y] ^ above[y]), state[y]);
    }
  }
}

void ScanAcross(SheetStack const& stack, int begin, int end, bool atEnd, Distances* below, Distances* above,
                Distances* distances, std::size_t distanceStride) {
  for (int first = 0; first < stack.rows; first += groupRows) {
    int const last = std::min(first + groupRows, stack.rows);
    Distances* sheet = distances;
    for (int z = begin; z < end; ++z, sheet += distanceStride) {
      MaskWord const* const words = stack.words + z * stack.stride;
      MaskWord const* const before = z == 0 ? words : words - stack.stride;
      for (int y = first; y < last; ++y) {
        CountSheetOn(~(words[y] ^ before[y]), below[y]);
        sheet[y] = below[y];
      }
    }
    for (int z = end; z-- > begin;) {
      sheet -= distanceStride;
      MaskWord const* const words = stack.words + z * stack.stride;
      MaskWord const* const next = atEnd && z + 1 == end ? words : words + stack.stride;
      for (int y = first; y < last; ++y) {
        CountSheetOn(~(words[y] ^ next[y]), above[y]);
        KeepMin(above[y], sheet[y]);
      }
    }
  }
}

}  // namespace HWY_NAMESPACE
}  // namespace lorb::engine
HWY_AFTER_NAMESPACE();

#endif
