// Whether a run-length coded frame holds all of its pixels.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace lorb::tools::dicom {

/// Whether each of the segments that a frame of DICOM's RLE consists of gives a byte for each of `pixels`
/// pixels before it ends. GDCM completes those that do not. Linear in the size of the frame.
bool isWholeRunLengthFrame(std::span<std::byte const> frame, std::uint64_t pixels);

}  // namespace lorb::tools::dicom
