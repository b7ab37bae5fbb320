// Pixel data that only GDCM can read: compressed, or in an unusual order of bytes.
#pragma once

#include "tools/volume/dicom/Frame.h"

#include <functional>
#include <span>

namespace lorb::tools::dicom {

/// Gets the elements of all frames of a file, one after the other.
using Decoded = std::function<void(std::span<std::byte const>)>;

/// Decodes the pixel data of the file of a frame. To be called in a child process: GDCM ends on some damaged
/// files, and what its libraries print is taken to tell of damage. Throws `InputError` for files that do not
/// hold all of what their header says.
void decodeFile(Frame const& frame, Decoded const& decoded);

}  // namespace lorb::tools::dicom
