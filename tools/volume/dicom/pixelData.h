// Whether the pixel data of a DICOM file are all there, told without decoding them.
#pragma once

#include "tools/volume/dicom/attributes.h"

#include <cstdint>
#include <filesystem>

namespace lorb::tools::dicom {

/// Completes what is known of a file, whose pixel data begin at `offset` where they can be read without GDCM:
/// sets `pixelOffset`, and `damage` when pixel data are missing, shorter than the header says, or compressed
/// frames that end before their end. Pixel data that only GDCM can find are not judged.
void examinePixelData(std::filesystem::path const& path, std::uint64_t offset, FileAttributes& attributes);

/// Whether pixel data of this transfer syntax are compressed frame by frame.
bool isEncapsulated(std::string const& transferSyntax);

/// Whether elements of several bytes have their highest byte first.
bool isBigEndian(std::string const& transferSyntax);

/// Whether pixel data are plain elements, one after the other. Bytes in words of big-endian order are not.
bool isPlain(std::string const& transferSyntax, int allocatedBits);

}  // namespace lorb::tools::dicom
