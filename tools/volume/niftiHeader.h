// What ITK neither reads nor writes of NIfTI headers: it knows one placement where files have two, and
// turns codes into those of the scanner.
#pragma once

#include "tools/volume/Volume.h"

#include <filesystem>
#include <optional>
#include <string>

namespace lorb::tools {

/// Reads the notes of a NIfTI-1 file of either byte order, compressed or not. Nothing when the file is too
/// short to have any.
std::optional<NiftiNotes> niftiNotes(std::filesystem::path const& path);

/// What is wrong with the numbers that place the voxels of a NIfTI-1 file; nothing when ITK's reader may rely
/// on them.
std::optional<std::string> complaintAboutNifti(std::filesystem::path const& path);

/// Puts the notes into the header of `plain`, an uncompressed NIfTI-1 file in this machine's byte order.
/// Longer texts are cut to the fields' 79 and 23 bytes. Throws `OutputError` with the reason alone.
void setNiftiNotes(std::filesystem::path const& plain, NiftiNotes const& notes);

/// Writes the content of `plain` to `compressed` as gzip data. Throws `OutputError` with the reason alone.
void gzip(std::filesystem::path const& plain, std::filesystem::path const& compressed);

}  // namespace lorb::tools
