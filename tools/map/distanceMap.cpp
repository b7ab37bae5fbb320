#include "tools/map/distanceMap.h"

#include "tools/base/Workers.h"
#include "tools/map/firstRowDistances.h"
#include "tools/map/sliceContents.h"

#include <oneapi/tbb/enumerable_thread_specific.h>
#include <oneapi/tbb/info.h>
#include <oneapi/tbb/parallel_for.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace lorb::tools {
namespace {

using Transform = EuclideanDistanceTransform2D;
using Input = TImageDataset<unsigned char, 3>;

Transform::SliceAxes axesOf(Plane plane) {
  return Transform::axesOf(plane);
}

SliceRange chosenRange(std::uint64_t count, std::optional<int> slice) {
  if (!slice) return {0, count};
  auto const k = static_cast<std::uint64_t>(*slice);
  return {k, k + 1};
}

template <class View, class Volume>
View viewOf(Volume* volume, SliceRange range) {
  constexpr auto axes = Transform::axesOf(View::orientation);
  auto const size = [&](int axis) { return static_cast<int>(volume->extents[std::size_t(axis)]); };
  return {volume, size(axes.i), size(axes.j), static_cast<int>(range.end), static_cast<int>(range.begin)};
}

template <Plane P>
void transformSlices(Transform& transform, Input const& mask, DistanceMap& map, SliceRange range) {
  transform.computeAllSlicesTwoSided(viewOf<Transform::ConstSlice<P, unsigned char>>(&mask, range),
                                     viewOf<Transform::MutableSlice<P, float>>(&map, range));
}

void transformSlices(Transform& transform, Input const& mask, DistanceMap& map, Plane plane,
                     SliceRange range) {
  switch (plane) {
    case Transform::planeXY:
      return transformSlices<Transform::planeXY>(transform, mask, map, range);
    case Transform::planeXZ:
      return transformSlices<Transform::planeXZ>(transform, mask, map, range);
    case Transform::planeYZ:
      return transformSlices<Transform::planeYZ>(transform, mask, map, range);
  }
}

/// Calls `f(slice, values, count)` for pieces of a map, each `count` neighbouring voxels of one slice, in the
/// order of memory.
template <class F>
void forEachPiece(DistanceMap& map, Plane plane, SliceRange range, F f) {
  auto const [nx, ny, nz] = map.extents;
  float* const values = map.voxels().data();
  auto const axis = static_cast<std::size_t>(axesOf(plane).slice);
  std::array<SliceRange, 3> box = {{{0, nx}, {0, ny}, {0, nz}}};
  box[axis] = range;
  for (std::uint64_t z = box[2].begin; z < box[2].end; ++z) {
    for (std::uint64_t y = box[1].begin; y < box[1].end; ++y) {
      float* const row = values + (z * ny + y) * nx;
      if (plane == Transform::planeYZ) {
        for (std::uint64_t x = range.begin; x < range.end; ++x) f(x, row + x, std::uint64_t{1});
      } else {
        f(plane == Transform::planeXY ? z : y, row, nx);
      }
    }
  }
}

template <Plane P>
void writeFirstRowDistances(Input const& mask, DistanceMap& map, SliceRange slice, bool othersInside) {
  auto const in = viewOf<Transform::ConstSlice<P, unsigned char>>(&mask, slice);
  auto const out = viewOf<Transform::MutableSlice<P, float>>(&map, slice);
  std::vector<char> firstRow;
  for (int i = 0; i < in.width; ++i) firstRow.push_back(in.get(i, 0) > 0 ? 1 : 0);
  FirstRowDistances const distances(firstRow, othersInside, static_cast<std::uint64_t>(in.height));
  for (int j = 0; j < in.height; ++j) {
    for (int i = 0; i < in.width; ++i) {
      out.set(i, j, distances.at(static_cast<std::uint64_t>(i), static_cast<std::uint64_t>(j)));
    }
  }
}

/// Distances of a slice whose boundary the transform does not see.
void writeFirstRowDistances(Input const& mask, DistanceMap& map, Plane plane, std::uint64_t slice,
                            bool othersInside) {
  switch (plane) {
    case Transform::planeXY:
      return writeFirstRowDistances<Transform::planeXY>(mask, map, {slice, slice + 1}, othersInside);
    case Transform::planeXZ:
      return writeFirstRowDistances<Transform::planeXZ>(mask, map, {slice, slice + 1}, othersInside);
    case Transform::planeYZ:
      return writeFirstRowDistances<Transform::planeYZ>(mask, map, {slice, slice + 1}, othersInside);
  }
}

/// Turns what the transform leaves into what was asked for, and looks at it. `summaries` say already which
/// slices have a boundary.
void finishSlices(DistanceMap& map, MapSettings const& settings, SliceRange range, SliceSummary* summaries) {
  Plane const plane = settings.choice.plane;
  float const filling = valueWithoutBoundary(sliceShape(map, plane), settings);
  auto const length = static_cast<float>(settings.voxelLength);
  forEachPiece(map, plane, range, [&](std::uint64_t slice, float* values, std::uint64_t count) {
    SliceSummary& summary = summaries[slice - range.begin];
    if (!summary.hasBoundary) {
      summary.least = summary.greatest = summary.inside > 0 ? -filling : filling;
      std::fill_n(values, count, summary.least);
      return;
    }
    if (length != 1.0F) {
      for (std::uint64_t k = 0; k < count; ++k) values[k] *= length;
    }
    for (std::uint64_t k = 0; k < count; ++k) {
      summary.least = std::min(summary.least, values[k]);
      summary.greatest = std::max(summary.greatest, values[k]);
    }
  });
}

/// Computes some of the slices.
void makeSlices(Transform& transform, Input const& mask, DistanceMap& map, MapSettings const& settings,
                SliceRange range, SliceSummary* summaries) {
  Plane const plane = settings.choice.plane;
  SliceShape const shape = sliceShape(mask, plane);
  constexpr float infinity = std::numeric_limits<float>::infinity();
  transformSlices(transform, mask, map, plane, range);
  std::vector<SliceContents> const contents = sliceContents(mask, plane, range);
  for (std::uint64_t k = 0; k < contents.size(); ++k) {
    Boundary const boundary = boundaryOf(contents[k], shape);
    std::uint64_t const slice = range.begin + k;
    std::uint64_t const inside = std::uint64_t{contents[k].firstRow} + contents[k].otherRows;
    summaries[k] = {slice, inside, infinity, -infinity, boundary != Boundary::none};
    if (boundary == Boundary::firstRow) {
      writeFirstRowDistances(mask, map, plane, slice, contents[k].otherRows > 0);
    }
  }
  finishSlices(map, settings, range, summaries);
}

/// Slices that a worker takes at a time: YZ slices in multiples of 64, which the transform solves together,
/// and XZ slices in multiples of 16, whose rows follow each other.
std::uint64_t grainOf(Plane plane, std::uint64_t count, unsigned threads) {
  std::uint64_t const step = plane == Transform::planeXY ? 1 : plane == Transform::planeXZ ? 16 : 64;
  std::uint64_t const share = count / (std::uint64_t{8} * threads);
  return std::clamp<std::uint64_t>(share / step * step, step, 64);
}

}  // namespace

