// How many voxels of each slice are inside, which tells whether the slice has a boundary and where.
#pragma once

#include "tools/map/slices.h"

#include <lorb/dataset/TImageDataset.h>

#include <cstdint>
#include <vector>

namespace lorb::tools {

/// Inside voxels of one slice: those of row 0, and those of all other rows.
struct SliceContents {
  std::uint32_t firstRow = 0, otherRows = 0;
};

/// Where the boundary of a slice can be seen.
enum class Boundary {
  none,       ///< the slice is uniform
  firstRow,   ///< all rows but row 0 are uniform
  otherRows,  ///< there are inside and outside voxels without row 0
};

Boundary boundaryOf(SliceContents const& contents, SliceShape const& shape);

/// What the slices of a range hold, in ascending order. Linear in the voxels, which are read in the order
/// of memory. A slice has fewer than 2³¹ voxels.
std::vector<SliceContents> sliceContents(TImageDataset<unsigned char, 3> const& mask, Plane plane,
                                         SliceRange range);

}  // namespace lorb::tools
