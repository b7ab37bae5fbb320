#include "tools/distanceMap.h"

#include <array>
#include <limits>
#include <stdexcept>
#include <string>

namespace lorb::tools {
namespace {

EuclideanDistanceTransform2D::SliceAxes axesOf(Plane plane) {
  return EuclideanDistanceTransform2D::axesOf(plane);
}

void requireComputable(SliceShape const& shape, SliceChoice const& choice) {
  constexpr std::uint64_t limit = std::numeric_limits<std::int32_t>::max();
  // The sides first: the squares of larger ones may wrap around.
  if (shape.width > limit || shape.height > limit || shape.count > limit ||
      boundlessDistance(shape) > limit) {
    throw std::invalid_argument("slices of " + std::to_string(shape.width) + " × " +
                                std::to_string(shape.height) +
                                " voxels are too large; the squares of both sides may add up to 2147483647");
  }
  if (choice.slice && (*choice.slice < 0 || static_cast<std::uint64_t>(*choice.slice) >= shape.count)) {
    throw std::invalid_argument("slice " + std::to_string(*choice.slice) +
                                " is not in the volume; expected 0 to " + std::to_string(shape.count - 1));
  }
}

}  // namespace

SliceShape sliceShape(ImageDataset const& volume, Plane plane) {
  auto const axes = axesOf(plane);
  std::uint64_t const* const size = volume.size_array();
  return {size[axes.i], size[axes.j], size[axes.slice]};
}

std::uint64_t boundlessDistance(SliceShape const& shape) {
  return shape.width * shape.width + shape.height * shape.height;
}

DistanceMap distanceMap(ImageDataset const& mask, SliceChoice const& choice) {
  requireComputable(sliceShape(mask, choice.plane), choice);
  std::uint64_t const* const size = mask.size_array();
  DistanceMap map({size[0], size[1], size[2]});
  EuclideanDistanceTransform2D transform;
  transform.setPlane(choice.plane);
  if (choice.slice) {
    transform.computeTwoSided(&mask, &map, *choice.slice);
  } else {
    transform.computeTwoSided(&mask, &map);
  }
  return map;
}

InsideCount countInside(TImageDataset<unsigned char, 3> const& mask, SliceChoice const& choice) {
  std::array<std::uint64_t, 3> begin = {0, 0, 0};
  auto end = mask.extents;
  if (choice.slice) {
    auto const axis = static_cast<std::size_t>(axesOf(choice.plane).slice);
    begin[axis] = static_cast<std::uint64_t>(*choice.slice);
    end[axis] = begin[axis] + 1;
  }
  InsideCount count = {0, (end[0] - begin[0]) * (end[1] - begin[1]) * (end[2] - begin[2])};
  for (std::uint64_t z = begin[2]; z < end[2]; ++z) {
    for (std::uint64_t y = begin[1]; y < end[1]; ++y) {
      for (std::uint64_t x = begin[0]; x < end[0]; ++x) count.inside += mask(x, y, z) > 0 ? 1 : 0;
    }
  }
  return count;
}

}  // namespace lorb::tools
