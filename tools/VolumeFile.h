// Volumes in files: which format a name stands for, reading any of them, writing without ever leaving half
// a file behind.
#pragma once

#include "tools/Volume.h"

#include <filesystem>
#include <optional>
#include <string>

namespace lorb::tools {

enum class FileFormat { nifti, metaImage, nrrd, vti };

/// Name of a format for people, such as "MetaImage".
std::string nameOf(FileFormat format);

/// The format that the name's extension stands for; nothing for all others.
std::optional<FileFormat> formatOf(std::filesystem::path const& path);

/// The known extensions in one line: ".nii, .nii.gz, …"
std::string supportedExtensions();

/// Reads a volume of any element type but `bool`, with one value a voxel. Files of more than three
/// dimensions are taken if only three have more than one element, MetaImage and NRRD files of two
/// dimensions as one slice. Throws `InputError` for everything else, damaged and incomplete files
/// included. Nothing but the result is printed or kept.
Volume readVolume(std::filesystem::path const& path);

/// Throws `OutputError` when it is plain before any work that `writeVolume` would fail: the extension is
/// unknown, there is no such folder, the target is a folder, or it exists and `replace` is false; or when
/// the target is `input` itself, which is never replaced.
void requireTarget(std::filesystem::path const& target, bool replace,
                   std::optional<std::filesystem::path> const& input = std::nullopt);

/// Writes the volume into a folder beside the target, reads it back and compares it, since not every
/// writer notices a full disk or a geometry that its format can't hold, and moves it to the target in
/// one step. The result is one file also with the extensions .mhd and .nhdr, whose data is otherwise
/// often put in a second one. Throws `OutputError`; the target is then as it was.
void writeVolume(Volume const& volume, std::filesystem::path const& target, bool replace);

}  // namespace lorb::tools
