#pragma once

#include <lorb/algorithm/ColumnCounts.h>
#include <lorb/algorithm/alignedArray.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace lorb {

/// What `SignedRowPass` and the code it compiles for every instruction set have in common.
namespace signed_row {

/// How far neighbours are looked at one after the other, before the search by halves takes over. Longer than
/// any vector.
constexpr int reach = 64;
constexpr std::int32_t reachSquared = (reach + 1) * (reach + 1);

/// Elements on either side of a row that may be read but are never nearest: `reach` and a vector.
constexpr std::size_t margin = reach + 64;

/// What stands there.
constexpr std::int16_t nowhere = 32767;

/// The table of square roots, and what is known of it.
struct Roots {
  float const* table;
  std::int32_t count;
  std::int32_t plainUpTo = 0;  // entries below have been compared with the roots of their indices
  bool plain = true;           // and agreed
};

/// One row on its way out, and the work arrays for it.
struct Row {
  std::size_t width;
  std::int16_t const* counts;    // as in `ColumnCounts`
  std::uint32_t const* squares;  // squared column distance for each count
  std::uint32_t infinite;        // the same for `ColumnCounts::none`
  bool exact;                    // every entry of `squares` is the square of its index
  std::int16_t* insideSites;
  std::int16_t* outsideSites;
  std::int16_t* nearDistances;
  std::int16_t* excesses;
  std::uint8_t* far;  // for each block, whether any of its distances is beyond reach
  std::int32_t* sites;
  std::int32_t* nearest;
  std::int32_t* distances;
};

}  // namespace signed_row

/// The row pass: from the column counts of a row to its signed distances, both sides at once, on vector
/// units. One object serves several slices of a shape, each from its last row to its first.
///
/// Rows are prepared one ahead of the row to be solved: what has just been stored can't be read back at odd
/// addresses without a wait.
class SignedRowPass {
 public:
  /// Whether slices of this shape stay within the 16-bit counts and 32-bit sums used here.
  static bool canHold(int width, int height);

  /// `squareRoots` is borrowed and must reach width² + height² − 1. Throws `std::bad_alloc`.
  SignedRowPass(int width, int height, int slices, float const* squareRoots);

  /// Takes in the complete `counts` of row `j` of a slice with a boundary. They must last until the row is
  /// solved. At most two rows may wait.
  void prepare(std::int16_t const* counts, int j, int slice);

  /// The signed distances of the row that has waited longest.
  void solve(float* distances);

  /// What the column pass of one side alone leaves in row `j` with these complete counts: squared distances
  /// of the voxels of that side, 0 on the other side. Valid until the next call of this or of `solve`.
  std::uint32_t const* columnDistances(std::int16_t const* counts, int j, bool ofInside);

 private:
  int height_;
  signed_row::Roots roots_;
  AlignedArray<std::uint32_t> squares_;   // squared distance for each count, as the column pass sums it up
  AlignedArray<std::uint32_t> infinite_;  // the same for each row of a column without the other side
  AlignedArray<std::int16_t> work16_;
  AlignedArray<std::int32_t> work32_;
  std::vector<std::uint8_t> far_;  // a row for each slice
  signed_row::Row rows_[2];
  unsigned prepared_ = 0;
  unsigned solved_ = 0;
};

}  // namespace lorb
