#include "tools/volume/PngVolumeSource.h"

#include "tests/tools/TemporaryFolder.h"
#include "tools/base/errors.h"
#include "tools/volume/VolumeFile.h"

#include <gtest/gtest.h>
#include <png.h>

#include <array>
#include <cstdio>

namespace lorb::tools {
namespace {

namespace fs = std::filesystem;

struct Picture {
  std::uint32_t width = 13, height = 7;
  int bits = 8, colourType = PNG_COLOR_TYPE_GRAY, interlace = PNG_INTERLACE_NONE;
  std::uint32_t perMetreX = 0, perMetreY = 0;
};

unsigned valueAt(Picture const& picture, std::uint32_t x, std::uint32_t y, unsigned number) {
  return (x * 1103 + y * 4099 + number * 777) & ((1U << picture.bits) - 1);
}

/// The bytes of a row, with as many values a pixel as the colour type has.
std::string rowOf(Picture const& picture, std::uint32_t y, unsigned number, unsigned channels) {
  auto const bits = static_cast<unsigned>(picture.bits);
  std::string row((picture.width * channels * bits + 7) / 8, '\0');
  for (std::uint32_t k = 0; k < picture.width * channels; ++k) {
    unsigned const value = valueAt(picture, k / channels, y, number);
    if (bits == 16) {
      row[2 * k] = static_cast<char>(value >> 8);
      row[2 * k + 1] = static_cast<char>(value);
    } else {
      row[k * bits / 8] = static_cast<char>(static_cast<unsigned char>(row[k * bits / 8]) |
                                            (value << (8 - bits - k * bits % 8)));
    }
  }
  return row;
}

void writePng(fs::path const& path, Picture const& picture, unsigned number = 0) {
  std::FILE* const file = std::fopen(path.c_str(), "wb");
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  png_init_io(png, file);
  png_set_IHDR(png, info, picture.width, picture.height, picture.bits, picture.colourType, picture.interlace,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_color const colours[256] = {};
  if (picture.colourType == PNG_COLOR_TYPE_PALETTE) png_set_PLTE(png, info, colours, 256);
  if (picture.perMetreX > 0)
    png_set_pHYs(png, info, picture.perMetreX, picture.perMetreY, PNG_RESOLUTION_METER);
  png_write_info(png, info);
  std::vector<std::string> rows;
  for (std::uint32_t y = 0; y < picture.height; ++y)
    rows.push_back(rowOf(picture, y, number, png_get_channels(png, info)));
  std::vector<png_bytep> pointers;
  for (std::string& row : rows) pointers.push_back(reinterpret_cast<png_bytep>(row.data()));
  png_write_image(png, pointers.data());
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  std::fclose(file);
}

template <class T>
void expectSlices(fs::path const& path, Picture const& picture, std::vector<unsigned> const& numbers) {
  Volume const volume = readVolume(path);
  ASSERT_EQ(volume.voxels->type_id(), typeIDOf<T>);
  ASSERT_EQ(extentsOf(*volume.voxels), (Extents{picture.width, picture.height, numbers.size()}));
  auto const& voxels = static_cast<TImageDataset<T, 3> const&>(*volume.voxels);
  for (std::uint32_t z = 0; z < numbers.size(); ++z) {
    for (std::uint32_t y = 0; y < picture.height; ++y) {
      for (std::uint32_t x = 0; x < picture.width; ++x) {
        ASSERT_EQ(voxels(x, y, z), T(valueAt(picture, x, y, numbers[z]))) << x << ' ' << y << ' ' << z;
      }
    }
  }
}

std::string complaintOf(fs::path const& path) try {
  readVolume(path);
  return "read without complaint";
} catch (InputError const& error) {
  return error.what();
}

void expectSays(std::string const& line, std::string const& part) {
  EXPECT_NE(line.find(part), std::string::npos) << "'" << line << "' does not say '" << part << "'";
}

TEST(PngVolume, HoldsTheStoredGreyValuesOfEveryDepth) {
  TemporaryFolder const folder;
  for (int const interlace : {PNG_INTERLACE_NONE, PNG_INTERLACE_ADAM7}) {
    for (int const bits : {1, 2, 4, 8, 16}) {
      Picture const picture{.bits = bits, .interlace = interlace};
      writePng(folder / "a.PNG", picture);
      if (bits == 16) {
        expectSlices<unsigned short>(folder / "a.PNG", picture, {0});
      } else {
        expectSlices<unsigned char>(folder / "a.PNG", picture, {0});
      }
    }
  }
}

TEST(PngVolume, TakesItsSpacingFromTheFile) {
  TemporaryFolder const folder;
  writePng(folder / "a.png", {.perMetreX = 2000, .perMetreY = 4000});
  EXPECT_EQ(openVolume(folder / "a.png")->header().geometry.spacing, (Vector3{0.5, 0.25, 1}));
  EXPECT_EQ(openVolume(folder / "a.png")->header().spacingKnown, (std::array{true, true, false}));
  writePng(folder / "a.png", {});
  EXPECT_EQ(openVolume(folder / "a.png")->header().geometry.spacing, (Vector3{1, 1, 1}));
  EXPECT_EQ(openVolume(folder / "a.png")->header().spacingKnown, (std::array{false, false, false}));
  EXPECT_FALSE(openVolume(folder / "a.png")->header().inPatient);
}

TEST(PngVolume, IsAFolderOfSlicesInTheOrderOfTheirNumbers) {
  TemporaryFolder const folder;
  fs::path const stack = folder / "stack";
  fs::create_directory(stack);
  Picture const picture;
  writePng(stack / "slice2.png", picture, 2);
  writePng(stack / "slice10.png", picture, 10);
  writePng(stack / "slice001.png", picture, 1);
  writePng(stack / "b.png", picture, 0);
  writeContent(stack / ".hidden", "");
  expectSlices<unsigned char>(stack, picture, {0, 1, 2, 10});
  EXPECT_EQ(openVolume(stack)->files.size(), 4U);

  writePng(stack / "slice11.png", {.width = 14});
  expectSays(complaintOf(stack), "slice11.png: is of another size or kind than b.png");
  fs::remove(stack / "slice11.png");
  writeContent(stack / "notes.txt", "no slice");
  EXPECT_NE(complaintOf(stack), "read without complaint");
}

TEST(PngVolume, SaysWhatItDoesNotTakeOfColours) {
  TemporaryFolder const folder;
  fs::path const path = folder / "a.png";
  writePng(path, {.colourType = PNG_COLOR_TYPE_RGB});
  expectSays(complaintOf(path), "a.png: holds colours; expected one grey value a pixel");
  writePng(path, {.colourType = PNG_COLOR_TYPE_RGB_ALPHA});
  expectSays(complaintOf(path), "holds colours; expected");
  writePng(path, {.colourType = PNG_COLOR_TYPE_PALETTE});
  expectSays(complaintOf(path), "holds colours of a palette; expected");
  writePng(path, {.colourType = PNG_COLOR_TYPE_GRAY_ALPHA});
  expectSays(complaintOf(path), "holds grey values with transparency; expected");
}

TEST(PngVolume, DamagedFilesAreRefused) {
  TemporaryFolder const folder;
  writePng(folder / "a.png", {.width = 300, .height = 200});
  std::string const whole = contentOf(folder / "a.png");
  for (std::size_t const left :
       {whole.size() - 1, whole.size() - 13, whole.size() / 2, std::size_t(40), std::size_t(5)}) {
    writeContent(folder / "b.png", whole.substr(0, left));
    EXPECT_NE(complaintOf(folder / "b.png"), "read without complaint") << left;
  }
  std::string changed = whole;
  changed[whole.size() / 2] = static_cast<char>(changed[whole.size() / 2] ^ 1);
  writeContent(folder / "b.png", changed);
  expectSays(complaintOf(folder / "b.png"), "is damaged or incomplete");
  writeContent(folder / "b.png", "no picture");
  expectSays(complaintOf(folder / "b.png"), "is no PNG file, or a damaged one");
}

TEST(PngVolume, RefusesSizesThatItsBytesCannotHold) {
  TemporaryFolder const folder;
  writePng(folder / "a.png", {.width = 30000, .height = 1});
  std::string header = contentOf(folder / "a.png").substr(0, 33);
  // The height, and the checksum of the chunk that holds it.
  header.replace(20, 4, std::string("\0\0\x75\x30", 4));
  auto const* const chunk = reinterpret_cast<png_const_bytep>(header.data() + 12);
  std::uint32_t crc = 0xffffffff;
  for (int k = 0; k < 17; ++k) {
    crc ^= chunk[k];
    for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (crc & 1 ? 0xedb88320 : 0);
  }
  crc = ~crc;
  for (int k = 0; k < 4; ++k)
    header[static_cast<std::size_t>(29 + k)] = static_cast<char>(crc >> (24 - 8 * k));
  writeContent(folder / "b.png", header + contentOf(folder / "a.png").substr(33));
  expectSays(complaintOf(folder / "b.png"), "can't hold 30000 × 30000 pixels");
}

}  // namespace
}  // namespace lorb::tools
