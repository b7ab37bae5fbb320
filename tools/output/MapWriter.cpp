#include "tools/output/MapWriter.h"

#include "tools/base/errors.h"
#include "tools/volume/VolumeFile.h"
#include "tools/volume/formatTable.h"

#include <span>
#include <utility>

namespace lorb::tools {
namespace fs = std::filesystem;
bool takesPieces(fs::path const& target, PieceOrder order) {
  VolumeFormat const* const format = formatOf(target);
  if (format == nullptr || format->head == nullptr) return false;
  return order == PieceOrder::memory || !isCompressed(target, 0);
}

std::uint64_t sliceStepOf(Extents const& extents) {
  return VoxelWriter::sliceStep(extents, sizeof(float));
}

MapWriter::MapWriter(StagedFile file, VolumeHeader header, PieceOrder order, int compression)
    : file_(std::move(file)), header_(std::move(header)), compression_(compression) {
  header_.type = typeFloat;
  bool const compressed = order == PieceOrder::memory && isCompressed(file_.path, compression);
  writer_ = openVoxelWriter(file_, header_, compressed, compression);
}

/// Calls `f`; errors then name the target.
template <class F>
auto MapWriter::naming(F f) const {
  try {
    return f();
  } catch (OutputError const& error) {
    throw OutputError("output " + file_.target.string() + ": " + error.what());
  }
}

MapWriter::Piece MapWriter::prepare(DistanceMap map, Region const& region) const {
  if (!writer_) return {{}, std::move(map)};
  auto const voxels = std::as_bytes(std::span(map.voxels().data(), voxelCount(region.size)));
  return naming([&] { return Piece{writer_->prepare({region.begin, region.size}, voxels), std::nullopt}; });
}

void MapWriter::append(Piece piece) {
  if (writer_) return naming([&] { writer_->append(piece.compressed); });
  Volume volume;
  volume.voxels = std::make_unique<DistanceMap>(std::move(*piece.map));
  volume.geometry = header_.geometry;
  volume.notes = header_.notes;
  writeVolume(volume, file_, compression_);
}

void MapWriter::finish() {
  if (!writer_) return;
  naming([&] { writer_->finish(); });
  requireWrittenHeader(file_, header_);
}

}  // namespace lorb::tools
