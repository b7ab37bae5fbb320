// One PNG file, read through libpng without its messages.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>

namespace lorb::tools {

/// What the header of a PNG file says.
struct PngHeader {
  std::uint32_t width = 0, height = 0;
  int bits = 0, colourType = 0;
  std::uint32_t perMetreX = 0, perMetreY = 0;  ///< pixels; 0 where no length is told

  bool isLike(PngHeader const& other) const {
    return width == other.width && height == other.height && bits == other.bits &&
           colourType == other.colourType;
  }
};

class PngFile {
 public:
  /// Opens a file and reads its header. Throws `InputError` for what is no PNG file.
  explicit PngFile(std::filesystem::path path);
  ~PngFile();
  PngFile(PngFile const&) = delete;
  PngFile& operator=(PngFile const&) = delete;

  PngHeader const& header() const { return header_; }

  /// Reads the pixels of a grey image, once: bytes, or of 16 bits the numbers as this machine has them.
  /// Throws `InputError` when the file is damaged or incomplete.
  void read(std::byte* pixels);

 private:
  struct Reader;

  std::filesystem::path path_;
  std::unique_ptr<Reader> reader_;
  PngHeader header_;
};

}  // namespace lorb::tools
