#include "tools/volume/TiffVolumeWriter.h"

#include "tools/base/errors.h"
#include "tools/volume/imageJDescription.h"

#include <tiffio.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>

namespace lorb::tools {
namespace {

struct Closer {
  void operator()(TIFF* file) const { TIFFClose(file); }
};

std::uint16_t sampleFormatOf(TypeID type) {
  if (type == typeFloat || type == typeDouble) return SAMPLEFORMAT_IEEEFP;
  bool const isSigned = type == typeInt8 || type == typeInt16 || type == typeInt32 || type == typeInt64;
  return isSigned ? SAMPLEFORMAT_INT : SAMPLEFORMAT_UINT;
}

void describePage(TIFF* file, Volume const& volume, int compression) {
  constexpr double perCentimetre = 10.0;
  auto const [width, height, slices] = extentsOf(*volume.voxels);
  auto const [dx, dy, dz] = volume.geometry.spacing;
  TypeID const type = volume.voxels->type_id();
  TIFFSetField(file, TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(width));
  TIFFSetField(file, TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(height));
  TIFFSetField(file, TIFFTAG_BITSPERSAMPLE, static_cast<int>(8 * bytesOf(type)));
  TIFFSetField(file, TIFFTAG_SAMPLEFORMAT, static_cast<int>(sampleFormatOf(type)));
  TIFFSetField(file, TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(file, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
  TIFFSetField(file, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(file, TIFFTAG_COMPRESSION, compression > 0 ? COMPRESSION_ADOBE_DEFLATE : COMPRESSION_NONE);
  if (compression > 0) TIFFSetField(file, TIFFTAG_ZIPQUALITY, compression);
  TIFFSetField(file, TIFFTAG_RESOLUTIONUNIT, RESUNIT_CENTIMETER);
  TIFFSetField(file, TIFFTAG_XRESOLUTION, perCentimetre / dx);
  TIFFSetField(file, TIFFTAG_YRESOLUTION, perCentimetre / dy);
  // Rows that are compressed together.
  constexpr std::uint64_t stripBytes = 1 << 18;
  std::uint64_t const rows = std::max<std::uint64_t>(1, stripBytes / (width * bytesOf(type)));
  TIFFSetField(file, TIFFTAG_ROWSPERSTRIP, static_cast<std::uint32_t>(std::min(rows, height)));
}

}  // namespace

void writeTiffVolume(Volume const& volume, std::filesystem::path const& path, int compression) {
  // Without messages on standard error: the return values say enough.
  auto const errors = TIFFSetErrorHandler(nullptr);
  auto const [width, height, slices] = extentsOf(*volume.voxels);
  std::uint64_t const rowBytes = width * bytesOf(volume.voxels->type_id());
  constexpr std::uint64_t plainLimit = 0xF000'0000;  // offsets of plain TIFF have 32 bits
  bool const isLarge = rowBytes * height * slices > plainLimit;
  std::unique_ptr<TIFF, Closer> file(TIFFOpen(path.c_str(), isLarge ? "w8" : "w"));
  bool good = file != nullptr;
  auto const* row = static_cast<std::byte const*>(dataOf(*volume.voxels));
  for (std::uint64_t z = 0; good && z < slices; ++z) {
    describePage(file.get(), volume, compression);
    if (z == 0) {
      std::string const text = imageJText(slices, volume.geometry.spacing[2] / 10.0);
      TIFFSetField(file.get(), TIFFTAG_IMAGEDESCRIPTION, text.c_str());
    }
    for (std::uint32_t y = 0; good && y < height; ++y, row += rowBytes) {
      good = TIFFWriteScanline(file.get(), const_cast<std::byte*>(row), y, 0) == 1;
    }
    good = good && TIFFWriteDirectory(file.get()) == 1;
  }
  file.reset();
  TIFFSetErrorHandler(errors);
  if (!good) throw OutputError("could not be written in full; is the disk full?");
}

}  // namespace lorb::tools
