// Where maps go: to a file in one piece, or piece by piece when memory holds no more.
#pragma once

#include "tools/StagingFolder.h"
#include "tools/VolumeSource.h"
#include "tools/distanceMap.h"

#include <filesystem>
#include <memory>
#include <optional>

namespace lorb::tools {

/// Whether maps with this name can be written piece by piece.
bool takesPieces(std::filesystem::path const& target);

/// Takes a map and puts it in place when it is complete; what is at the target is untouched until then.
/// Written voxels are read back and compared.
class MapWriter {
 public:
  /// A map in the place of `header`. With `pieces`, the target must take them, and gets them uncompressed.
  MapWriter(std::filesystem::path target, bool replace, VolumeHeader header, bool pieces);

  /// Takes the voxels of a region, which without `pieces` is the whole volume. Throws `OutputError`.
  void write(DistanceMap map, Region const& region);

  /// Puts the map in place. Throws `OutputError`.
  void finish();

 private:
  void writePiece(DistanceMap const& map, Region const& region);
  [[noreturn]] void fail(std::string const& reason) const;

  std::filesystem::path target_;
  bool replace_;
  VolumeHeader header_;
  std::optional<StagingFolder> staging_;  ///< with pieces
  std::filesystem::path staged_;
};

}  // namespace lorb::tools
