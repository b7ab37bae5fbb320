// One slice of a volume as a picture needs it: turned the way it is looked at, in no more samples than the
// picture has pixels.
#pragma once

#include "tools/picture/sliceOrientation.h"

#include <lorb/dataset/ImageDataset.h>

#include <cstdint>
#include <vector>

namespace lorb::tools {

/// Samples on a grid, row by row from the top. Sample (i, j) stands for the square from (i, j) to
/// (i + 1, j + 1), its centre is (i + ½, j + ½).
struct SliceGrid {
  int width = 0, height = 0;
  std::vector<float> samples;
  bool negative = false, positive = false;  ///< signs among the voxels, which means of them may hide

  /// The sample (i, j), of the nearest one where there is none.
  float nearest(int i, int j) const;

  /// Between the four centres around the point (x, y), bilinear; beyond the outer centres, as on the edge.
  /// NaN when a sample that counts is NaN.
  double interpolated(double x, double y) const;
};

/// Slice `slice` of a volume of any element type. Where there are more voxels along a side than `maxWidth` or
/// `maxHeight`, samples are means of the voxels, or parts of voxels, that they cover; NaN voxels count where
/// there are no others. Linear in the voxels of the slice.
SliceGrid sliceGrid(ImageDataset const& volume, SliceOrientation const& orientation, std::uint64_t slice,
                    int maxWidth, int maxHeight);

}  // namespace lorb::tools
