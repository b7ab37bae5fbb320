#include "tools/picture/MapPicture.h"

#include "tools/base/errors.h"
#include "tools/volume/VolumeFile.h"

#include <algorithm>

namespace lorb::tools {
namespace {

std::unique_ptr<VolumeSource> openGrey(std::filesystem::path const& path, VolumeSource const& source) {
  auto grey = openVolume(path);
  VolumeHeader const &found = grey->header(), &expected = source.header();
  if (found.extents != expected.extents) {
    refuseInput(path, "has " + toText(found.extents) + " voxels; expected those of the map, " +
                          toText(expected.extents));
  }
  if (!samePlace(expected.geometry, found.geometry, expected.extents)) {
    refuseInput(path, "lies elsewhere than the input: " +
                          placeDifferences(found.geometry, expected.geometry, expected.extents) +
                          "; expected an image on the same grid");
  }
  return grey;
}

}  // namespace

MapPicture::MapPicture(Options const& options, VolumeSource const& source)
    : wanted_(options.preview.has_value()),
      overInput_(options.previewOver && *options.previewOver == "input"),
      header_(source.header()) {
  settings_.choice = options.map.choice;
  settings_.spacing = header_.geometry.spacing;
  if (header_.inPatient) settings_.directions = header_.geometry.direction;
  settings_.unit = options.units == Units::voxels ? "voxels" : "mm";
  if (options.previewOver && !overInput_) grey_ = openGrey(*options.previewOver, source);
}

std::vector<std::filesystem::path> MapPicture::files() const {
  return grey_ ? grey_->files : std::vector<std::filesystem::path>();
}

std::uint64_t MapPicture::bytesPerVoxel() const {
  if (!wanted_) return 0;
  // The input's own voxels stay beside the map in any case.
  return std::max<std::uint64_t>(bytesOf(header_.type), 1) + (grey_ ? bytesOf(grey_->header().type) : 0);
}

MapViewer MapPicture::viewer(Slabs const& slabs) {
  if (!wanted_) return {};
  preview_.reset();
  return [&](DistanceMap const& map, std::uint64_t slab, ImageDataset const& volume) {
    add(map, slab, volume, slabs);
  };
}

void MapPicture::add(DistanceMap const& map, std::uint64_t slab, ImageDataset const& volume,
                     Slabs const& slabs) {
  if (!preview_) {
    // Which slices have a boundary is known when all are there.
    settings_.among = slabs.count() == 1 ? boundedSlices(map, settings_.choice.plane) : std::nullopt;
    preview_.emplace(header_.extents, settings_);
  }
  if (overInput_) return preview_->add(map, &volume, slabs.firstSlice(slab));
  if (!grey_) return preview_->add(map, nullptr, slabs.firstSlice(slab));
  if (slabs.count() > 1 && !grey_->readsParts()) {
    throw MemoryError(
        "the image of --preview-over takes more memory than there is; expected an uncompressed MetaImage or "
        "NIfTI file");
  }
  auto const grey = grey_->read(slabs.region(slab));
  preview_->add(map, grey.get(), slabs.firstSlice(slab));
}

}  // namespace lorb::tools
