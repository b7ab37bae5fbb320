// From mask to map, by the library's public interface, on as many threads as asked for.
#pragma once

#include <lorb/algorithm/EuclideanDistanceTransform2D.h>

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

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
SliceShape sliceShape(std::array<std::uint64_t, 3> const& extents, Plane plane);
SliceShape sliceShape(ImageDataset const& volume, Plane plane);

/// "xy", "xz" or "yz"
char const* nameOf(Plane plane);

/// What a slice of this shape without a boundary is filled with by the transform, but for the sign.
std::uint64_t boundlessDistance(SliceShape const& shape);

/// What slices without a boundary hold in a map.
enum class NoBoundary {
  constant,  ///< ±(width² + height²), as the transform has it
  diagonal,  ///< ±√(width² + height²), a distance that no voxel of the slice exceeds
  nan,       ///< NaN
};

/// Processors that this process may use, at least 1.
unsigned processorCount();

/// How to compute a map.
struct MapSettings {
  SliceChoice choice;
  NoBoundary noBoundary = NoBoundary::constant;
  double voxelLength = 1.0;  ///< what distances in voxels are multiplied by; ±(width² + height²) is not
  unsigned threads = 1;      ///< at least 1
};

/// What is in a slice of a map.
struct SliceSummary {
  std::uint64_t slice;
  float least, greatest;
  bool hasBoundary;
};

/// What a slice of this shape without a boundary holds when its voxels are outside.
float valueWithoutBoundary(SliceShape const& shape, MapSettings const& settings);

/// Throws `std::invalid_argument` when the chosen slice is none of a volume of these extents or when the
/// slices are too large for the transform, see there.
void requireComputable(std::array<std::uint64_t, 3> const& extents, SliceChoice const& choice);

/// Called with the number of slices done since the last call, from any thread.
using SlicesDone = std::function<void(std::uint64_t)>;

/// Signed distances, slice by slice, of a volume of the same extents; 0 in every slice that was not chosen.
/// The result is the same for every number of threads, of which each takes a transform and work memory of
/// its own. Adds what is in the computed slices to `summaries`, in ascending order, when that is not null.
/// The caller sees to `requireComputable`.
DistanceMap distanceMap(TImageDataset<unsigned char, 3> const& mask, MapSettings const& settings,
                        std::vector<SliceSummary>* summaries = nullptr, SlicesDone const& done = {});

/// How many of the chosen voxels are above 0, and how many there are.
struct InsideCount {
  std::uint64_t inside = 0, all = 0;
};
InsideCount countInside(TImageDataset<unsigned char, 3> const& mask, SliceChoice const& choice);

}  // namespace lorb::tools
