// TIFF files as scanners, ImageJ and others write them: tiles, single bits, spacing, several volumes.

#include "tests/tools/TemporaryFolder.h"
#include "tests/tools/sampleVolumes.h"
#include "tools/base/errors.h"
#include "tools/volume/VolumeFile.h"
#include "tools/volume/imageJDescription.h"

#include <gtest/gtest.h>
#include <tiffio.h>

#include <array>
#include <memory>

namespace lorb::tools {
namespace {

namespace fs = std::filesystem;

/// What a page is like, but for its pixels.
struct Page {
  std::uint32_t width = 37, height = 21;
  int bits = 8, format = SAMPLEFORMAT_UINT, compression = COMPRESSION_NONE, colours = PHOTOMETRIC_MINISBLACK;
  std::uint32_t tile = 0;  ///< side of tiles; 0 for rows
  std::string description = {};
  int resolutionUnit = RESUNIT_NONE;
  float perUnitX = 0, perUnitY = 0;
};

void describe(TIFF* file, Page const& page) {
  TIFFSetField(file, TIFFTAG_IMAGEWIDTH, page.width);
  TIFFSetField(file, TIFFTAG_IMAGELENGTH, page.height);
  TIFFSetField(file, TIFFTAG_BITSPERSAMPLE, page.bits);
  TIFFSetField(file, TIFFTAG_SAMPLEFORMAT, page.format);
  TIFFSetField(file, TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(file, TIFFTAG_PHOTOMETRIC, page.colours);
  TIFFSetField(file, TIFFTAG_COMPRESSION, page.compression);
  if (!page.description.empty()) TIFFSetField(file, TIFFTAG_IMAGEDESCRIPTION, page.description.c_str());
  TIFFSetField(file, TIFFTAG_RESOLUTIONUNIT, page.resolutionUnit);
  if (page.perUnitX > 0) TIFFSetField(file, TIFFTAG_XRESOLUTION, double(page.perUnitX));
  if (page.perUnitY > 0) TIFFSetField(file, TIFFTAG_YRESOLUTION, double(page.perUnitY));
  if (page.tile > 0) {
    TIFFSetField(file, TIFFTAG_TILEWIDTH, page.tile);
    TIFFSetField(file, TIFFTAG_TILELENGTH, page.tile);
  } else {
    TIFFSetField(file, TIFFTAG_ROWSPERSTRIP, 5);
  }
}

unsigned valueAt(Page const& page, std::uint32_t x, std::uint32_t y, unsigned number) {
  unsigned const value = (x * 31 + y * 17 + number * 7) ^ (x * y);
  return page.bits == 1 ? value % 3 == 0 : value % 256;
}

/// `columns` pixels from (x, y) on as they are packed in the file.
std::string packedRow(Page const& page, std::uint32_t x, std::uint32_t y, std::uint32_t columns,
                      unsigned number) {
  auto const bits = static_cast<std::uint32_t>(page.bits);
  std::string row((columns * bits + 7) / 8, '\0');
  for (std::uint32_t k = 0; k < columns; ++k) {
    unsigned const value = valueAt(page, x + k, y, number);
    if (bits == 1) {
      row[k / 8] = static_cast<char>(static_cast<unsigned char>(row[k / 8]) | (value << (7 - k % 8)));
    } else {
      row[k * bits / 8] = static_cast<char>(value);  // the lowest byte
    }
  }
  return row;
}

void writePages(fs::path const& path, Page const& page, unsigned count) {
  TIFF* const file = TIFFOpen(path.c_str(), "wl");
  ASSERT_NE(file, nullptr);
  for (unsigned number = 0; number < count; ++number) {
    describe(file, page);
    if (page.tile == 0) {
      for (std::uint32_t y = 0; y < page.height; ++y) {
        std::string row = packedRow(page, 0, y, page.width, number);
        ASSERT_EQ(TIFFWriteScanline(file, row.data(), y, 0), 1);
      }
    } else {
      for (std::uint32_t y = 0; y < page.height; y += page.tile) {
        for (std::uint32_t x = 0; x < page.width; x += page.tile) {
          std::string tile;
          for (std::uint32_t r = 0; r < page.tile; ++r) tile += packedRow(page, x, y + r, page.tile, number);
          ASSERT_GT(TIFFWriteTile(file, tile.data(), x, y, 0, 0), 0);
        }
      }
    }
    ASSERT_EQ(TIFFWriteDirectory(file), 1);
  }
  TIFFClose(file);
}

template <class T>
void expectPages(fs::path const& path, Page const& page, std::vector<unsigned> const& numbers,
                 InputChoice const& choice = {}) {
  Volume const volume = readVolume(path, choice);
  ASSERT_EQ(volume.voxels->type_id(), typeIDOf<T>);
  ASSERT_EQ(extentsOf(*volume.voxels), (Extents{page.width, page.height, numbers.size()}));
  auto const& voxels = static_cast<TImageDataset<T, 3> const&>(*volume.voxels);
  for (std::uint32_t z = 0; z < numbers.size(); ++z) {
    for (std::uint32_t y = 0; y < page.height; ++y) {
      for (std::uint32_t x = 0; x < page.width; ++x) {
        ASSERT_EQ(voxels(x, y, z), T(valueAt(page, x, y, numbers[z]))) << x << ' ' << y << ' ' << z;
      }
    }
  }
}

std::string complaintOf(fs::path const& path, InputChoice const& choice = {}) try {
  readVolume(path, choice);
  return "read without complaint";
} catch (InputError const& error) {
  return error.what();
}

void expectSays(std::string const& line, std::string const& part) {
  EXPECT_NE(line.find(part), std::string::npos) << "'" << line << "' does not say '" << part << "'";
}

TEST(TiffVolume, IsReadFromTiles) {
  TemporaryFolder const folder;
  for (int const compression : {COMPRESSION_NONE, COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE}) {
    for (std::uint32_t const tile : {16U, 32U, 64U}) {
      Page page{.compression = compression, .tile = tile};
      writePages(folder / "a.tif", page, 3);
      expectPages<unsigned char>(folder / "a.tif", page, {0, 1, 2});
      page.bits = 16;
      page.format = SAMPLEFORMAT_INT;
      writePages(folder / "a.tif", page, 2);
      expectPages<short>(folder / "a.tif", page, {0, 1});
    }
  }
}

TEST(TiffVolume, IsReadFromSingleBits) {
  TemporaryFolder const folder;
  for (int const compression : {COMPRESSION_NONE, COMPRESSION_CCITTFAX4, COMPRESSION_PACKBITS}) {
    for (std::uint32_t const tile : {0U, 16U}) {
      // Values are those that are stored, whether they stand for black or white.
      for (int const colours : {PHOTOMETRIC_MINISBLACK, PHOTOMETRIC_MINISWHITE}) {
        Page const page{.bits = 1, .compression = compression, .colours = colours, .tile = tile};
        writePages(folder / "a.tif", page, 3);
        expectPages<unsigned char>(folder / "a.tif", page, {0, 1, 2});
      }
    }
  }
}

TEST(TiffVolume, CutTilesAreIncomplete) {
  TemporaryFolder const folder;
  writePages(folder / "a.tif", {.compression = COMPRESSION_ADOBE_DEFLATE, .tile = 16}, 2);
  std::string const whole = contentOf(folder / "a.tif");
  for (std::size_t const left : {whole.size() - 1, whole.size() / 2, std::size_t(100)}) {
    writeContent(folder / "b.tif", whole.substr(0, left));
    EXPECT_THROW(readVolume(folder / "b.tif"), InputError) << left;
  }
  std::string damaged = whole;
  for (std::size_t k = 200; k < 300; ++k) damaged[k] = 'x';
  writeContent(folder / "b.tif", damaged);
  EXPECT_THROW(readVolume(folder / "b.tif"), InputError);
}

TEST(TiffVolume, RefusesTilesThatNoPageNeeds) {
  TemporaryFolder const folder;
  // Never written in full: the header alone is enough to be refused.
  TIFF* const file = TIFFOpen((folder / "a.tif").c_str(), "w");
  Page const page{.compression = COMPRESSION_ADOBE_DEFLATE, .tile = 1 << 20};
  describe(file, page);
  std::string some(1000, 'x');
  TIFFWriteRawTile(file, 0, some.data(), 1000);
  TIFFWriteDirectory(file);
  TIFFClose(file);
  expectSays(complaintOf(folder / "a.tif"), "impossible tiles of 1048576 × 1048576 pixels");
}

Vector3 spacingOf(fs::path const& path) {
  return openVolume(path)->header().geometry.spacing;
}

TEST(TiffVolume, TakesTheSpacingThatImageJTells) {
  TemporaryFolder const folder;
  fs::path const path = folder / "a.tif";
  auto const spacing = [&](std::string const& fields, int resolutionUnit = RESUNIT_NONE) {
    Page page{.resolutionUnit = resolutionUnit, .perUnitX = 2, .perUnitY = 4};
    page.description = "ImageJ=1.53t\nimages=3\nslices=3\n" + fields;
    writePages(path, page, 3);
    return spacingOf(path);
  };
  EXPECT_EQ(spacing("unit=mm\nspacing=2.5\n"), (Vector3{0.5, 0.25, 2.5}));
  EXPECT_EQ(spacing("unit=cm\nspacing=2.5\n", RESUNIT_CENTIMETER), (Vector3{5, 2.5, 25}));
  EXPECT_EQ(spacing("unit=inch\nspacing=1\n", RESUNIT_INCH), (Vector3{12.7, 6.35, 25.4}));
  Vector3 const microns = spacing("unit=micron\nspacing=3\n");
  EXPECT_NEAR(microns[0], 0.0005, 1e-12);
  EXPECT_NEAR(microns[2], 0.003, 1e-12);
  EXPECT_EQ(spacing("unit=pixel\nspacing=3\n"), (Vector3{1, 1, 1})) << "no length";
  EXPECT_EQ(spacing("spacing=3\n", RESUNIT_CENTIMETER), (Vector3{5, 2.5, 30})) << "the page has the unit";
  Page plain{.description = "spacing=3\nunit=mm",
             .resolutionUnit = RESUNIT_CENTIMETER,
             .perUnitX = 2,
             .perUnitY = 4};
  writePages(path, plain, 2);
  EXPECT_EQ(spacingOf(path), (Vector3{5, 2.5, 1})) << "not a text of ImageJ's";
  EXPECT_EQ(openVolume(path)->header().spacingKnown, (std::array{true, true, false}));
  writePages(path, {}, 2);
  EXPECT_EQ(openVolume(path)->header().spacingKnown, (std::array{false, false, false}));
}

TEST(TiffVolume, PicksAmongTheVolumesOfImageJ) {
  TemporaryFolder const folder;
  fs::path const path = folder / "a.tif";
  Page page;
  page.description = "ImageJ=1.53t\nimages=12\nchannels=2\nslices=3\nframes=2\nhyperstack=true\n";
  writePages(path, page, 12);
  expectSays(complaintOf(path), "holds 4 volumes; expected --volume K");
  expectPages<unsigned char>(path, page, {0, 2, 4}, {.volume = 0});
  expectPages<unsigned char>(path, page, {1, 3, 5}, {.volume = 1});
  expectPages<unsigned char>(path, page, {6, 8, 10}, {.volume = 2});
  expectPages<unsigned char>(path, page, {7, 9, 11}, {.volume = 3});
}

TEST(TiffVolume, NoticesThatImageJTellsOfOtherPages) {
  TemporaryFolder const folder;
  fs::path const path = folder / "a.tif";
  Page page;
  page.description = "ImageJ=1.53t\nimages=12\nchannels=2\nslices=3\nframes=2\n";
  writePages(path, page, 5);
  auto const source = openVolume(path);
  ASSERT_EQ(source->notices.size(), 1U);
  expectSays(source->notices[0], "tells of 12 images in 2 channels and 2 frames, but there are 5 pages");
  expectPages<unsigned char>(path, page, {0, 1, 2, 3, 4});
  page.description = "ImageJ=1.53t\nimages=12\nslices=12\n";
  writePages(path, page, 1);
  expectSays(complaintOf(path), "keeps 12 images behind a single page");
  page.description = "ImageJ=1.53t\nimages=2\nslices=2\nc0=-32768.0\nc1=1.0\n";
  writePages(path, page, 2);
  ASSERT_EQ(openVolume(path)->notices.size(), 1U);
  expectSays(openVolume(path)->notices[0], "taken as they are stored");
}

TEST(TiffVolume, IsWrittenWithTheSpacingBetweenSlices) {
  TemporaryFolder const folder;
  Volume volume = sampleVolume(typeFloat);
  volume.geometry = {};
  volume.geometry.spacing = {0.75, 0.3, 2.6};
  writeVolume(volume, folder / "a.tif", false);
  Vector3 const read = spacingOf(folder / "a.tif");
  for (std::size_t axis = 0; axis < 3; ++axis) EXPECT_NEAR(read[axis], volume.geometry.spacing[axis], 1e-7);
}

}  // namespace
}  // namespace lorb::tools
