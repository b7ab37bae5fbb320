// Maps of single volumes, joined into a map of four dimensions.
#pragma once

#include "tools/output/Targets.h"
#include "tools/volume/VolumeSource.h"

#include <filesystem>
#include <vector>

namespace lorb::tools {

/// Throws `OutputError` unless maps of this name can have four dimensions: NIfTI files.
void requireFourDimensions(std::filesystem::path const& target);

/// Makes a NIfTI file of the voxels of `parts`, uncompressed NIfTI files of floats of the same extents, one
/// after the other, in the place of `header`. It is read back and compared. Throws `OutputError`.
void joinVolumes(std::vector<std::filesystem::path> const& parts, VolumeHeader const& header,
                 StagedFile const& file);

}  // namespace lorb::tools
