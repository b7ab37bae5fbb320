#include "tools/map/sliceContents.h"

#include <array>
#include <cstddef>

namespace lorb::tools {

Boundary boundaryOf(SliceContents const& contents, SliceShape const& shape) {
  std::uint64_t const inside = std::uint64_t{contents.firstRow} + contents.otherRows;
  std::uint64_t const others = shape.width * (shape.height - 1);
  if (inside == 0 || inside == shape.width * shape.height) return Boundary::none;
  bool const othersUniform = contents.otherRows == 0 || contents.otherRows == others;
  return othersUniform ? Boundary::firstRow : Boundary::otherRows;
}

std::vector<SliceContents> sliceContents(TImageDataset<unsigned char, 3> const& mask, Plane plane,
                                         SliceRange range) {
  auto const axes = EuclideanDistanceTransform2D::axesOf(plane);
  auto const [nx, ny, nz] = mask.extents;
  std::array<SliceRange, 3> box = {{{0, nx}, {0, ny}, {0, nz}}};
  box[static_cast<std::size_t>(axes.slice)] = range;
  std::vector<SliceContents> contents(range.end - range.begin);
  for (std::uint64_t z = box[2].begin; z < box[2].end; ++z) {
    for (std::uint64_t y = box[1].begin; y < box[1].end; ++y) {
      std::array<std::uint64_t, 3> const position = {0, y, z};
      bool const isFirstRow = position[static_cast<std::size_t>(axes.j)] == 0;
      auto const part = isFirstRow ? &SliceContents::firstRow : &SliceContents::otherRows;
      unsigned char const* const voxels = mask.pages[0].data.data() + (z * ny + y) * nx;
      if (plane == EuclideanDistanceTransform2D::planeYZ) {
        // Each voxel lies in another slice.
        for (std::uint64_t x = range.begin; x < range.end; ++x) {
          contents[x - range.begin].*part += voxels[x] > 0 ? 1U : 0U;
        }
      } else {
        std::uint32_t inside = 0;
        for (std::uint64_t x = 0; x < nx; ++x) inside += voxels[x] > 0 ? 1U : 0U;
        contents[position[static_cast<std::size_t>(axes.slice)] - range.begin].*part += inside;
      }
    }
  }
  return contents;
}

}  // namespace lorb::tools
