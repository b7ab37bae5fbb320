#include "tools/output/MapWriter.h"

#include "tools/base/errors.h"
#include "tools/volume/VolumeFile.h"
#include "tools/volume/formatTable.h"

#include <utility>

namespace lorb::tools {
namespace fs = std::filesystem;

bool takesPieces(fs::path const& target) {
  VolumeFormat const* const format = formatOf(target);
  return format != nullptr && format->writePiece != nullptr;
}

MapWriter::MapWriter(StagedFile file, VolumeHeader header, bool pieces)
    : file_(std::move(file)), header_(std::move(header)), pieces_(pieces) {}

void MapWriter::write(DistanceMap map, Region const& region) {
  if (pieces_) return writePiece(map, region);
  Volume volume;
  volume.voxels = std::make_unique<DistanceMap>(std::move(map));
  volume.geometry = header_.geometry;
  volume.notes = header_.notes;
  writeVolume(volume, file_);
}

void MapWriter::fail(std::string const& reason) const {
  throw OutputError("output " + file_.target.string() + ": " + reason);
}

void MapWriter::writePiece(DistanceMap const& map, Region const& region) const {
  try {
    formatOf(file_.path)->writePiece(map, region, header_, file_.path);
  } catch (OutputError const& error) {
    fail(error.what());
  }
  try {
    auto const written = openVolume(file_.path)->read(region);
    if (!equalVoxels(*written, map)) fail("the written voxels are not the computed ones");
  } catch (InputError const&) {
    fail("could not be written in full; is the disk full?");
  }
}

void MapWriter::finish() const {
  if (!pieces_) return;
  Geometry const written = openVolume(file_.path)->header().geometry;
  if (!samePlace(header_.geometry, written, header_.extents)) {
    fail(std::string(formatOf(file_.path)->name) +
         " can't hold the volume's origin, spacing and direction; expected another format");
  }
}

}  // namespace lorb::tools
