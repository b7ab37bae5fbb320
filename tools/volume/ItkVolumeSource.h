// MetaImage, NRRD, legacy VTK and single DICOM files, through ITK.
#pragma once

#include "tools/volume/FileFormat.h"
#include "tools/volume/VolumeSource.h"

#include <filesystem>
#include <memory>

namespace lorb::tools {

/// Opens a file of the given format. Throws `InputError` naming the file for what is no such file, holds
/// anything but one number a voxel, is shorter than its header says, or needs a choice that was not made.
std::unique_ptr<VolumeSource> openItkVolume(std::filesystem::path const& path, FileFormat format,
                                            InputChoice const& choice);

}  // namespace lorb::tools
