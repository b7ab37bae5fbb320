#pragma once

#include <lorb/algorithm/EuclideanDistanceTransform2D.h>
#include <lorb/algorithm/slices.h>

#include <cstdint>

/// The transform as the textbook has it, one side after the other: read this first. It serves single kernel
/// calls, and the shapes, outputs and tables that the engine does not take.
///
/// Both kernels are two passes. The column pass leaves in `scratch` the squared distance of every voxel of
/// one side to the nearest voxel of the other side in its column. The row pass finds for every voxel the
/// least sum of that of a column and the squared distance to this column, as the lower envelope of parabolas:
/// second phase of A. Meijster, J. B. T. M. Roerdink, W. H. Hesselink, "A General Algorithm for Computing
/// Distance Transforms in Linear Time", 2000, doi:10.1007/0-306-47025-X_36.
namespace lorb::scalar {

using SqrtLookUpTable = EuclideanDistanceTransform2D::SqrtLookUpTable;

/// width² + height², wrapping around like the 32-bit integers it is defined in.
int squaredDiagonal(int width, int height);

/// The kernel of the inside: writes negative distances inside and 1 outside. Returns whether there is a
/// boundary; if not, nothing is written. Throws `std::bad_alloc`.
bool writeInside(SliceReader& in, std::int64_t slice, DatasetSlice& scratch, SliceWriter& out,
                 std::int64_t outSlice, SqrtLookUpTable const& squareRoots);

/// The kernel of the outside, to run on what that of the inside has written: positive voxels receive their
/// distance to the others, which stay as they are.
void writeOutside(SliceWriter& out, std::int64_t slice, DatasetSlice& scratch,
                  SqrtLookUpTable const& squareRoots);

/// One slice by both kernels; without a boundary it is filled with −N when its first voxel is inside, and
/// with +N otherwise, N = width² + height².
void computeSlice(SliceReader& in, std::int64_t slice, DatasetSlice& scratch, SliceWriter& out,
                  std::int64_t outSlice, SqrtLookUpTable const& squareRoots);

}  // namespace lorb::scalar
