// Floating-point voxels of NIfTI files. The library beneath ITK reads all that is not finite as 0.
#pragma once

#include "tools/volume/VolumeSource.h"

#include <filesystem>
#include <optional>

namespace lorb::tools {

/// How the voxels of a NIfTI-1 file lie in it.
struct NiftiFloats {
  bool isDouble = false, swapped = false;
  std::uint64_t offset = 0;
  double slope = 1.0, intercept = 0.0;
};

/// Nothing for files of whole numbers, and for all that is no such file.
std::optional<NiftiFloats> niftiFloats(std::filesystem::path const& path);

/// Reads a region of volume `volume`, of the file's volumes of these extents, into `voxels`, of type float or
/// double, as ITK would but for what is not finite. Throws `InputError`.
void readNiftiFloats(std::filesystem::path const& path, NiftiFloats const& floats, Extents const& extents,
                     std::uint64_t volume, Region const& region, ImageDataset& voxels);

}  // namespace lorb::tools
