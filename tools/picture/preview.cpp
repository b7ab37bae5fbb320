#include "tools/picture/preview.h"

#include "tools/picture/previewPicture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>

namespace lorb::tools {
namespace {

/// The middle slices of as many equal parts.
std::vector<std::uint64_t> evenlySpaced(SliceRange const& range, std::uint64_t count) {
  std::vector<std::uint64_t> slices;
  double const perPart = double(range.end - range.begin) / double(count);
  for (std::uint64_t k = 0; k < count; ++k) {
    slices.push_back(range.begin + static_cast<std::uint64_t>((double(k) + 0.5) * perPart));
  }
  return slices;
}

/// The slices to choose from, in a map of `count` slices.
SliceRange rangeOf(PreviewSettings const& settings, std::uint64_t count) {
  if (auto const slice = settings.choice.slice) {
    auto const begin = static_cast<std::uint64_t>(*slice);  // beyond all maps when negative
    if (begin < count) return {begin, begin + 1};
    throw std::invalid_argument("preview: slice " + std::to_string(*slice) + " is none of the map's " +
                                std::to_string(count));
  }
  SliceRange const range = settings.among.value_or(SliceRange{0, count});
  if (range.begin < range.end && range.end <= count) return range;
  throw std::invalid_argument("preview: slices " + std::to_string(range.begin) + " up to " +
                              std::to_string(range.end) + " are none of the map's " + std::to_string(count));
}

std::vector<std::uint64_t> slicesToShow(PreviewSettings const& settings, std::uint64_t count) {
  if (settings.sliceCount < 1 || settings.sliceCount > 60) {
    throw std::invalid_argument("preview: " + std::to_string(settings.sliceCount) +
                                " slices can't be shown; expected 1 to 60");
  }
  SliceRange const range = rangeOf(settings, count);
  return evenlySpaced(range,
                      std::min(range.end - range.begin, static_cast<std::uint64_t>(settings.sliceCount)));
}

double length(DisplayAxis const& side, Extents const& extents, Vector3 const& spacing) {
  auto const axis = static_cast<std::size_t>(side.axis);
  bool const usable = std::isfinite(spacing[axis]) && spacing[axis] > 0;
  return double(extents[axis]) * (usable ? spacing[axis] : 1.0);
}

MontageLayout layoutOf(std::size_t count, SliceOrientation const& orientation, Extents const& extents,
                       Vector3 const& spacing) {
  return previewLayout(static_cast<int>(count), length(orientation.across, extents, spacing) /
                                                    length(orientation.down, extents, spacing));
}

std::size_t sliceAxis(Plane plane) {
  return static_cast<std::size_t>(EuclideanDistanceTransform2D::axesOf(plane).slice);
}

}  // namespace

std::optional<SliceRange> boundedSlices(DistanceMap const& map, Plane plane) {
  std::size_t const axis = sliceAxis(plane);
  Extents const extents = extentsOf(map);
  std::vector<char> inside(extents[axis], 0), outside(extents[axis], 0);
  std::array<std::uint64_t, 3> p;
  for (p[2] = 0; p[2] < extents[2]; ++p[2]) {
    for (p[1] = 0; p[1] < extents[1]; ++p[1]) {
      for (p[0] = 0; p[0] < extents[0]; ++p[0]) {
        float const distance = map(p[0], p[1], p[2]);
        if (distance < 0) inside[p[axis]] = 1;
        if (distance > 0) outside[p[axis]] = 1;
      }
    }
  }
  SliceRange range{extents[axis], 0};
  for (std::uint64_t slice = 0; slice < extents[axis]; ++slice) {
    if (!inside[slice] || !outside[slice]) continue;
    range = {std::min(range.begin, slice), slice + 1};
  }
  if (range.end == 0) return std::nullopt;
  return range;
}

Preview::Preview(Extents const& extents, PreviewSettings const& settings)
    : extents_(extents),
      settings_(settings),
      orientation_(sliceOrientation(settings.choice.plane, settings.directions)) {
  if (voxelCount(extents) == 0) throw std::invalid_argument("preview: the map has no voxels");
  slices_ = slicesToShow(settings, extents[sliceAxis(settings.choice.plane)]);
}

void Preview::requireFitting(ImageDataset const& volume) const {
  Extents const given = extentsOf(volume);
  for (std::size_t axis = 0; axis < 3; ++axis) {
    bool const sliced = axis == sliceAxis(settings_.choice.plane);
    if (sliced ? given[axis] <= extents_[axis] : given[axis] == extents_[axis]) continue;
    throw std::invalid_argument("preview: " + toText(given) + " voxels are no part of " + toText(extents_));
  }
}

void Preview::add(DistanceMap const& map, ImageDataset const* grey, std::uint64_t firstSlice) {
  requireFitting(map);
  if (grey && extentsOf(*grey) != extentsOf(map)) {
    throw std::invalid_argument("preview: the image beneath has " + toText(extentsOf(*grey)) +
                                " voxels, the map " + toText(extentsOf(map)));
  }
  MontageLayout const layout = layoutOf(slices_.size(), orientation_, extents_, settings_.spacing);
  auto const sampled = [&](ImageDataset const& volume, std::uint64_t slice) {
    return sliceGrid(volume, orientation_, slice, layout.panelWidth, layout.panelHeight);
  };
  std::uint64_t const end = firstSlice + extentsOf(map)[sliceAxis(settings_.choice.plane)];
  for (std::uint64_t const slice : slices_) {
    if (slice < firstSlice || slice >= end) continue;
    maps_.push_back(sampled(map, slice - firstSlice));
    if (grey) greys_.push_back(sampled(*grey, slice - firstSlice));
  }
}

std::string Preview::png() const {
  return drawPicture({slices_, maps_, greys_, orientation_, settings_.unit},
                     layoutOf(slices_.size(), orientation_, extents_, settings_.spacing));
}

}  // namespace lorb::tools
