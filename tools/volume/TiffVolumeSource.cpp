#include "tools/volume/TiffVolumeSource.h"

#include "tools/base/errors.h"

#include <tiffio.h>

#include <cmath>
#include <cstddef>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

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
  std::uint16_t bits = 1, samples = 1, format = SAMPLEFORMAT_UINT, colours = PHOTOMETRIC_MINISBLACK;
  bool tiled = false;
  bool operator==(PageShape const&) const = default;
};

PageShape shapeOf(TIFF* file) {
  PageShape shape;
  TIFFGetField(file, TIFFTAG_IMAGEWIDTH, &shape.width);
  TIFFGetField(file, TIFFTAG_IMAGELENGTH, &shape.height);
  TIFFGetFieldDefaulted(file, TIFFTAG_BITSPERSAMPLE, &shape.bits);
  TIFFGetFieldDefaulted(file, TIFFTAG_SAMPLESPERPIXEL, &shape.samples);
  TIFFGetFieldDefaulted(file, TIFFTAG_SAMPLEFORMAT, &shape.format);
  TIFFGetField(file, TIFFTAG_PHOTOMETRIC, &shape.colours);
  shape.tiled = TIFFIsTiled(file) != 0;
  return shape;
}

TypeID typeOf(PageShape const& shape) {
  bool const isSigned = shape.format == SAMPLEFORMAT_INT;
  if (shape.format == SAMPLEFORMAT_IEEEFP) {
    return shape.bits == 32 ? typeFloat : shape.bits == 64 ? typeDouble : typeNone;
  }
  if (!isSigned && shape.format != SAMPLEFORMAT_UINT && shape.format != SAMPLEFORMAT_VOID) return typeNone;
  switch (shape.bits) {
    case 8:
      return isSigned ? typeInt8 : typeUInt8;
    case 16:
      return isSigned ? typeInt16 : typeUInt16;
    case 32:
      return isSigned ? typeInt32 : typeUInt32;
    case 64:
      return isSigned ? typeInt64 : typeUInt64;
    default:
      return typeNone;
  }
}

/// Whether the strips of the page lie within a file of this length, as many rows as it has.
bool liesWithin(TIFF* file, std::uint64_t length) {
  std::uint32_t const count = TIFFNumberOfStrips(file);
  for (std::uint32_t k = 0; k < count; ++k) {
    std::uint64_t const offset = TIFFGetStrileOffset(file, k), bytes = TIFFGetStrileByteCount(file, k);
    if (offset == 0 || bytes == 0 || bytes > length || offset > length - bytes) return false;
  }
  return count > 0;
}

/// Millimetres a pixel; 1 where the file says nothing that makes sense.
double spacingOf(TIFF* file, std::uint32_t tag) {
  float perUnit = 0.0F;
  std::uint16_t unit = RESUNIT_NONE;
  TIFFGetFieldDefaulted(file, TIFFTAG_RESOLUTIONUNIT, &unit);
  if (unit == RESUNIT_NONE || TIFFGetField(file, tag, &perUnit) == 0) return 1.0;
  double const spacing = (unit == RESUNIT_INCH ? 25.4 : 10.0) / static_cast<double>(perUnit);
  return std::isfinite(spacing) && spacing > 0.0 ? spacing : 1.0;
}

class TiffVolumeSource : public VolumeSource {
 public:
  explicit TiffVolumeSource(std::filesystem::path path) : path_(std::move(path)) {
    files = {path_};
    std::error_code error;
    length_ = std::filesystem::file_size(path_, error);
    Complaints const complaints;
    File const file = open();
    shape_ = shapeOf(file.get());
    requireReadable();
    std::uint64_t pages = 0;
    do {
      requireGood(file.get(), pages);
      ++pages;
    } while (TIFFReadDirectory(file.get()) != 0);
    if (Complaints::any) {
      refuseInput(path_, "is damaged or incomplete behind page " + std::to_string(pages - 1));
    }
    describe(pages);
  }

