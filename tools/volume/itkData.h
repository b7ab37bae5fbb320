// Where files that ITK reads keep their voxels, so that what ITK does not check is checked.
#pragma once

#include "tools/volume/StoredVoxels.h"
#include "tools/volume/itkImageIO.h"

#include <filesystem>
#include <optional>
#include <vector>

namespace lorb::tools {

/// Throws `InputError` when the header of a file holds numbers that ITK's reader of the format would take as
/// they are and come to grief with, or names a data file that it would wait for or not find.
void requireSaneHeader(std::filesystem::path const& path, ItkFormat const& format);

/// How a file holds its voxels, but for their extents: by which ITK's reader, which misses errors of reading,
/// is not needed for them. Nothing where only that reader knows. Throws `InputError` when the file is shorter
/// than its header says.
std::optional<StoredVoxels> storedVoxels(itk::ImageIOBase const& io, std::filesystem::path const& path,
                                         ItkFormat const& format);

/// The files that such a file is read from: itself, and the one that its header names for the voxels.
std::vector<std::filesystem::path> filesOf(std::filesystem::path const& path, ItkFormat const& format);

}  // namespace lorb::tools
