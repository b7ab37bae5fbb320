// The formats that the tool knows, and the names by which it knows them.
#pragma once

#include "tools/volume/VolumeFormat.h"

#include <filesystem>
#include <functional>
#include <span>
#include <string>

namespace lorb::tools {

#ifdef LORB_TOOLS_WITH_VTI
#define LORB_VTI_FORMAT(X) X(vti)
#else
#define LORB_VTI_FORMAT(X)
#endif

/// A format is a line here and a file that defines its row, such as `metaImageFormat`.
#define LORB_FOR_EACH_FORMAT(X) \
  X(nifti)                      \
  X(metaImage)                  \
  X(nrrd)                       \
  X(legacyVtk)                  \
  LORB_VTI_FORMAT(X)            \
  X(tiff)                       \
  X(png)                        \
  X(dicom)

#define LORB_DECLARE_FORMAT(format) extern VolumeFormat const format##Format;
LORB_FOR_EACH_FORMAT(LORB_DECLARE_FORMAT)
#undef LORB_DECLARE_FORMAT

/// All formats, in the order of the list.
std::span<VolumeFormat const* const> formats();

/// What is written to standard output.
inline VolumeFormat const& standardOutputFormat() {
  return nrrdFormat;
}

/// The format that the name's extension stands for, in capital letters or not; null for all others.
VolumeFormat const* formatOf(std::filesystem::path const& path);

/// The extension that names the format, ".nii.gz" for one; empty when the name has none of the known ones.
std::string extensionOf(std::filesystem::path const& path);

/// The extension with which a volume is written in one file, ".mha" for ".mhd"; empty where it is not.
std::string oneFileExtensionOf(std::filesystem::path const& path);

/// Whether a file of this name gets compressed voxels by a level of compression.
bool isCompressed(std::filesystem::path const& path, int compression);

/// The known extensions in one line: ".nii, .nii.gz, …"; of all, or of those alone that can be written.
std::string readableExtensions();
std::string writableExtensions();

/// The names of some formats in one line: "NIfTI, MetaImage or NRRD".
std::string namesOf(std::function<bool(VolumeFormat const&)> const& belongs);

}  // namespace lorb::tools
