// Voxels as a file holds them behind its header, and reading any box of them.
#pragma once

#include "tools/volume/VolumeSource.h"
#include "tools/volume/imageData.h"

#include <cstdint>
#include <filesystem>
#include <memory>

namespace lorb::tools {

/// How the voxels lie in a file: volume by volume, in each x fastest, then y, then z.
struct StoredVoxels {
  std::filesystem::path input;          ///< named in errors
  std::filesystem::path file;           ///< that holds them, mostly the same
  std::uint64_t offset = 0;             ///< where their data begins in the file
  std::uint64_t skipped = 0;            ///< bytes before them in the data, once that is unfolded
  Coding coding = Coding::plain;        ///< all but `other`
  TypeID type = typeNone;               ///< of the elements in the file
  bool swapped = false;                 ///< whether their bytes are in the other order than this machine's
  double slope = 1.0, intercept = 0.0;  ///< a voxel is its element times the slope plus the intercept
  Extents extents = {0, 0, 0};          ///< of each volume
  std::uint64_t volumes = 1;
};

class VoxelReader {
 public:
  virtual ~VoxelReader() = default;

  /// Whether reading a part costs little more than its share of the whole. Parts are read in the order of
  /// memory without reading anything twice, however they are stored.
  virtual bool readsParts() const = 0;

  /// The voxels of a region of volume number `volume`, as elements of the type: that in the file, or for
  /// scaled voxels float or double. Throws `InputError` unless all could be read; see `ByteSource` and
  /// `TextNumbers`. Reading the last volume's end checks what compressed data and text hold in all.
  virtual std::unique_ptr<ImageDataset> read(std::uint64_t volume, Region const& region, TypeID type) = 0;
};

/// Throws `InputError` when the file can't be opened or is too short.
std::unique_ptr<VoxelReader> openVoxels(StoredVoxels const& stored);

}  // namespace lorb::tools
