// NIfTI-1, NIfTI-2 and Analyze 7.5 files. The libraries for them read what is not finite as 0, and know one
// placement where a file may have two.
#pragma once

#include "tools/volume/VolumeSource.h"

#include <filesystem>
#include <memory>

namespace lorb::tools {

/// Opens a single file or a pair, compressed or not. Throws `InputError` naming the file for what is no such
/// file, holds anything but one number a voxel, is shorter than its header says, or needs a choice that was
/// not made. Voxels that are scaled come as float, those of 32 bits and more as double.
std::unique_ptr<VolumeSource> openNiftiVolume(std::filesystem::path const& path, InputChoice const& choice);

/// Writes a single file, in place, of the version that the volume's notes are of, compressed when its name
/// ends in ".gz". The caller checks that it is complete. Throws `OutputError` with the reason alone.
void writeNiftiVolume(Volume const& volume, std::filesystem::path const& path);

}  // namespace lorb::tools
