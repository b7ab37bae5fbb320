// Where maps go: to a file in one piece, or piece by piece when memory holds no more.
#pragma once

#include "tools/map/distanceMap.h"
#include "tools/output/Targets.h"
#include "tools/volume/VolumeSource.h"

#include <filesystem>
#include <memory>

namespace lorb::tools {

/// Whether maps with this name can be written piece by piece.
bool takesPieces(std::filesystem::path const& target);

/// Takes a map. Written voxels are read back and compared.
class MapWriter {
 public:
  /// A map in the place of `header`. With `pieces`, the target must take them, and gets them uncompressed.
  MapWriter(StagedFile file, VolumeHeader header, bool pieces);

  /// Takes the voxels of a region, which without `pieces` is the whole volume. Throws `OutputError`.
  void write(DistanceMap map, Region const& region);

  /// To be called when all is written. Throws `OutputError`.
  void finish() const;

 private:
  void writePiece(DistanceMap const& map, Region const& region) const;
  [[noreturn]] void fail(std::string const& reason) const;

  StagedFile file_;
  VolumeHeader header_;
  bool pieces_;
};

}  // namespace lorb::tools
