// Where maps go: to a file piece by piece, or in one piece through the library of its format.
#pragma once

#include "tools/map/distanceMap.h"
#include "tools/output/Targets.h"
#include "tools/output/VoxelWriter.h"
#include "tools/volume/VolumeSource.h"

#include <filesystem>
#include <memory>
#include <optional>

namespace lorb::tools {

/// The order in which the pieces of a map come.
enum class PieceOrder { memory, any };

/// Whether maps with this name can be written piece by piece: in the order of memory, or uncompressed in any.
bool takesPieces(std::filesystem::path const& target, PieceOrder order);

/// Pieces in the order of memory have to begin with a multiple of this number of slices.
std::uint64_t sliceStepOf(Extents const& extents);

/// Takes a map.
class MapWriter {
 public:
  /// A map in the place of `header`. Compressed by the level if the file can be, unless pieces come in any
  /// order.
  MapWriter(StagedFile file, VolumeHeader header, PieceOrder order, int compression);

  /// A piece that is ready to be put behind those before it.
  struct Piece {
    VoxelWriter::Piece compressed;
    std::optional<DistanceMap> map;  ///< for a library that writes the whole
  };

  /// Compresses the voxels of a region, on all threads of the caller's arena, or writes them. From any
  /// thread. Throws `OutputError`.
  Piece prepare(DistanceMap map, Region const& region) const;

  /// Writes what waits to be written. In the order of memory. Throws `OutputError`.
  void append(Piece piece);

  /// To be called when all is written, without other threads. Throws `OutputError`.
  void finish();

 private:
  template <class F>
  auto naming(F f) const;

  StagedFile file_;
  VolumeHeader header_;
  int compression_;
  std::unique_ptr<VoxelWriter> writer_;  ///< none for formats that a library writes
};

}  // namespace lorb::tools
