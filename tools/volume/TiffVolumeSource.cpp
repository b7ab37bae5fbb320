#include "tools/volume/TiffVolumeSource.h"

#include "tools/base/errors.h"
#include "tools/volume/imageJDescription.h"

#include <tiffio.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>
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
  std::uint32_t tileWidth = 0, tileHeight = 0;  ///< 0 where a page is stored by rows
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
  if (TIFFIsTiled(file) != 0) {
    TIFFGetField(file, TIFFTAG_TILEWIDTH, &shape.tileWidth);
    TIFFGetField(file, TIFFTAG_TILELENGTH, &shape.tileHeight);
  }
  return shape;
}

TypeID typeOf(PageShape const& shape) {
  bool const isSigned = shape.format == SAMPLEFORMAT_INT;
  if (shape.format == SAMPLEFORMAT_IEEEFP) {
    return shape.bits == 32 ? typeFloat : shape.bits == 64 ? typeDouble : typeNone;
  }
  if (!isSigned && shape.format != SAMPLEFORMAT_UINT && shape.format != SAMPLEFORMAT_VOID) return typeNone;
  switch (shape.bits) {
    case 1:
      return isSigned ? typeNone : typeUInt8;
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

/// The voxels of a row or a part of one, from how they are packed in the file.
void unpack(std::byte const* packed, std::byte* voxels, std::uint64_t count, unsigned bits) {
  if (bits != 1) {
    std::memcpy(voxels, packed, count * (bits / 8));
    return;
  }
  for (std::uint64_t k = 0; k < count; ++k) {
    voxels[k] = packed[k / 8] >> (7 - k % 8) & std::byte{1};
  }
}

/// Whether the strips or tiles of the page lie within a file of this length, as many rows as it has.
bool liesWithin(TIFF* file, std::uint64_t length) {
  std::uint32_t const count = TIFFIsTiled(file) != 0 ? TIFFNumberOfTiles(file) : TIFFNumberOfStrips(file);
  for (std::uint32_t k = 0; k < count; ++k) {
    std::uint64_t const offset = TIFFGetStrileOffset(file, k), bytes = TIFFGetStrileByteCount(file, k);
    if (offset == 0 || bytes == 0 || bytes > length || offset > length - bytes) return false;
  }
  return count > 0;
}

/// Millimetres that the page's resolution is told in; nothing when it is told in no unit of length. ImageJ
/// names the unit in its description.
std::optional<double> millimetresOfResolution(TIFF* file, std::optional<ImageJDescription> const& imageJ) {
  std::uint16_t unit = RESUNIT_NONE;
  TIFFGetFieldDefaulted(file, TIFFTAG_RESOLUTIONUNIT, &unit);
  if (unit == RESUNIT_INCH) return 25.4;
  if (unit == RESUNIT_CENTIMETER) return 10.0;
  return imageJ ? millimetresIn(imageJ->unit) : std::nullopt;
}

/// Millimetres a pixel; nothing where the file says nothing that makes sense.
std::optional<double> spacingOf(TIFF* file, std::uint32_t tag, std::optional<double> millimetres) {
  float perUnit = 0.0F;
  if (!millimetres || TIFFGetField(file, tag, &perUnit) == 0) return std::nullopt;
  double const spacing = *millimetres / static_cast<double>(perUnit);
  return std::isfinite(spacing) && spacing > 0.0 ? std::optional(spacing) : std::nullopt;
}

std::optional<ImageJDescription> imageJDescriptionOf(TIFF* file) {
  char const* text = nullptr;
  if (TIFFGetField(file, TIFFTAG_IMAGEDESCRIPTION, &text) == 0 || text == nullptr) return std::nullopt;
  return imageJDescription(text);
}

/// Which pages are slices of the chosen volume: `count` of them from `first` on, `step` apart.
struct PageChoice {
  std::uint64_t first = 0, step = 1, count = 1;
  bool has(std::uint64_t page) const {
    return page >= first && (page - first) % step == 0 && (page - first) / step < count;
  }
};

class TiffVolumeSource : public VolumeSource {
 public:
  TiffVolumeSource(std::filesystem::path path, InputChoice const& choice) : path_(std::move(path)) {
    files = {path_};
    std::error_code error;
    length_ = std::filesystem::file_size(path_, error);
    Complaints const complaints;
    File const file = open();
    shape_ = shapeOf(file.get());
    requireReadable();
    describe(file.get(), choice, countPages(file.get()));
  }

  VolumeHeader const& header() const override { return header_; }
  bool readsParts() const override { return false; }
  std::uint64_t workBytes(Region const&) const override { return blockBytes_; }

  std::unique_ptr<ImageDataset> read(Region const&) override {
    Complaints const complaints;
    File const file = open();
    auto voxels = makeVoxels(header_.type, header_.extents);
    auto* slice = static_cast<std::byte*>(dataOf(*voxels));
    std::uint64_t page = 0, slices = 0;
    do {
      if (!pages_.has(page++)) continue;
      if (shapeOf(file.get()) != shape_) refuseInput(path_, "is damaged");
      shape_.tileWidth > 0 ? readTiles(file.get(), slice) : readRows(file.get(), slice);
      slice += header_.extents[0] * header_.extents[1] * bytesOf(header_.type);
      ++slices;
    } while (slices < pages_.count && TIFFReadDirectory(file.get()) != 0);
    if (Complaints::any || slices < pages_.count) refuseInput(path_, "is damaged or incomplete");
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
    if (typeOf(shape_) == typeNone) {
      refuseInput(path_, "holds values of " + std::to_string(shape_.bits) +
                             (shape_.bits == 1 ? " bit" : " bits") +
                             "; expected single bits, integers of 8 to 64 bits, float or double");
    }
    constexpr std::uint32_t most = 1U << 30;
    if (shape_.width == 0 || shape_.height == 0 || shape_.width > most || shape_.height > most) {
      refuseInput(path_, "claims an impossible size of " + std::to_string(shape_.width) + " × " +
                             std::to_string(shape_.height) + " pixels");
    }
  }

  /// Checks all pages and returns how many there are.
  std::uint64_t countPages(TIFF* file) {
    std::uint64_t pages = 0;
    do {
      requireGood(file, pages);
      ++pages;
    } while (TIFFReadDirectory(file) != 0);
    if (Complaints::any) {
      refuseInput(path_, "is damaged or incomplete behind page " + std::to_string(pages - 1));
    }
    return pages;
  }

  void requireGood(TIFF* file, std::uint64_t page) {
    if (shapeOf(file) != shape_) {
      refuseInput(path_,
                  "has pages of different kinds: page " + std::to_string(page) + " is not like page 0");
    }
    if (!liesWithin(file, length_))
      refuseInput(path_, "is incomplete: page " + std::to_string(page) + " is cut");
    // Compressed rows shrink to a hundredth or so, not to nothing.
    constexpr std::uint64_t mostCompression = 10000;
    std::uint64_t const bytes = std::uint64_t{shape_.width} * shape_.height * shape_.bits / 8;
    if (bytes / mostCompression > length_) {
      refuseInput(path_, "is incomplete: its " + std::to_string(length_) + " bytes can't hold a page of " +
                             std::to_string(bytes));
    }
    bool const isTiled = shape_.tileWidth > 0;
    blockBytes_ = isTiled ? TIFFTileSize64(file) : TIFFScanlineSize64(file);
    std::uint64_t const least =
        isTiled ? packedBytes(shape_.tileWidth) * shape_.tileHeight : packedBytes(shape_.width);
    if (blockBytes_ == 0 || blockBytes_ != least)
      refuseInput(path_, "is damaged: page " + std::to_string(page) + " has no rows");
    // A tile may be larger than its page, but not by much.
    constexpr std::uint64_t smallTile = std::uint64_t{16} << 20;
    if (isTiled && blockBytes_ > std::max(smallTile, 2 * bytes)) {
      refuseInput(path_, "claims impossible tiles of " + std::to_string(shape_.tileWidth) + " × " +
                             std::to_string(shape_.tileHeight) + " pixels");
    }
  }

  /// Bytes in the file of a row of so many voxels.
  std::uint64_t packedBytes(std::uint64_t voxels) const { return (voxels * shape_.bits + 7) / 8; }

  void readRows(TIFF* file, std::byte* voxels) const {
    std::vector<std::byte> row(blockBytes_);
    std::uint64_t const rowBytes = shape_.width * bytesOf(header_.type);
    for (std::uint32_t y = 0; y < shape_.height; ++y, voxels += rowBytes) {
      if (TIFFReadScanline(file, row.data(), y) != 1) refuseInput(path_, "is damaged or incomplete");
      unpack(row.data(), voxels, shape_.width, shape_.bits);
    }
  }

  void readTiles(TIFF* file, std::byte* voxels) const {
    std::vector<std::byte> tile(blockBytes_);
    std::uint64_t const voxelBytes = bytesOf(header_.type);
    for (std::uint32_t y = 0; y < shape_.height; y += shape_.tileHeight) {
      for (std::uint32_t x = 0; x < shape_.width; x += shape_.tileWidth) {
        if (TIFFReadTile(file, tile.data(), x, y, 0, 0) < 0) refuseInput(path_, "is damaged or incomplete");
        std::uint32_t const columns = std::min(shape_.tileWidth, shape_.width - x);
        std::uint32_t const rows = std::min(shape_.tileHeight, shape_.height - y);
        for (std::uint32_t r = 0; r < rows; ++r) {
          std::byte* const out = voxels + (std::uint64_t{y + r} * shape_.width + x) * voxelBytes;
          unpack(tile.data() + r * packedBytes(shape_.tileWidth), out, columns, shape_.bits);
        }
      }
    }
  }

  /// How ImageJ has arranged the pages; nothing when it has not, or not these.
  std::optional<ImageJDescription> arrangementOf(TIFF* file, std::uint64_t pages) {
    auto imageJ = imageJDescriptionOf(file);
    if (!imageJ) return std::nullopt;
    if (pages == 1 && imageJ->images > 1) {
      refuseInput(path_,
                  "keeps " + std::to_string(imageJ->images) +
                      " images behind a single page, as ImageJ does with more than 4 GiB; expected a page "
                      "for each");
    }
    if (imageJ->images != pages || pages % (imageJ->channels * imageJ->frames) != 0) {
      notices.push_back(path_.string() + ": ImageJ tells of " + std::to_string(imageJ->images) +
                        " images in " + std::to_string(imageJ->channels) + " channels and " +
                        std::to_string(imageJ->frames) + " frames, but there are " + std::to_string(pages) +
                        " pages, which are taken as slices");
      imageJ->channels = imageJ->frames = 1;
    }
    if (imageJ->calibratesValues) {
      notices.push_back(path_.string() + ": ImageJ calibrates the values; they are taken as they are stored");
    }
    return imageJ;
  }

  void describe(TIFF* file, InputChoice const& choice, std::uint64_t pages) {
    TIFFSetDirectory(file, 0);
    auto const imageJ = arrangementOf(file, pages);
    std::uint64_t const channels = imageJ ? imageJ->channels : 1, frames = imageJ ? imageJ->frames : 1;
    volumes = channels * frames;
    std::uint64_t const volume = chosenVolume(volumes, choice, path_);
    std::uint64_t const slices = pages / (channels * frames);
    pages_ = {volume % channels + volume / channels * channels * slices, channels, slices};
    header_.type = typeOf(shape_);
    header_.extents = {shape_.width, shape_.height, slices};
    auto const millimetres = millimetresOfResolution(file, imageJ);
    auto const depthUnit =
        imageJ && !imageJ->depthUnit.empty() ? millimetresIn(imageJ->depthUnit) : millimetres;
    std::array<std::optional<double>, 3> spacing = {spacingOf(file, TIFFTAG_XRESOLUTION, millimetres),
                                                    spacingOf(file, TIFFTAG_YRESOLUTION, millimetres)};
    if (imageJ && imageJ->spacing && depthUnit) spacing[2] = *imageJ->spacing * *depthUnit;
    for (std::size_t axis = 0; axis < 3; ++axis) {
      header_.geometry.spacing[axis] = spacing[axis].value_or(1.0);
      header_.spacingKnown[axis] = spacing[axis].has_value();
    }
    header_.inPatient = false;
  }

  std::filesystem::path path_;
  std::uint64_t length_ = 0, blockBytes_ = 0;
  PageShape shape_;
  PageChoice pages_;
  VolumeHeader header_;
};

}  // namespace

std::unique_ptr<VolumeSource> openTiffVolume(std::filesystem::path const& path, InputChoice const& choice) {
  return std::make_unique<TiffVolumeSource>(path, choice);
}

}  // namespace lorb::tools
