// The slices of a volume: their plane, shape and choice.
#pragma once

#include <lorb/algorithm/EuclideanDistanceTransform2D.h>

#include <array>
#include <cstdint>
#include <optional>

namespace lorb::tools {

using Plane = EuclideanDistanceTransform2D::PlaneOrientationE;

/// The voxels that a computation is about: one slice of a volume, or all of them.
struct SliceChoice {
  Plane plane = EuclideanDistanceTransform2D::planeXY;
  std::optional<int> slice = std::nullopt;
};

/// The slices from `begin` up to `end`.
struct SliceRange {
  std::uint64_t begin, end;
  bool operator==(SliceRange const&) const = default;
};

/// Shape of the slices that lie in a plane.
struct SliceShape {
  std::uint64_t width, height, count;
};
SliceShape sliceShape(std::array<std::uint64_t, 3> const& extents, Plane plane);
SliceShape sliceShape(ImageDataset const& volume, Plane plane);

/// "xy", "xz" or "yz"
char const* nameOf(Plane plane);

}  // namespace lorb::tools
