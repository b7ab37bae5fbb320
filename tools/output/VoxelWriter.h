// Voxels behind a header, plain or compressed, written piece by piece as they are made.
#pragma once

#include "tools/output/OutputFile.h"
#include "tools/output/deflate.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace lorb::tools {

/// What a file begins with, and how its voxels follow.
struct FileHead {
  std::string bytes;
  bool compressed = false;
  bool isCompressedToo = false;  ///< the head is the first part of the compressed data
  Wrapping wrapping = Wrapping::gzip;
  bool swapped = false;  ///< elements are stored in the other byte order than this machine's

  /// Where in the head the size of the compressed data is to be put as a number; there are blanks.
  std::optional<std::size_t> sizePlace = std::nullopt;
};

class VoxelWriter {
 public:
  using Extents = std::array<std::uint64_t, 3>;

  /// A box of voxels.
  struct Box {
    Extents begin, size;
  };

  /// Voxels that are compressed and wait for those before them.
  using Piece = std::vector<DeflatedPart>;

  /// Makes the file. `level` is that of compression. All members throw `OutputError` with the reason alone.
  VoxelWriter(std::filesystem::path const& path, FileHead head, Extents const& extents,
              std::uint64_t elementBytes, int level);

  /// Compressed voxels have to come in whole XY slices, beginning with a multiple of this number of slices,
  /// so that the file does not depend on the pieces.
  static std::uint64_t sliceStep(Extents const& extents, std::uint64_t elementBytes);

  /// Writes voxels, or compresses them on all threads of the caller's arena. Any order, from any thread.
  Piece prepare(Box const& box, std::span<std::byte const> voxels) const;

  /// Writes what was compressed, in the order of memory.
  void append(Piece const& piece);

  /// To be called after all voxels.
  void finish();

 private:
  void writePlain(Box const& box, std::span<std::byte const> voxels) const;
  std::vector<std::span<std::byte const>> partsOf(std::span<std::byte const> voxels) const;
  std::vector<std::byte> swappedElements(std::span<std::byte const> voxels) const;
  DeflatedPart compress(std::span<std::byte const> part) const;
  void append(std::span<std::byte const> bytes);

  OutputFile file_;
  FileHead head_;
  Extents extents_;
  std::uint64_t elementBytes_;
  int level_;
  std::uint64_t sliceStep_;
  std::uint64_t end_ = 0;  ///< of what was appended
  DeflatedPart whole_;     ///< size and checksum of what was compressed

  /// The last part whose elements were all the same, and what it was compressed to: many slices of a map hold
  /// nothing else, in which compressing them again would take most of the time.
  struct Uniform {
    std::mutex mutex;
    std::vector<std::byte> part;
    DeflatedPart segment;
  };
  std::unique_ptr<Uniform> uniform_ = std::make_unique<Uniform>();
};

}  // namespace lorb::tools
