// The attributes of a DICOM file as text, for its frames one by one, as GDCM finds them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace lorb::tools::dicom {

/// Group and element of an attribute, such as 0x00280010.
using Tag = std::uint32_t;

namespace tag {
inline constexpr Tag  //
    fileSopClass = 0x00020002,
    transferSyntax = 0x00020010, sopClass = 0x00080016, modality = 0x00080060, seriesDescription = 0x0008103e,
    sliceThickness = 0x00180050, spacingBetweenSlices = 0x00180088, imagerPixelSpacing = 0x00181164,
    seriesUid = 0x0020000e, instanceNumber = 0x00200013, imagePosition = 0x00200032,
    imageOrientation = 0x00200037, dimensionIndexPointer = 0x00209165, dimensionIndexValues = 0x00209157,
    temporalPosition = 0x00209128, samplesPerPixel = 0x00280002, photometric = 0x00280004,
    numberOfFrames = 0x00280008, rows = 0x00280010, columns = 0x00280011, pixelSpacing = 0x00280030,
    bitsAllocated = 0x00280100, bitsStored = 0x00280101, highBit = 0x00280102,
    pixelRepresentation = 0x00280103, rescaleIntercept = 0x00281052, rescaleSlope = 0x00281053,
    modalityLut = 0x00283000, gridFrameOffsets = 0x3004000c, doseGridScaling = 0x3004000e;
}  // namespace tag

/// Values as text, several joined by backslashes, without blanks around. Attributes that are missing or empty
/// have none.
using Attributes = std::map<Tag, std::string>;

struct FileAttributes {
  Attributes shared;               ///< of all frames; those of the root and of the shared functional groups
  std::vector<Attributes> frames;  ///< of each frame alone; empty without functional groups
  std::optional<std::string> damage;  ///< why the pixel data cannot be whole

  /// Where the value of the pixel data begins in the file; 0 where only GDCM can read it.
  std::uint64_t pixelOffset = 0;

  /// The value for a frame; empty when there is none.
  std::string const& of(std::size_t frame, Tag tag) const;
};

/// Reads the header of a file; nothing of files that are no DICOM files.
std::optional<FileAttributes> readAttributes(std::filesystem::path const& path);

/// To bytes and back.
std::vector<std::byte> packed(FileAttributes const& attributes);
FileAttributes unpacked(std::span<std::byte const> bytes);

}  // namespace lorb::tools::dicom
