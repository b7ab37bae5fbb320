#include "tools/preview.h"

#include "tools/StagingFolder.h"
#include "tools/errors.h"
#include "tools/previewPicture.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <stdexcept>

namespace lorb::tools {
namespace {

/// The middle slices of as many equal parts.
std::vector<std::uint64_t> evenlySpaced(std::uint64_t of, std::uint64_t count) {
  std::vector<std::uint64_t> slices;
  for (std::uint64_t k = 0; k < count; ++k) {
    slices.push_back(static_cast<std::uint64_t>((double(k) + 0.5) * double(of) / double(count)));
  }
  return slices;
}

std::vector<std::uint64_t> slicesToShow(std::uint64_t of, PreviewSettings const& settings) {
  if (auto const slice = settings.choice.slice) {
    if (*slice < 0 || static_cast<std::uint64_t>(*slice) >= of) {
      throw std::invalid_argument("preview: slice " + std::to_string(*slice) + " is none of " +
                                  std::to_string(of));
    }
    return {static_cast<std::uint64_t>(*slice)};
  }
  if (settings.sliceCount < 1 || settings.sliceCount > 60) {
    throw std::invalid_argument("preview: " + std::to_string(settings.sliceCount) +
                                " slices can't be shown; expected 1 to 60");
  }
  return evenlySpaced(of, std::min(of, static_cast<std::uint64_t>(settings.sliceCount)));
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

Preview::Preview(Extents const& extents, PreviewSettings const& settings)
    : extents_(extents),
      settings_(settings),
      orientation_(sliceOrientation(settings.choice.plane, settings.directions)) {
  if (voxelCount(extents) == 0) throw std::invalid_argument("preview: the map has no voxels");
  slices_ = slicesToShow(extents[sliceAxis(settings.choice.plane)], settings);
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

void drawPreview(DistanceMap const& map, ImageDataset const* grey, PreviewSettings const& settings,
                 std::filesystem::path const& path) {
  Preview preview(extentsOf(map), settings);
  preview.add(map, grey);
  writePicture(preview.png(), path);
}

void writePicture(std::string const& png, std::filesystem::path const& path) {
  StagingFolder const folder(path);
  std::filesystem::path const file = folder.path() / "preview.png";
  std::ofstream stream(file, std::ios::binary);
  stream << png;
  stream.close();
  if (!stream) throw OutputError("preview " + path.string() + ": can't be written; is the disk full?");
  folder.moveToTarget(file);
}

}  // namespace lorb::tools
