// Volumes on standard input and output, by way of files, since readers seek and writers return.
#pragma once

#include "tools/volume/VolumeSource.h"

#include <filesystem>
#include <iosfwd>
#include <memory>

namespace lorb::tools {

/// Opens those standard streams that the process was started without, for the wrong direction: using them
/// then is an error, and no file that is opened later takes their place. To be called first of all.
void fillClosedStreams();

/// Whether a name on the command line stands for a standard stream: "-".
bool isStandardStream(std::filesystem::path const& path);

/// Reads standard input to its end into a temporary file and opens that as what it begins like: NRRD,
/// MetaImage or NIfTI. The file lives as long as the source. Throws `InputError`.
std::unique_ptr<VolumeSource> openStandardInput(InputChoice const& choice);

/// Throws `OutputError` when what was printed on `stream`, standard output, has not all arrived.
void requirePrinted(std::ostream& stream);

/// Copies a file to standard output. Throws `OutputError`.
void copyToStandardOutput(std::filesystem::path const& file);

}  // namespace lorb::tools