unsigned processorCount() {
  return static_cast<unsigned>(std::max(1, oneapi::tbb::info::default_concurrency()));
}

std::uint64_t boundlessDistance(SliceShape const& shape) {
  return shape.width * shape.width + shape.height * shape.height;
}

float valueWithoutBoundary(SliceShape const& shape, MapSettings const& settings) {
  auto const constant = static_cast<double>(boundlessDistance(shape));
  switch (settings.noBoundary) {
    case NoBoundary::diagonal:
      return static_cast<float>(std::sqrt(constant) * settings.voxelLength);
    case NoBoundary::constant:
      return static_cast<float>(constant);
    case NoBoundary::nan:
      break;
  }
  return std::numeric_limits<float>::quiet_NaN();
}

void requireComputable(std::array<std::uint64_t, 3> const& extents, SliceChoice const& choice) {
  constexpr std::uint64_t limit = std::numeric_limits<std::int32_t>::max();
  SliceShape const shape = sliceShape(extents, choice.plane);
  // The sides first: the squares of larger ones may wrap around.
  if (shape.width > limit || shape.height > limit || shape.count > limit ||
      boundlessDistance(shape) >= limit) {
    throw std::invalid_argument("slices of " + std::to_string(shape.width) + " × " +
                                std::to_string(shape.height) +
                                " voxels are too large; the squares of both sides may add up to 2147483646");
  }
  if (choice.slice && (*choice.slice < 0 || static_cast<std::uint64_t>(*choice.slice) >= shape.count)) {
    throw std::invalid_argument("slice " + std::to_string(*choice.slice) +
                                " is not in the volume; expected 0 to " + std::to_string(shape.count - 1));
  }
}

struct DistanceMapper::Transforms {
  oneapi::tbb::enumerable_thread_specific<Transform> ofThreads;
};

DistanceMapper::DistanceMapper() : transforms_(std::make_unique<Transforms>()) {}
DistanceMapper::~DistanceMapper() = default;

DistanceMap DistanceMapper::map(Input const& mask, MapSettings const& settings,
                                std::vector<SliceSummary>* summaries, SlicesDone const& done) {
  Plane const plane = settings.choice.plane;
  DistanceMap map(mask.extents);
  SliceRange const all = chosenRange(sliceShape(mask, plane).count, settings.choice.slice);
  std::vector<SliceSummary> found(all.end - all.begin);
  std::uint64_t const grain = grainOf(plane, all.end - all.begin, settings.threads);
  std::uint64_t const blocks = (all.end - all.begin + grain - 1) / grain;
  oneapi::tbb::parallel_for(std::uint64_t{0}, blocks, [&](std::uint64_t block) {
    std::uint64_t const begin = all.begin + block * grain;
    SliceRange const range = {begin, std::min(all.end, begin + grain)};
    makeSlices(transforms_->ofThreads.local(), mask, map, settings, range, &found[range.begin - all.begin]);
    if (done) done(range.end - range.begin);
  });
  if (summaries != nullptr) summaries->insert(summaries->end(), found.begin(), found.end());
  return map;
}

DistanceMap distanceMap(Input const& mask, MapSettings const& settings, std::vector<SliceSummary>* summaries,
                        SlicesDone const& done) {
  DistanceMapper mapper;
  std::optional<DistanceMap> map;
  Workers workers(settings.threads);
  workers.run([&] { map = mapper.map(mask, settings, summaries, done); });
  return std::move(*map);
}

}  // namespace lorb::tools
