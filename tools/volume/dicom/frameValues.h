// Reads the values of frames, straight from files without compression and otherwise through GDCM.
#pragma once

#include "tools/volume/dicom/Frame.h"

#include <cstddef>
#include <vector>

namespace lorb::tools::dicom {

/// Bytes of work memory that reading takes beside the result, at most.
std::uint64_t workBytesFor(std::vector<Frame> const& frames);

/// Writes the values of the frames one after the other, in a type from `valueTypeOf`. Throws `InputError`
/// naming the file when it is damaged or changed since its header was read.
void readValues(std::vector<Frame> const& frames, TypeID type, std::byte* values);

}  // namespace lorb::tools::dicom
