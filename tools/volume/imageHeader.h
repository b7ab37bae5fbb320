// Where MetaImage, NRRD and legacy VTK files keep their voxels, told from the lines of text they begin with.
#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace lorb::tools {

/// How the voxels are put down: elements as in memory, the same as zlib or gzip data, numbers as text, or in
/// a way that only the reader knows.
enum class Coding { plain, compressed, text, other };

/// What a header says of the data.
struct ImageData {
  std::filesystem::path file;  ///< the file that holds the voxels, often the header's own
  std::uint64_t offset = 0;    ///< where they begin in it
  Coding coding = Coding::other;
  bool bigEndian = std::endian::native == std::endian::big;
  bool atEnd = false;  ///< whether they are the last bytes of the file instead, wherever they begin
  std::optional<std::string> compressedSize = std::nullopt;  ///< as a MetaImage header has it
};

/// Reads the header of a MetaImage file. Nothing when it names no file or several ones for the voxels.
std::optional<ImageData> metaImageData(std::filesystem::path const& path);

/// What is wrong with the numbers in the header of a MetaImage file; nothing when a reader may rely on them.
/// ITK's reader relies on all.
std::optional<std::string> complaintAboutMetaImage(std::filesystem::path const& path);

/// The same of an NRRD file, whose reader takes a spacing that is no number for 1.
std::optional<std::string> complaintAboutNrrd(std::filesystem::path const& path);

/// Reads the header of an NRRD file. Nothing when it names several files for the voxels.
std::optional<ImageData> nrrdData(std::filesystem::path const& path);

/// The three numbers that a legacy VTK file gives for "ORIGIN" or "SPACING"; nothing when it does not.
std::optional<std::array<double, 3>> vtkVector(std::filesystem::path const& path, std::string const& name);

/// Reads the header of a legacy VTK file.
ImageData vtkData(std::filesystem::path const& path);

}  // namespace lorb::tools
