// VTK image data files (.vti), through VTK's XML classes and the library's bridge.
#pragma once

#include "tools/volume/VolumeSource.h"

#include <filesystem>
#include <memory>

namespace lorb::tools {

/// Opens a file for its scalars of the points: the active ones, or the only array. Throws `InputError` naming
/// the file.
std::unique_ptr<VolumeSource> openVtiVolume(std::filesystem::path const& path);

/// Writes a file, in place, compressed unless the level is 0. The caller checks that it is complete. Throws
/// `OutputError` with the reason alone.
void writeVtiVolume(Volume const& volume, std::filesystem::path const& path, int compression);

}  // namespace lorb::tools
