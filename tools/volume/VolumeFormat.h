// All that the tool knows of a format of files, as one row. Each format makes its row in a file of its own;
// formatTable.h lists them.
#pragma once

#include "tools/volume/VolumeSource.h"

#include <filesystem>
#include <memory>
#include <span>
#include <string_view>

namespace lorb::tools {

/// The end of a file's name, in small letters.
struct Extension {
  std::string_view name;
  std::string_view oneFile;  ///< that with which a volume is written in one file; empty where it is not
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

  /// Writes a volume to one file, in place. The caller checks that it is complete. Throws `OutputError` with
  /// the reason alone. Null where volumes are not written.
  void (*write)(Volume const& volume, std::filesystem::path const& path) = nullptr;

  /// What is left of a place in a file. Null where all is.
  Geometry (*placeIn)(Geometry const& geometry) = nullptr;

  /// Writes voxels to where they belong in an uncompressed file of the whole volume, which the first call
  /// makes. Throws `OutputError` with the reason alone. Null where volumes are only written as a whole.
  void (*writePiece)(TImageDataset<float, 3> const& voxels, Region const& region, VolumeHeader const& whole,
                     std::filesystem::path const& path) = nullptr;
};

}  // namespace lorb::tools
