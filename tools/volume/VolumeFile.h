// Volumes in files: reading any of them, writing without ever leaving half a file behind.
#pragma once

#include "tools/output/Targets.h"
#include "tools/output/VoxelWriter.h"
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

/// A writer of voxels in the place of `header`, of files that are written piece by piece; null for others.
/// The result is one file also with the extensions .mhd and .nhdr, whose data is otherwise often put in a
/// second one. Throws `OutputError`.
std::unique_ptr<VoxelWriter> openVoxelWriter(StagedFile const& file, VolumeHeader const& header,
                                             bool compressed, int compression);

/// Opens a file that was written, and throws `OutputError` unless its reader finds the header that was meant:
/// not every format can hold every place.
void requireWrittenHeader(StagedFile const& file, VolumeHeader const& header);

/// Writes a whole volume, compressed if the format can be and the level is not 0. Of formats that a library
/// writes, the voxels are read back and compared. Throws `OutputError`.
void writeVolume(Volume const& volume, StagedFile const& file, int compression);

/// The same for a run of one target, put in place at once.
void writeVolume(Volume const& volume, std::filesystem::path const& target, bool replace);

}  // namespace lorb::tools
