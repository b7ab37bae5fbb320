// TIFF files whose pages are slices.
#pragma once

#include "tools/volume/VolumeSource.h"

#include <filesystem>
#include <memory>

namespace lorb::tools {

/// Opens a file of pages that are alike, stored by rows or in tiles, of one bit, integer of 8 to 64 bits,
/// float or double a pixel. Values are those that are stored, also where they stand for white to black.
///
/// In-plane spacing is that of the resolution in the file, in millimetres. Slices lie 1 apart unless ImageJ
/// says how far; of its channels and frames, which are volumes of their own, `choice` picks one. Throws
/// `InputError` naming the file. ITK's reader, which also takes what is missing for 0 and reads beyond texts,
/// is not used.
std::unique_ptr<VolumeSource> openTiffVolume(std::filesystem::path const& path, InputChoice const& choice);

}  // namespace lorb::tools
