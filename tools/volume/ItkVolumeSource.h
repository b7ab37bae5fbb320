// MetaImage, NRRD and legacy VTK files, through ITK.
#pragma once

#include "tools/volume/itkImageIO.h"

#include <filesystem>
#include <memory>

namespace lorb::tools {

/// Opens a file of the given format and reads its header, in a child process first. Throws `InputError` for
/// what is no such file and for headers on which ITK's reader fails.
itk::ImageIOBase::Pointer openAfterTrial(std::filesystem::path const& path, ItkFormat const& format);

/// Opens a file of the given format, which outlives the source. Throws `InputError` naming the file for what
/// is no such file, holds anything but one number a voxel, is shorter than its header says, or needs a choice
/// that was not made.
std::unique_ptr<VolumeSource> openItkVolume(std::filesystem::path const& path, InputChoice const& choice,
                                            ItkFormat const& format);

/// The same for the row of a format.
template <ItkFormat const& format>
std::unique_ptr<VolumeSource> openItkVolume(std::filesystem::path const& path, InputChoice const& choice) {
  return openItkVolume(path, choice, format);
}

}  // namespace lorb::tools
