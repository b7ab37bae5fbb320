#include "tools/map/slices.h"

namespace lorb::tools {

SliceShape sliceShape(std::array<std::uint64_t, 3> const& extents, Plane plane) {
  auto const axes = EuclideanDistanceTransform2D::axesOf(plane);
  return {extents[std::size_t(axes.i)], extents[std::size_t(axes.j)], extents[std::size_t(axes.slice)]};
}

SliceShape sliceShape(ImageDataset const& volume, Plane plane) {
  std::uint64_t const* const size = volume.size_array();
  return sliceShape({size[0], size[1], size[2]}, plane);
}

char const* nameOf(Plane plane) {
  switch (plane) {
    case EuclideanDistanceTransform2D::planeYZ:
      return "yz";
    case EuclideanDistanceTransform2D::planeXZ:
      return "xz";
    case EuclideanDistanceTransform2D::planeXY:
      return "xy";
  }
  return "none";
}

}  // namespace lorb::tools
