// Distances in slices whose boundary is seen in row 0 alone, which the transform does not look at for
// evidence of a boundary.
#pragma once

#include <cstdint>
#include <vector>

namespace lorb::tools {

/// The signed distances of a slice of `height` rows: row 0 is `firstRow` (1 inside, 0 outside), all voxels of
/// the other rows are inside or all are outside. The slice must hold both inside and outside voxels.
/// Distances are those of the transform, bit by bit.
class FirstRowDistances {
 public:
  FirstRowDistances(std::vector<char> const& firstRow, bool othersInside, std::uint64_t height);

  float at(std::uint64_t i, std::uint64_t j) const;

 private:
  std::vector<char> firstRow_;
  char others_;
  /// Columns from each column to the nearest voxel of row 0 that is not, or is, as the other rows are.
  std::vector<std::uint64_t> toUnlike_, toAlike_;
};

}  // namespace lorb::tools
