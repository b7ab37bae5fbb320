// TIFF files of maps.
#pragma once

#include "tools/volume/Volume.h"

#include <filesystem>

namespace lorb::tools {

/// Writes a file whose pages are slices, compressed unless the level is 0, with the spacing within slices as
/// the resolution and that between them as ImageJ tells it. The caller checks that it is complete. Throws
/// `OutputError` with the reason alone.
void writeTiffVolume(Volume const& volume, std::filesystem::path const& path, int compression);

}  // namespace lorb::tools
