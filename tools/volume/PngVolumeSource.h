// Grey PNG files: one is a slice, a folder of them a volume.
#pragma once

#include "tools/volume/VolumeSource.h"

#include <filesystem>
#include <memory>

namespace lorb::tools {

/// Whether a folder holds PNG files and nothing else, but for hidden files.
bool isFolderOfPngs(std::filesystem::path const& folder);

/// Opens a PNG file, or a folder of them that are alike, whose slices are in the order of their names,
/// numbers in these counting as numbers. Voxels are the grey values that are stored, of 1 to 8 bits as 8 and
/// of 16 bits as 16; the spacing within slices is that in the first file, in millimetres, or 1, that between
/// slices 1. Throws `InputError` naming the file.
std::unique_ptr<VolumeSource> openPngVolume(std::filesystem::path const& path, InputChoice const& choice);

}  // namespace lorb::tools
