// Where MetaImage and NRRD files keep their voxels, told from the lines of text they begin with.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

namespace lorb::tools {

/// What a header says of the data.
struct ImageData {
  std::filesystem::path file;  ///< the file that holds the voxels, often the header's own
  std::uint64_t offset = 0;    ///< where they begin in it
  bool compressed = false;     ///< zlib or gzip data
  bool plain = false;          ///< elements as in memory, once unfolded; otherwise nothing else is known
};

/// Reads the header of a MetaImage file. Nothing when it names no file or several ones for the voxels.
std::optional<ImageData> metaImageData(std::filesystem::path const& path);

/// Reads the header of an NRRD file. The voxels are plain when they follow it.
std::optional<ImageData> nrrdData(std::filesystem::path const& path);

}  // namespace lorb::tools
