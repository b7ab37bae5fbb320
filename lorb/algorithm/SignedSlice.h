#pragma once

#include <lorb/algorithm/SignedRow.h>

#include <cstddef>
#include <cstdint>
#include <memory>

namespace lorb {

/// The signed distances of one slice, both sides at once, on plain rows: the mathematics of the
/// transform, written for vector units and independent of element types and planes.
///
/// Rows go in from the first to the last as flags, and come out from the last to the first as
/// distances; all rows are in before the first comes out:
///
///     slice.restart();
///     for (int j = 0; j < height; ++j) slice.enterRow(j, flags of row j);
///     if (slice.hasBoundary()) for (int j = height; j-- > 0;) slice.leaveRow(j, distances of row j);
///
/// Between the passes every voxel is a 16-bit number: how many rows it is away from the nearest voxel of
/// the other side in its column. That holds the column distance of either side, since of a voxel's own
/// side all others are farther and of the other side the distance is 0.
class SignedSlice {
 public:
  /// Whether slices of this shape stay within the 16-bit counts and 32-bit sums used here.
  static bool canHold(int width, int height);

  /// `squareRoots` is borrowed and must reach width² + height² − 1. Throws `std::bad_alloc`.
  SignedSlice(int width, int height, float const* squareRoots);

  /// Forgets all rows.
  void restart();

  /// Row `j` of the slice: `inside[i]` is non-zero where voxel i is inside.
  void enterRow(int j, std::uint8_t const* inside);

  /// Whether the rows entered from row 1 on hold both inside and outside voxels.
  bool hasBoundary() const { return seenInside_ && seenOutside_; }

  /// The signed distances of row `j`. Only for slices with a boundary, and from the last row to the first.
  void leaveRow(int j, float* distances);

  /// Only completes row `j`, so that its column distances can be asked for.
  void completeRow(int j);

  /// What the column pass of one side alone leaves in row `j` once it is complete: squared distances of
  /// the voxels of that side, 0 on the other side. Valid until the next call.
  std::uint32_t const* columnDistances(int j, bool ofInside);

 private:
  struct Aligned {
    void operator()(void* memory) const;
  };
  template <class T>
  using Array = std::unique_ptr<T[], Aligned>;
  template <class T>
  static Array<T> allocate(std::size_t count);

  void prepareRow(int j);
  signed_row::Row workOn(int j) const;
  std::int16_t* row(int j) const { return counts_.get() + static_cast<std::size_t>(j) * rowLength_; }

  int width_;
  int height_;
  signed_row::Roots roots_;
  std::size_t rowLength_;  // width, up to a whole number of vectors
  bool seenInside_ = false;
  bool seenOutside_ = false;
  Array<std::int16_t> counts_;
  Array<std::uint32_t> squares_;   // squared distance for each count, as the column pass sums it up
  Array<std::uint32_t> infinite_;  // the same for each row of a column without the other side
  Array<std::int32_t> rowWork_;
};

}  // namespace lorb
