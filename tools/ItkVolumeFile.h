// NIfTI, MetaImage and NRRD files, through ITK.
#pragma once

#include "tools/VolumeFile.h"

namespace lorb::tools {

/// Reads a file of the given format. Throws `InputError` naming the file.
Volume readItkVolume(std::filesystem::path const& path, FileFormat format);

/// Writes a file of the given format, in place, with what else that needs beside it for a while. The caller
/// checks that it is complete. Throws `OutputError` with the reason alone.
void writeItkVolume(Volume const& volume, std::filesystem::path const& path, FileFormat format);

}  // namespace lorb::tools
