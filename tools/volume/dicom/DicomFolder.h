// The images among the files of a folder, and the series that they belong to.
#pragma once

#include "tools/volume/VolumeSource.h"
#include "tools/volume/dicom/attributes.h"

#include <filesystem>
#include <string>
#include <vector>

namespace lorb::tools::dicom {

/// A file with an image of one or several frames.
struct ImageFile {
  std::filesystem::path path;
  FileAttributes attributes;
};

/// The files of the series that is meant: in a folder the one that `choice.series` names, else the one of
/// most frames, which a notice then says beside the others; of a file of one frame its series in its folder,
/// and of a file of several frames that file alone. Throws `InputError` when there is no such series, and for
/// files that may be damaged slices: empty, not to be opened, or marked or named like DICOM files, but
/// without an image that can be read. With `choice.skipDamaged` those are left out with a notice. Files of
/// other kinds are passed over, and so are DICOM files that hold no image.
std::vector<ImageFile> chosenFiles(std::filesystem::path const& path, InputChoice const& choice,
                                   std::vector<std::string>& notices);

}  // namespace lorb::tools::dicom