  VolumeHeader const& header() const override { return header_; }
  bool readsParts() const override { return false; }
  std::uint64_t workBytes(Region const&) const override { return 0; }

  std::unique_ptr<ImageDataset> read(Region const&) override {
    Complaints const complaints;
    File const file = open();
    auto voxels = makeVoxels(header_.type, header_.extents);
    auto* row = static_cast<std::byte*>(dataOf(*voxels));
    std::uint64_t const rowBytes = header_.extents[0] * bytesOf(header_.type);
    do {
      if (shapeOf(file.get()) != shape_ || TIFFScanlineSize64(file.get()) != rowBytes) {
        refuseInput(path_, "is damaged");
      }
      for (std::uint32_t y = 0; y < shape_.height; ++y, row += rowBytes) {
        if (TIFFReadScanline(file.get(), row, y) != 1) refuseInput(path_, "is damaged or incomplete");
      }
    } while (--pagesLeft_ > 0 && TIFFReadDirectory(file.get()) != 0);
    pagesLeft_ = header_.extents[2];
    return voxels;
  }

 private:
  File open() const {
    File file(TIFFOpen(path_.c_str(), "rm"));  // m: not mapped, so that a shrinking file is an error
    if (file == nullptr) refuseInput(path_, "is no TIFF file, or a damaged one");
    return file;
  }

  void requireReadable() const {
    if (shape_.samples != 1) {
      refuseInput(path_, "holds " + std::to_string(shape_.samples) + " values a voxel; expected 1");
    }
    if (shape_.colours != PHOTOMETRIC_MINISBLACK && shape_.colours != PHOTOMETRIC_MINISWHITE) {
      refuseInput(path_, "holds colours; expected grey values");
    }
    if (typeOf(shape_) == typeNone || shape_.tiled) {
      refuseInput(path_, "holds values of " + std::to_string(shape_.bits) + " bits" +
                             (shape_.tiled ? " in tiles" : "") +
                             "; expected rows of integers of 8 to 64 bits, float or double");
    }
    constexpr std::uint32_t most = 1U << 30;
    if (shape_.width == 0 || shape_.height == 0 || shape_.width > most || shape_.height > most) {
      refuseInput(path_, "claims an impossible size of " + std::to_string(shape_.width) + " × " +
                             std::to_string(shape_.height) + " pixels");
    }
  }

  void requireGood(TIFF* file, std::uint64_t page) const {
    if (shapeOf(file) != shape_) {
      refuseInput(path_,
                  "has pages of different kinds: page " + std::to_string(page) + " is not like page 0");
    }
    if (!liesWithin(file, length_))
      refuseInput(path_, "is incomplete: page " + std::to_string(page) + " is cut");
    // Compressed rows shrink to a hundredth or so, not to nothing.
    constexpr std::uint64_t mostCompression = 10000;
    std::uint64_t const bytes = std::uint64_t{shape_.width} * shape_.height * (shape_.bits / 8U);
    if (bytes / mostCompression > length_) {
      refuseInput(path_, "is incomplete: its " + std::to_string(length_) + " bytes can't hold a page of " +
                             std::to_string(bytes));
    }
  }

  void describe(std::uint64_t pages) {
    File const file = open();
    header_.type = typeOf(shape_);
    header_.extents = {shape_.width, shape_.height, pages};
    header_.geometry.spacing = {spacingOf(file.get(), TIFFTAG_XRESOLUTION),
                                spacingOf(file.get(), TIFFTAG_YRESOLUTION), 1.0};
    header_.inPatient = false;
    pagesLeft_ = pages;
  }

  std::filesystem::path path_;
  std::uint64_t length_ = 0, pagesLeft_ = 0;
  PageShape shape_;
  VolumeHeader header_;
};

}  // namespace

std::unique_ptr<VolumeSource> openTiffVolume(std::filesystem::path const& path) {
  return std::make_unique<TiffVolumeSource>(path);
}

}  // namespace lorb::tools
