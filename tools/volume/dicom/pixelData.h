// Whether the pixel data of a DICOM file are all there, told without decoding them.
#pragma once

#include "tools/volume/dicom/attributes.h"

#include <cstdint>
#include <filesystem>

namespace lorb::tools::dicom {

/// Completes what is known of a file, whose pixel data begin at `offset` where they can be read without GDCM:
/// sets `pixelOffset`, and `damage` when pixel data are missing, shorter than the header says, or compressed
/// frames that end before their end marker. Pixel data that only GDCM can find are not judged.
void examinePixelData(std::filesystem::path const& path, std::uint64_t offset, FileAttributes& attributes);

/// Whether pixel data of this transfer syntax are compressed frame by frame.
bool isEncapsulated(std::string const& transferSyntax);

/// Whether they are plain elements in little-endian order.
bool isPlain(std::string const& transferSyntax);

}  // namespace lorb::tools::dicom
