// Headers of MetaImage, NRRD and legacy VTK files, made by ITK.
#pragma once

#include "tools/volume/itkImageIO.h"

#include <filesystem>
#include <string>
#include <string_view>

namespace lorb::tools {

/// The header, up to the voxels, of an uncompressed file that holds one voxel in the place of `header`.
/// Leaves that file at `path`. Throws `OutputError` with the reason alone.
std::string itkHeadOfOneVoxel(std::filesystem::path const& path, VolumeHeader const& header,
                              ItkFormat const& format);

/// Replaces a line of such a header, which must be there.
void replaceLine(std::string& head, std::string_view line, std::string const& by);

/// "3 4 5"
std::string withBlanks(Extents const& extents);

}  // namespace lorb::tools
