// MetaImage, NRRD and legacy VTK files, written through ITK.
#pragma once

#include "tools/volume/itkImageIO.h"

#include <filesystem>

namespace lorb::tools {

/// Writes a file of the given format, in place. The caller checks that it is complete. Throws `OutputError`
/// with the reason alone.
void writeItkVolume(Volume const& volume, std::filesystem::path const& path, ItkFormat const& format);

/// The same for the row of a format.
template <ItkFormat const& format>
void writeItkVolume(Volume const& volume, std::filesystem::path const& path) {
  writeItkVolume(volume, path, format);
}

/// Writes `voxels` to their place in an uncompressed file of single-precision numbers, which the
/// first call makes. Throws `OutputError` with the reason alone.
void writeItkRegion(TImageDataset<float, 3> const& voxels, Region const& region, VolumeHeader const& whole,
                    std::filesystem::path const& path, ItkFormat const& format);

}  // namespace lorb::tools
