// From mask to map, by the library's public interface.
#pragma once

#include <lorb/algorithm/EuclideanDistanceTransform2D.h>

#include <cstdint>
#include <optional>

namespace lorb::tools {

using Plane = EuclideanDistanceTransform2D::PlaneOrientationE;
using DistanceMap = TImageDataset<float, 3>;

/// The voxels that a computation is about: one slice of a volume, or all of them.
struct SliceChoice {
  Plane plane = EuclideanDistanceTransform2D::planeXY;
  std::optional<int> slice = std::nullopt;
};

/// Shape of the slices that lie in a plane.
struct SliceShape {
  std::uint64_t width, height, count;
};
SliceShape sliceShape(ImageDataset const& volume, Plane plane);

/// What a slice of this shape without a boundary is filled with, but for the sign.
std::uint64_t boundlessDistance(SliceShape const& shape);

/// Signed distances in voxels, slice by slice, of a volume of the same extents; 0 in every slice that
/// was not chosen. Throws `std::invalid_argument` when the chosen slice is none of the volume or when
/// the slices are too large for the transform, see there.
DistanceMap distanceMap(ImageDataset const& mask, SliceChoice const& choice);

/// How many of the chosen voxels are above 0, and how many there are.
struct InsideCount {
  std::uint64_t inside, all;
};
InsideCount countInside(TImageDataset<unsigned char, 3> const& mask, SliceChoice const& choice);

}  // namespace lorb::tools
