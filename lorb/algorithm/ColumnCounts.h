#pragma once

#include <lorb/algorithm/alignedArray.h>

#include <cstddef>
#include <cstdint>

namespace lorb {

/// Which sides a row of voxels holds.
struct SidesOfRow {
  bool inside;
  bool outside;
};

/// Two stacks: blocks of counts from above, and for every block of every row but the last whether it is
/// there.
struct KeptBlocks {
  std::int16_t* end;
  std::uint8_t* flagsEnd;
};

/// How far before the end of the stack of counts they are asked for, which saves YZ 3 % at 512³. There is as
/// much room before its beginning, so that this stays inside the array.
constexpr std::size_t countsAhead = 512;

/// The column pass of one slice, both sides at once: how many rows every voxel is away from the nearest voxel
/// of the other side in its column. That holds the column distance of either side, since of a voxel's own
/// side all others are farther and of the other side the distance is 0.
///
/// Rows go in from the first to the last as flags, and are complete from the last to the first:
///
///     counts.restart();
///     for (int j = 0; j < height; ++j) counts.enterRow(j, flags of row j);
///     for (int j = height; j-- > 0;) counts.completeRow(j), use(counts.row(j));
///
/// A count c is stored as c at inside voxels and as ~c at outside voxels. Down a column the counts from above
/// go up by 1 from voxel to voxel of a side, so that on the way back they go down by 1: of a block of columns
/// they are kept only where one of them changes sides. For masks of some size that is a small part, which a
/// cache holds.
class ColumnCounts {
 public:
  /// Count of a voxel whose column holds no voxel of the other side.
  static constexpr std::int16_t none = 32767;

  /// For up to `none` rows. Throws `std::bad_alloc`.
  ColumnCounts(int width, int height);

  /// Forgets all rows.
  void restart();

  /// Row `j` of the slice: `inside[i]` is non-zero where voxel i is inside.
  void enterRow(int j, std::uint8_t const* inside);

  /// The same, voxel i inside where bit number `bit` of `packs[i]` is set. `packs` is aligned to cache lines,
  /// and repeats its last element up to a whole number of them.
  void enterRow(int j, std::uint16_t const* packs, unsigned bit);

  /// Whether the rows entered from row 1 on hold both inside and outside voxels.
  bool hasBoundary() const { return seenInside_ && seenOutside_; }

  /// From the last row to the first, each once.
  void completeRow(int j);

  /// A row that is complete, until the second next one is. Aligned to cache lines; a vector beyond the row
  /// may be read.
  std::int16_t const* row(int j) const { return rows_.get() + offsetOf(j); }

 private:
  void notice(int j, SidesOfRow sides);
  std::size_t offsetOf(int j) const { return (j % 2 == 0 ? 1U : 2U) * rowStride_; }

  std::size_t width_;
  int height_;
  std::size_t rowStride_;  // beyond the row, so that rows of 2ᵏ voxels are not a page apart
  bool seenInside_ = false;
  bool seenOutside_ = false;
  AlignedArray<std::int16_t> rows_;  // counts from above of one row, and two complete rows
  AlignedArray<std::int16_t> blocks_;
  AlignedArray<std::uint8_t> isKept_;
  KeptBlocks kept_;
};

}  // namespace lorb
