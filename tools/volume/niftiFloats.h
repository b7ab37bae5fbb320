// Voxels of NIfTI files. The library beneath ITK reads all that is not finite as 0, and so what it can't
// read.
#pragma once

#include "tools/volume/VolumeSource.h"

#include <filesystem>
#include <optional>

namespace lorb::tools {

/// How the voxels of a NIfTI-1 file lie in it.
struct NiftiFloats {
  TypeID stored = typeNone;
  bool swapped = false;
  std::uint64_t offset = 0;
  double slope = 1.0, intercept = 0.0;
};

/// Nothing for files of other elements than numbers, and for all that is no such file.
std::optional<NiftiFloats> niftiFloats(std::filesystem::path const& path);

/// Reads a region of volume `volume`, of the file's volumes of these extents, into `voxels`, as ITK would
/// but for what is not finite and what can't be read. Throws `InputError`.
void readNiftiFloats(std::filesystem::path const& path, NiftiFloats const& floats, Extents const& extents,
                     std::uint64_t volume, Region const& region, ImageDataset& voxels);

}  // namespace lorb::tools
