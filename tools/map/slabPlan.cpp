#include "tools/map/slabPlan.h"

#include <algorithm>

namespace lorb::tools {
namespace {

/// Of the program and its libraries, measured at 60 MiB, with room for what allocators keep.
constexpr std::uint64_t programBytes = std::uint64_t{96} << 20;

constexpr std::uint64_t maskBytes = 1, mapBytes = 4;

/// What the threads and their transforms take: a table of N + 1 roots, a slice of 32-bit numbers, and what
/// the slices take that the transform works on at a time.
std::uint64_t workBytes(SliceShape const& shape, MapSettings const& settings) {
  constexpr std::uint64_t bytes[] = {32, 2, 1};  // YZ (64 slices at a time), XZ, XY
  constexpr std::uint64_t rowBytes = 1200, callBytes = 128 << 10;
  std::uint64_t const voxels = shape.width * shape.height;
  std::uint64_t const rows = std::max(shape.width, shape.height);
  return settings.threads * (4 * (boundlessDistance(shape) + 1) +
                             voxels * (4 + bytes[settings.choice.plane]) + rows * rowBytes + callBytes);
}

}  // namespace

MemoryNeed memoryNeed(VolumeSource const& source, MapSettings const& settings, std::uint64_t more) {
  VolumeHeader const& header = source.header();
  SliceShape const shape = sliceShape(header.extents, settings.choice.plane);
  std::uint64_t const element = header.type == typeNone ? 8 : bytesOf(header.type);
  std::uint64_t const voxels = voxelCount(header.extents);
  Region const slice = slabRegion(header.extents, settings.choice.plane, 0, 1);

  // Volume and mask; then mask and map; then the map, what is read back of it and, compressed, both once
  // more.
  std::uint64_t const reading = std::max(element + maskBytes, maskBytes + mapBytes) + more;
  std::uint64_t const writingPart = 2 * mapBytes + more, writingWhole = 3 * mapBytes + more;

  MemoryNeed need;
  need.fixed = programBytes + workBytes(shape, settings);
  need.perSlice = std::max(shape.width * shape.height * reading + source.workBytes(slice),
                           shape.width * shape.height * writingPart);
  need.whole = need.fixed + std::max(voxels * reading + source.workBytes(wholeRegion(header.extents)),
                                     voxels * writingWhole);
  return need;
}

std::uint64_t slicesWithin(std::uint64_t budget, MemoryNeed const& need) {
  return budget > need.fixed ? (budget - need.fixed) / need.perSlice : 0;
}

Region slabRegion(Extents const& extents, Plane plane, std::uint64_t first, std::uint64_t count) {
  auto const axis = static_cast<std::size_t>(EuclideanDistanceTransform2D::axesOf(plane).slice);
  Region region = wholeRegion(extents);
  region.begin[axis] = first;
  region.size[axis] = std::min(count, extents[axis] - first);
  return region;
}

}  // namespace lorb::tools
