#include "tools/tiffFile.h"

#include <tiffio.h>

#include <memory>
#include <string_view>
#include <system_error>

namespace lorb::tools {
namespace {

struct Closer {
  void operator()(TIFF* file) const { TIFFClose(file); }
};
using File = std::unique_ptr<TIFF, Closer>;

/// libtiff's own messages are for no one; that there was one is all that counts.
class Complaints {
 public:
  Complaints() : error_(TIFFSetErrorHandler(&note)), warning_(TIFFSetWarningHandler(&noteCut)) {
    any = false;
  }
  ~Complaints() {
    TIFFSetErrorHandler(error_);
    TIFFSetWarningHandler(warning_);
  }
  Complaints(Complaints const&) = delete;
  Complaints& operator=(Complaints const&) = delete;

  static inline bool any = false;

 private:
  static void note(char const*, char const*, va_list) { any = true; }
  /// Warnings are mostly of tags that libtiff does not know; one is of tags that the file does not hold.
  static void noteCut(char const*, char const* format, va_list) {
    if (std::string_view(format).find("IO error") != std::string_view::npos) any = true;
  }
  TIFFErrorHandler error_, warning_;
};

struct PageShape {
  std::uint32_t width = 0, height = 0;
  std::uint16_t bits = 1, samples = 1;
  bool operator==(PageShape const&) const = default;
};

PageShape shapeOf(TIFF* file) {
  PageShape shape;
  TIFFGetField(file, TIFFTAG_IMAGEWIDTH, &shape.width);
  TIFFGetField(file, TIFFTAG_IMAGELENGTH, &shape.height);
  TIFFGetFieldDefaulted(file, TIFFTAG_BITSPERSAMPLE, &shape.bits);
  TIFFGetFieldDefaulted(file, TIFFTAG_SAMPLESPERPIXEL, &shape.samples);
  return shape;
}

bool lieWithin(TIFF* file, std::uint64_t length) {
  bool const tiled = TIFFIsTiled(file) != 0;
  std::uint32_t const count = tiled ? TIFFNumberOfTiles(file) : TIFFNumberOfStrips(file);
  for (std::uint32_t k = 0; k < count; ++k) {
    std::uint64_t const offset = TIFFGetStrileOffset(file, k), bytes = TIFFGetStrileByteCount(file, k);
    if (offset == 0 || bytes == 0 || bytes > length || offset > length - bytes) return false;
  }
  return count > 0;
}

}  // namespace

std::optional<std::string> complaintAboutTiff(std::filesystem::path const& path) {
  std::error_code error;
  std::uint64_t const length = std::filesystem::file_size(path, error);
  if (error) return error.message();
  Complaints const complaints;
  File const file(TIFFOpen(path.c_str(), "rm"));  // m: not mapped, so that a shrinking file is an error
  if (file == nullptr) return "is no TIFF file, or a damaged one";
  PageShape const first = shapeOf(file.get());
  std::uint64_t page = 0;
  do {
    if (!lieWithin(file.get(), length)) return "is incomplete: page " + std::to_string(page) + " is cut";
    if (shapeOf(file.get()) != first) {
      return "has pages of different kinds: page " + std::to_string(page) + " is not like page 0";
    }
    ++page;
  } while (TIFFReadDirectory(file.get()) != 0);
  if (Complaints::any) return "is damaged or incomplete behind page " + std::to_string(page - 1);
  return std::nullopt;
}

}  // namespace lorb::tools
