// TIFF files whose pages are slices.
#pragma once

#include "tools/volume/VolumeSource.h"

#include <filesystem>
#include <memory>

namespace lorb::tools {

/// Opens a file of pages that are alike, of one integer of 8 to 64 bits, float or double a pixel. In-plane
/// spacing is that of the resolution in the file, in millimetres; slices lie 1 apart. Throws `InputError`
/// naming the file. ITK's reader, which also takes what is missing for 0 and reads beyond texts, is not used.
std::unique_ptr<VolumeSource> openTiffVolume(std::filesystem::path const& path);

}  // namespace lorb::tools
