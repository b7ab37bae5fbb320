// Where a file keeps its voxels, and how.
#pragma once

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

}  // namespace lorb::tools
