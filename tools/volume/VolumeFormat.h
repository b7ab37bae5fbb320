// All that the tool knows of a format of files, as one row. Each format makes its row in a file of its own;
// formatTable.h lists them.
#pragma once

#include "tools/output/VoxelWriter.h"
#include "tools/volume/VolumeSource.h"

#include <filesystem>
#include <memory>
#include <span>
#include <string_view>

namespace lorb::tools {

/// Whether the voxels in a file are compressed: never by the tool itself, unless level 0 is asked for, or
/// whatever the level, of which 0 then stores.
enum class Compressed { no, ifWanted, always };

/// The end of a file's name, in small letters.
struct Extension {
  std::string_view name;
  std::string_view oneFile;  ///< that with which a volume is written in one file; empty where it is not
  Compressed compressed = Compressed::no;
};

struct VolumeFormat {
  std::string_view name;  ///< for people: "MetaImage"
  std::span<Extension const> extensions;

  /// Whether files hold a slice each, so that a volume is a folder, or what belongs to a file in its folder.
  bool isSeries = false;

  /// Whether a folder, which is otherwise for a series to open, is a volume of this format. Null where none
  /// is.
  bool (*takesFolder)(std::filesystem::path const& folder) = nullptr;

  /// Opens a file, or of a series a folder as well. Throws `InputError` naming the file for what is no such
  /// file, holds anything but one number a voxel, is incomplete, or needs a choice that was not made.
  std::unique_ptr<VolumeSource> (*open)(std::filesystem::path const& path, InputChoice const& choice);

  /// Whether a file without a known extension is of this format. Null where only names tell.
  bool (*isMarked)(std::filesystem::path const& path) = nullptr;

  /// The extension that suits data on standard input which begins with `head`; empty for data of another
  /// format. Null where nothing is read from there.
  std::string_view (*extensionFor)(std::string_view head) = nullptr;

  /// What a file begins with whose voxels follow one after the other, `compressed` or not, and are written by
  /// a `VoxelWriter`. May leave a file at `path`, which is to be overwritten. Throws `OutputError` with the
  /// reason alone. Null for other files.
  FileHead (*head)(std::filesystem::path const& path, VolumeHeader const& header, bool compressed) = nullptr;

  /// Writes a volume to one file, in place, by a level of compression. The caller checks that it is complete.
  /// Throws `OutputError` with the reason alone. Null where there is a head or volumes are not written.
  void (*write)(Volume const& volume, std::filesystem::path const& path, int compression) = nullptr;

  /// What is left of a place in a file. Null where all is.
  Geometry (*placeIn)(Geometry const& geometry) = nullptr;
};

}  // namespace lorb::tools
