#include "tools/MapWriter.h"

#include "tools/ItkVolumeSource.h"
#include "tools/ItkVolumeWriter.h"
#include "tools/VolumeFile.h"
#include "tools/errors.h"

#include <utility>

namespace lorb::tools {
namespace fs = std::filesystem;

bool takesPieces(fs::path const& target) {
  return formatOf(target) == FileFormat::metaImage;
}

MapWriter::MapWriter(fs::path target, bool replace, VolumeHeader header, bool pieces)
    : target_(std::move(target)), replace_(replace), header_(std::move(header)) {
  if (!pieces) return;
  staging_.emplace(target_);
  staged_ = staging_->path() / "map.mha";
}

void MapWriter::write(DistanceMap map, Region const& region) {
  if (staging_) return writePiece(map, region);
  Volume volume;
  volume.voxels = std::make_unique<DistanceMap>(std::move(map));
  volume.geometry = header_.geometry;
  volume.notes = header_.notes;
  writeVolume(volume, target_, replace_);
}

void MapWriter::fail(std::string const& reason) const {
  throw OutputError("output " + target_.string() + ": " + reason);
}

void MapWriter::writePiece(DistanceMap const& map, Region const& region) {
  try {
    writeItkRegion(map, region, header_, staged_);
  } catch (OutputError const& error) {
    fail(error.what());
  }
  try {
    auto const written = openItkVolume(staged_, FileFormat::metaImage, {})->read(region);
    if (!equalVoxels(*written, map)) fail("the written voxels are not the computed ones");
  } catch (InputError const&) {
    fail("could not be written in full; is the disk full?");
  }
}

void MapWriter::finish() {
  if (!staging_) return;
  Geometry const written = openItkVolume(staged_, FileFormat::metaImage, {})->header().geometry;
  if (!samePlace(header_.geometry, written, header_.extents)) {
    fail("MetaImage can't hold the volume's origin, spacing and direction; expected another format");
  }
  requireTarget(target_, replace_);  // somebody else may have written it meanwhile
  staging_->moveToTarget(staged_);
}

}  // namespace lorb::tools
