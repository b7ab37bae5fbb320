// The picture that a run draws of its maps while it makes them.
#pragma once

#include "tools/commandLine/Options.h"
#include "tools/makeMap.h"
#include "tools/picture/preview.h"
#include "tools/volume/VolumeSource.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lorb::tools {

/// Nothing at all when no picture is asked for.
class MapPicture {
 public:
  /// Of maps of `source`, over the image that the options name. Throws `InputError` when that image has other
  /// extents or lies elsewhere.
  MapPicture(Options const& options, VolumeSource const& source);

  /// All files that the image beneath is read from, beside the input.
  std::vector<std::filesystem::path> files() const;

  /// Memory taken beside the map, by the image beneath.
  std::uint64_t bytesPerVoxel() const;

  /// What `makeMap` is to show its pieces to, for one map of these slabs; empty when there is no picture.
  MapViewer viewer(Slabs const& slabs);

  /// The picture of that map, as the content of a PNG file.
  std::string png() const { return preview_->png(); }

 private:
  void add(DistanceMap const& map, std::uint64_t slab, ImageDataset const& volume, Slabs const& slabs);

  bool wanted_, overInput_;
  PreviewSettings settings_;
  VolumeHeader header_;
  std::unique_ptr<VolumeSource> grey_;
  std::optional<Preview> preview_;
};

}  // namespace lorb::tools
