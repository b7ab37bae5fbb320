// Volumes in files: reading any of them, writing without ever leaving half a file behind.
#pragma once

#include "tools/FileFormat.h"
#include "tools/VolumeSource.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace lorb::tools {

/// Opens a volume of any element type but `bool`, with one value a voxel: a file, a folder of DICOM files, or
/// "-", standard input. Files of more than three dimensions hold several volumes, MetaImage and NRRD files of
/// two dimensions one slice. Throws `InputError` for everything else, incomplete files included. Nothing but
/// the result is printed or kept.
std::unique_ptr<VolumeSource> openVolume(std::filesystem::path const& path, InputChoice const& choice = {});

/// The whole of such a volume, read.
Volume readVolume(std::filesystem::path const& path, InputChoice const& choice = {});

/// Throws `OutputError` when it is plain before any work that `writeVolume` would fail: the extension is
/// unknown, there is no such folder, the target is a folder, or it exists and `replace` is false; or when
/// the target is `input` itself, which is never replaced.
void requireTarget(std::filesystem::path const& target, bool replace,
                   std::optional<std::filesystem::path> const& input = std::nullopt);

/// The same for a target of any name, which is no volume.
void requireFileTarget(std::filesystem::path const& target, bool replace,
                       std::optional<std::filesystem::path> const& input = std::nullopt);

/// Writes the volume into a folder beside the target, reads it back and compares it, since not every
/// writer notices a full disk or a geometry that its format can't hold, and moves it to the target in
/// one step. The result is one file also with the extensions .mhd and .nhdr, whose data is otherwise
/// often put in a second one. Throws `OutputError`; the target is then as it was.
///
/// The target "-" is standard output, which takes NRRD data.
void writeVolume(Volume const& volume, std::filesystem::path const& target, bool replace);

}  // namespace lorb::tools
