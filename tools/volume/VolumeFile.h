// Volumes in files: reading any of them, writing without ever leaving half a file behind.
#pragma once

#include "tools/output/Targets.h"
#include "tools/volume/VolumeSource.h"

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

/// Throws `OutputError` unless volumes are written in files of this name.
void requireWritableName(std::filesystem::path const& target);

/// Throws `OutputError` when the format of such a file can't hold the place of these voxels.
void requireRoomForPlace(std::filesystem::path const& target, Geometry const& geometry,
                         Extents const& extents);

/// Writes the volume, reads it back and compares it, since not every writer notices a full disk or a geometry
/// that its format can't hold. The result is one file also with the extensions .mhd and .nhdr, whose data is
/// otherwise often put in a second one. Throws `OutputError`.
void writeVolume(Volume const& volume, StagedFile const& file);

/// The same for a run of one target, put in place at once.
void writeVolume(Volume const& volume, std::filesystem::path const& target, bool replace);

}  // namespace lorb::tools
