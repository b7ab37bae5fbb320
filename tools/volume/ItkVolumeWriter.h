// MetaImage, NRRD and legacy VTK files, written through ITK.
#pragma once

#include "tools/volume/FileFormat.h"
#include "tools/volume/VolumeSource.h"

#include <filesystem>

namespace lorb::tools {

/// Writes a file of the given format, in place. The caller checks that it is complete. Throws `OutputError`
/// with the reason alone.
void writeItkVolume(Volume const& volume, std::filesystem::path const& path, FileFormat format);

/// Writes `voxels` to their place in an uncompressed MetaImage file of single-precision numbers, which the
/// first call makes. Throws `OutputError` with the reason alone.
void writeItkRegion(TImageDataset<float, 3> const& voxels, Region const& region, VolumeHeader const& whole,
                    std::filesystem::path const& path);

}  // namespace lorb::tools
