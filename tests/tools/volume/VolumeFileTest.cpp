#include "tools/volume/VolumeFile.h"

#include "tests/tools/TemporaryFolder.h"
#include "tests/tools/sampleVolumes.h"
#include "tools/base/errors.h"
#include "tools/volume/formatTable.h"
#include "tools/volume/niftiHeader.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <iterator>
#include <map>
#include <sstream>

namespace lorb::tools {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> extensions() {
  std::vector<std::string> result;
  std::string const list = writableExtensions() + ",";
  for (std::size_t begin = 0, end; (end = list.find(',', begin)) != std::string::npos; begin = end + 2) {
    result.push_back(list.substr(begin, end - begin));
  }
  return result;
}

/// The line with which reading fails.
std::string complaintOf(fs::path const& path, InputChoice const& choice = {}) try {
  readVolume(path, choice);
  return "read without complaint";
} catch (InputError const& error) {
  return error.what();
}

testing::AssertionResult says(std::string const& line, std::string const& part) {
  if (line.find(part) != std::string::npos) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "'" << line << "' does not say '" << part << "'";
}

/// What the format can hold of a geometry.
Geometry placeableIn(fs::path const& path, Geometry geometry = obliqueGeometry()) {
  if (formatOf(path) == &legacyVtkFormat) geometry.direction = Geometry().direction;
  if (formatOf(path) != &tiffFormat) return geometry;
  Geometry flat;
  flat.spacing = geometry.spacing;
  return flat;
}

class VolumeFile : public testing::TestWithParam<std::string> {
 protected:
  fs::path file(std::string const& name = "a") const { return folder / (name + GetParam()); }

  /// A volume that is placed as obliquely as the format can hold.
  Volume sample(TypeID type, Extents const& extents = {7, 5, 4}) const {
    Volume volume = sampleVolume(type, extents);
    volume.geometry = placeableIn(file());
    return volume;
  }
  TemporaryFolder folder;
};
INSTANTIATE_TEST_SUITE_P(EveryFormat, VolumeFile, testing::ValuesIn(extensions()),
                         [](auto const& info) { return "As" + std::to_string(info.index); });

TEST_P(VolumeFile, KeepsVoxelsOfEveryTypeAndTheirPlace) {
  for (unsigned code = typeInt8; code <= typeDouble; ++code) {
    SCOPED_TRACE(GetParam() + " " + nameOf(static_cast<TypeID>(code)));
    Volume const volume = sample(static_cast<TypeID>(code));
    writeVolume(volume, file(), true);
    Volume const read = readVolume(file());
    EXPECT_TRUE(equalVoxels(*read.voxels, *volume.voxels));
    EXPECT_TRUE(samePlace(read.geometry, volume.geometry, extentsOf(*volume.voxels)));
    for (std::size_t a = 0; a < 3; ++a) {
      EXPECT_NEAR(read.geometry.origin[a], volume.geometry.origin[a], 1e-4);
      EXPECT_NEAR(read.geometry.spacing[a], volume.geometry.spacing[a], 1e-6);
      for (std::size_t b = 0; b < 3; ++b) {
        EXPECT_NEAR(read.geometry.direction[a][b], volume.geometry.direction[a][b], 1e-6);
      }
    }
  }
}

TEST_P(VolumeFile, IsOneFile) {
  writeVolume(sample(typeFloat), file(), false);
  EXPECT_EQ(folder.names(), std::set<std::string>{"a" + GetParam()});
}

TEST_P(VolumeFile, CarriesItsPlaceToEveryOtherFormat) {
  Volume const volume = sample(typeInt16);
  writeVolume(volume, file(), false);
  for (std::string const& other : extensions()) {
    SCOPED_TRACE(GetParam() + " to " + other);
    if (!samePlace(volume.geometry, placeableIn("a" + other, volume.geometry), extentsOf(*volume.voxels))) {
      EXPECT_THROW(writeVolume(volume, folder / ("b" + other), false), OutputError);
      continue;
    }
    writeVolume(readVolume(file()), folder / ("b" + other), false);
    Volume const read = readVolume(folder / ("b" + other));
    EXPECT_TRUE(equalVoxels(*read.voxels, *volume.voxels));
    EXPECT_TRUE(samePlace(read.geometry, volume.geometry, extentsOf(*volume.voxels)));
  }
}

TEST_P(VolumeFile, HoldsOneSliceAsWell) {
  Volume const volume = sample(typeUInt8, {6, 5, 1});
  writeVolume(volume, file(), false);
  EXPECT_TRUE(equalVoxels(*readVolume(file()).voxels, *volume.voxels));
}

TEST_P(VolumeFile, CutAnywhereIsRefused) {
  writeVolume(sample(typeFloat, {17, 13, 11}), file("whole"), false);
  std::string const content = contentOf(file("whole"));
  for (std::size_t const left : {std::size_t(1), std::size_t(60), content.size() / 3, content.size() * 2 / 3,
                                 content.size() - 40, content.size() - 4}) {
    writeContent(file(), content.substr(0, left));
    EXPECT_THROW(readVolume(file()), InputError) << left << " of " << content.size() << " bytes";
  }
}

TEST_P(VolumeFile, WithOtherContentIsRefused) {
  writeContent(file(), "This is a letter to my mother.\n");
  EXPECT_THROW(readVolume(file()), InputError);
}

TEST_P(VolumeFile, LeavesBoolAlone) {
  EXPECT_THROW(writeVolume(sampleVolume(typeBool), file(), false), OutputError);
  EXPECT_EQ(folder.names(), std::set<std::string>{});
}

TEST_P(VolumeFile, ReplacesOnlyWhenTold) {
  writeContent(file(), "older");
  EXPECT_THROW(writeVolume(sample(typeFloat), file(), false), OutputError);
  EXPECT_EQ(contentOf(file()), "older");
  writeVolume(sample(typeFloat), file(), true);
  EXPECT_TRUE(equalVoxels(*readVolume(file()).voxels, *sample(typeFloat).voxels));
}

TEST_P(VolumeFile, IsNotWrittenWithoutRoomForItsPlace) {
  Volume volume = sample(typeFloat);
  volume.geometry.direction = {{{1.0, 0.5, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}};  // sheared
  auto const format = formatOf(file());
  bool const fits = format != &legacyVtkFormat && format != &tiffFormat;
  if (fits) {
    writeVolume(volume, file(), false);
    EXPECT_TRUE(samePlace(readVolume(file()).geometry, volume.geometry, extentsOf(*volume.voxels)));
  } else {
    EXPECT_THROW(writeVolume(volume, file(), false), OutputError);
    EXPECT_EQ(folder.names(), std::set<std::string>{});
  }
}

TEST(VolumeFileName, PicksTheFormat) {
  EXPECT_EQ(formatOf("a/b.nii.gz"), &niftiFormat);
  EXPECT_EQ(formatOf("b.c.mhd"), &metaImageFormat);
  EXPECT_EQ(formatOf("b.nhdr"), &nrrdFormat);
  for (char const* name : {"b", "b.gz", ".nii", "nii", "b.jpg", "b.nii.bz2", "b.nii/"}) {
    EXPECT_EQ(formatOf(name), nullptr) << name;
  }
}

/// A header in front of as many zeros as asked for.
std::string metaImage(std::string const& dimensions, std::string const& sizes, std::string const& more,
                      std::size_t bytes) {
  return "ObjectType = Image\nNDims = " + dimensions + "\nBinaryData = True\nDimSize = " + sizes + "\n" +
         more + "ElementDataFile = LOCAL\n" + std::string(bytes, '\0');
}

TEST(VolumeFileContent, TwoDimensionsAreOneSlice) {
  TemporaryFolder const folder;
  writeContent(folder / "a.mha",
               metaImage("2", "3 4", "ElementSpacing = 0.5 2\nOffset = 7 8\nElementType = MET_UCHAR\n", 12));
  Volume const volume = readVolume(folder / "a.mha");
  EXPECT_EQ(extentsOf(*volume.voxels), (Extents{3, 4, 1}));
  EXPECT_EQ(volume.geometry.spacing, (Vector3{0.5, 2.0, 1.0}));
  EXPECT_EQ(volume.geometry.origin, (Vector3{7.0, 8.0, 0.0}));
}

TEST(VolumeFileContent, FourDimensionsAreSeveralVolumes) {
  TemporaryFolder const folder;
  writeContent(folder / "a.mha", metaImage("4", "3 4 2 1", "ElementType = MET_UCHAR\n", 24));
  EXPECT_EQ(extentsOf(*readVolume(folder / "a.mha").voxels), (Extents{3, 4, 2}));
  writeContent(folder / "a.mha", metaImage("4", "3 4 2 5", "ElementType = MET_UCHAR\n", 120));
  EXPECT_TRUE(says(complaintOf(folder / "a.mha"), "holds 5 volumes; expected --volume K, K one of 0 to 4"));
  EXPECT_TRUE(says(complaintOf(folder / "a.mha", {5}), "has no volume 5; expected --volume 0 to 4"));
  writeContent(folder / "a.mha", metaImage("1", "24", "ElementType = MET_UCHAR\n", 24));
  EXPECT_TRUE(says(complaintOf(folder / "a.mha"), "expected 3"));
}

/// `count` bytes that count up.
std::string countingBytes(int count) {
  std::string bytes;
  for (int k = 0; k < count; ++k) bytes += static_cast<char>(k);
  return bytes;
}

TEST(VolumeFileContent, EachOfSeveralVolumesCanBeChosen) {
  TemporaryFolder const folder;
  std::string const bytes = countingBytes(2 * 3 * 2 * 4);
  writeContent(folder / "a.mha", metaImage("4", "2 3 2 4", "ElementType = MET_UCHAR\n", 0) + bytes);
  writeContent(folder / "b.mha", metaImage("5", "2 3 2 2 2", "ElementType = MET_UCHAR\n", 0) + bytes);
  writeContent(folder / "c.nrrd",
               "NRRD0004\ntype: uchar\ndimension: 4\nsizes: 2 3 2 4\nencoding: raw\n\n" + bytes);
  for (char const* name : {"a.mha", "b.mha", "c.nrrd"}) {
    for (int k = 0; k < 4; ++k) {
      Volume const volume = readVolume(folder / name, {k});
      ASSERT_EQ(volume.voxels->type_id(), typeUInt8) << name;
      EXPECT_EQ((static_cast<TImageDataset<unsigned char, 3> const&>(*volume.voxels)(1, 2, 1)), 12 * k + 11)
          << name;
    }
  }
}

TEST(VolumeFileContent, PartsAreReadAlone) {
  TemporaryFolder const folder;
  writeContent(folder / "a.mha", metaImage("3", "2 3 4", "ElementType = MET_UCHAR\n", 0) + countingBytes(24));
  auto const source = openVolume(folder / "a.mha");
  ASSERT_TRUE(source->readsParts());
  for (int again = 0; again < 2; ++again) {
    auto const part = source->read({{1, 0, 2}, {1, 3, 1}});
    auto const& bytes = static_cast<TImageDataset<unsigned char, 3> const&>(*part).pages[0].data;
    EXPECT_EQ(bytes, (std::vector<unsigned char>{13, 15, 17}));
  }
  writeVolume(sampleVolume(typeInt16), folder / "b.nii", false);
  auto const nifti = openVolume(folder / "b.nii");
  ASSERT_TRUE(nifti->readsParts());
  auto const slice = nifti->read({{0, 0, 3}, {7, 5, 1}});
  auto const whole = readVolume(folder / "b.nii");
  for (unsigned k = 0; k < 35; ++k) {
    EXPECT_EQ((static_cast<TImageDataset<short, 3> const&>(*slice).pages[0].data[k]),
              (static_cast<TImageDataset<short, 3> const&>(*whole.voxels).pages[0].data[3 * 35 + k]));
  }
  writeVolume(sampleVolume(typeFloat), folder / "c.mha", false);
  EXPECT_FALSE(openVolume(folder / "c.mha")->readsParts()) << "compressed data";
}

TEST(VolumeFileContent, PlaceMustBeFinite) {
  TemporaryFolder const folder;
  auto const complaint = [&](std::string const& line) {
    writeContent(folder / "a.mha", metaImage("3", "2 2 2", "ElementType = MET_UCHAR\n" + line + "\n", 8));
    return complaintOf(folder / "a.mha");
  };
  EXPECT_TRUE(says(complaint("Offset = nan 0 0"), "has 'nan' in Offset; expected finite numbers"));
  EXPECT_TRUE(says(complaint("ElementSpacing = 1 inf 1"), "has 'inf' in ElementSpacing; expected finite"));
  EXPECT_TRUE(says(complaint("ElementSpacing = 1 0 1"), "has spacing"));
  EXPECT_TRUE(says(complaint("ElementSpacing = 1 1"), "has 2 numbers in ElementSpacing; expected 3"));
  writeContent(folder / "a.vtk",
               "# vtk DataFile Version 3.0\na\nASCII\nDATASET STRUCTURED_POINTS\nDIMENSIONS 2 1 1\n"
               "SPACING 1 1 1\nORIGIN nan 0 0\nPOINT_DATA 2\nSCALARS a char 1\nLOOKUP_TABLE default\n1 0\n");
  EXPECT_TRUE(says(complaintOf(folder / "a.vtk"), "has its origin at nan"));
}

/// The line with which a file of this content is refused.
std::string complaintOfContent(std::string const& name, std::string const& content) {
  TemporaryFolder const folder;
  writeContent(folder / name, content);
  return complaintOf(folder / name);
}

TEST(VolumeFileContent, PlaceIsMadeOfNumbersThatFilesHold) {
  auto const nrrd = [](std::string const& spacings) {
    return complaintOfContent("a.nrrd", "NRRD0004\ntype: uchar\ndimension: 3\nsizes: 1 1 1\nspacings: " +
                                            spacings + "\nencoding: raw\n\n1");
  };
  EXPECT_EQ(nrrd("1 2 3"), "read without complaint");
  EXPECT_TRUE(says(nrrd("1 nan 1"), "has 'nan' in spacings; expected finite numbers above 0"));
  EXPECT_TRUE(says(nrrd("1 1e300 1"), "has spacing 1 × 1e+300 × 1; expected finite numbers"));
  EXPECT_TRUE(says(nrrd("1 1e-300 1"), "has spacing 1 × 1e-300 × 1; expected finite numbers"));
  auto const metaImage = [](std::string const& fields) {
    return complaintOfContent("a.mha",
                              "ObjectType = Image\nNDims = 3\nBinaryData = True\n" + fields +
                                  "\nDimSize = 1 1 1\nElementType = MET_UCHAR\nElementDataFile = LOCAL\n1");
  };
  EXPECT_EQ(metaImage("TransformMatrix = 0 1 0 1 0 0 0 0 1"), "read without complaint");
  EXPECT_TRUE(
      says(metaImage("TransformMatrix = 1 0 0 0 nan 0 0 0 1"), "has 'nan' in TransformMatrix; expected"));
  EXPECT_TRUE(says(metaImage("TransformMatrix = 1 0 0 0"), "has 4 numbers in TransformMatrix; expected 9"));
  EXPECT_TRUE(says(metaImage("TransformMatrix = 0 0 0 0 0 0 0 0 0"), "directions that lie in a plane"));
  EXPECT_TRUE(
      says(metaImage("Offset = 0 1e300 0"), "has its origin at 0 × 1e+300 × 0; expected finite numbers"));
}

#ifdef LORB_TOOLS_WITH_VTI
TEST(VtiFile, HasNumbersForItsPlace) {
  auto const vti = [](std::string const& attributes) {
    return complaintOfContent(
        "a.vti",
        "<VTKFile type=\"ImageData\" version=\"0.1\"><ImageData WholeExtent=\"0 1 0 0 0 0\" " + attributes +
            "><Piece Extent=\"0 1 0 0 0 0\"><PointData><DataArray Name=\"a\" type=\"UInt8\" format=\"ascii\">"
            "1 2</DataArray></PointData></Piece></ImageData></VTKFile>");
  };
  EXPECT_EQ(vti("Origin=\"0 0 0\" Spacing=\"1 2 3\""), "read without complaint");
  EXPECT_TRUE(says(vti("Spacing=\"1 nan 1\""), "has 'nan' in Spacing; expected finite numbers"));
  EXPECT_TRUE(says(vti("Origin=\"1 nan 1\""), "has 'nan' in Origin; expected finite numbers"));
}
#endif

TEST_P(VolumeFile, MayBeNamedInCapitals) {
  writeVolume(sample(typeFloat), file(), false);
  std::string name = "b" + GetParam();
  std::transform(name.begin(), name.end(), name.begin(),
                 [](char c) { return static_cast<char>(std::toupper(c)); });
  fs::rename(file(), folder / name);
  EXPECT_TRUE(equalVoxels(*readVolume(folder / name).voxels, *sample(typeFloat).voxels));
  fs::remove(folder / name);
  writeVolume(sample(typeFloat), folder / name, false);
  EXPECT_TRUE(equalVoxels(*readVolume(folder / name).voxels, *sample(typeFloat).voxels));
}

TEST(VolumeFileContent, SeveralValuesAVoxelAreRefused) {
  TemporaryFolder const folder;
  writeContent(folder / "a.mha",
               metaImage("3", "3 4 2", "ElementNumberOfChannels = 3\nElementType = MET_UCHAR\n", 72));
  EXPECT_TRUE(says(complaintOf(folder / "a.mha"), "holds 3 values a voxel; expected 1"));
}

TEST(VolumeFileContent, ImpossibleSizesAreRefusedBeforeMemoryIsTaken) {
  TemporaryFolder const folder;
  for (char const* sizes : {"100000 100000 100000", "2147483647 2147483647 2147483647", "0 4 2", "-3 4 2"}) {
    writeContent(folder / "a.mha", metaImage("3", sizes, "ElementType = MET_DOUBLE\n", 24));
    EXPECT_THROW(readVolume(folder / "a.mha"), InputError) << sizes;
    writeContent(folder / "a.nrrd", std::string("NRRD0004\ntype: double\ndimension: 3\nsizes: ") + sizes +
                                        "\nencoding: raw\nendian: little\n\n" + std::string(24, '\0'));
    EXPECT_THROW(readVolume(folder / "a.nrrd"), InputError) << sizes;
  }
}

TEST(VolumeFileContent, DataMayLieInASecondFile) {
  TemporaryFolder const folder;
  writeContent(folder / "a.mhd",
               "ObjectType = Image\nNDims = 3\nBinaryData = True\nDimSize = 2 2 2\nElementType = MET_UCHAR\n"
               "ElementDataFile = a.raw\n");
  EXPECT_TRUE(says(complaintOf(folder / "a.mhd"), "a.raw"));
  writeContent(folder / "a.raw", "1234567");
  EXPECT_TRUE(says(complaintOf(folder / "a.mhd"), "holds 7 bytes of data; expected 8"));
  writeContent(folder / "a.raw", "12345678");
  EXPECT_EQ(
      (static_cast<TImageDataset<unsigned char, 3> const&>(*readVolume(folder / "a.mhd").voxels)(1, 1, 1)),
      '8');
}

TEST(VolumeFileContent, MetaImageSkipsAsManyBytesAsItsHeaderSays) {
  TemporaryFolder const folder;
  auto const complaint = [&](std::string const& size, std::string const& file) {
    std::string const header = "ObjectType = Image\nNDims = 3\nBinaryData = True\nHeaderSize = " + size +
                               "\nDimSize = 2 2 2\nElementType = MET_UCHAR\nElementDataFile = " + file + "\n";
    writeContent(folder / "a.mhd", header + (file == "LOCAL" ? "12345678" : ""));
    return complaintOf(folder / "a.mhd");
  };
  writeContent(folder / "a.raw", "head12345678");
  for (char const* size : {"0", "4", "-1"}) {
    EXPECT_EQ(complaint(size, "a.raw"), "read without complaint") << size;
    auto const voxels = readVolume(folder / "a.mhd").voxels;
    EXPECT_EQ((static_cast<TImageDataset<unsigned char, 3> const&>(*voxels)(0, 0, 0)),
              *size == '0' ? 'h' : '1');
  }
  for (char const* size : {"-2", "1.5", "x", "nan", "99999999999"}) {
    std::string const expected =
        std::string("has HeaderSize = ") + size + "; expected a whole number of bytes";
    EXPECT_TRUE(says(complaint(size, "a.raw"), expected));
  }
  EXPECT_TRUE(says(complaint("5", "a.raw"), "holds 7 bytes of data; expected 8"));
  EXPECT_TRUE(says(complaint("2000000000", "a.raw"), "holds 0 bytes of data; expected 8"));
  EXPECT_EQ(complaint("-1", "LOCAL"), "read without complaint");
  EXPECT_TRUE(says(complaint("20", "LOCAL"), "has HeaderSize = 20, within its header; expected"));
}

/// One row of the given kind in little-endian order.
std::string tiffFile(unsigned width, unsigned bits, unsigned format, unsigned samples,
                     std::string const& data, std::size_t kept, unsigned compression = 1) {
  constexpr unsigned tagCount = 9, headBytes = 8, behindTags = headBytes + 2 + tagCount * 12 + 4;
  unsigned const tags[tagCount][2] = {
      {256, width}, {257, 1},          {258, bits},    {259, compression},
      {262, 1},     {273, behindTags}, {277, samples}, {279, unsigned(data.size())},
      {339, format}};
  std::string file("II*\0\x08\0\0\0", headBytes);
  auto const add = [&](unsigned value, unsigned bytes) {
    for (unsigned k = 0; k < bytes; ++k) file += static_cast<char>(value >> 8 * k & 0xff);
  };
  add(tagCount, 2);
  for (auto const& [tag, value] : tags) {
    bool const isShort = tag == 258 || tag == 259 || tag == 262 || tag == 277 || tag == 339;
    add(tag, 2);
    add(isShort ? 3 : 4, 2);
    add(1, 4);
    add(value, 4);
  }
  add(0, 4);
  return file + data.substr(0, kept);
}

TEST(TiffFile, HoldsNumbersOfEveryKindThatIsRead) {
  TemporaryFolder const folder;
  struct Kind {
    unsigned bits, format;
    TypeID type;
  };
  for (Kind const& kind :
       {Kind{8, 1, typeUInt8}, Kind{8, 2, typeInt8}, Kind{16, 1, typeUInt16}, Kind{16, 2, typeInt16},
        Kind{32, 1, typeUInt32}, Kind{32, 2, typeInt32}, Kind{64, 1, typeUInt64}, Kind{64, 2, typeInt64},
        Kind{32, 3, typeFloat}, Kind{64, 3, typeDouble}}) {
    std::string const data = countingBytes(int(3 * kind.bits / 8));
    writeContent(folder / "a.tif", tiffFile(3, kind.bits, kind.format, 1, data, data.size()));
    Volume const volume = readVolume(folder / "a.tif");
    ASSERT_EQ(volume.voxels->type_id(), kind.type);
    EXPECT_EQ(std::string(static_cast<char const*>(dataOf(*volume.voxels)), data.size()), data);
    writeContent(folder / "a.tif", tiffFile(3, kind.bits, kind.format, 1, data, data.size() - 1));
    EXPECT_TRUE(says(complaintOf(folder / "a.tif"), "is incomplete: page 0 is cut"));
  }
}

TEST(TiffFile, RefusesWhatIsNoVolumeOfNumbers) {
  TemporaryFolder const folder;
  auto const complaint = [&](std::string const& content) {
    writeContent(folder / "a.tif", content);
    return complaintOf(folder / "a.tif");
  };
  std::string const data = countingBytes(24);
  EXPECT_TRUE(says(complaint(tiffFile(3, 8, 1, 3, data, 24)), "holds 3 values a voxel; expected 1"));
  EXPECT_TRUE(says(complaint(tiffFile(3, 4, 1, 1, data, 24)), "holds values of 4 bits; expected"));
  EXPECT_TRUE(says(complaint(tiffFile(3, 16, 6, 1, data, 24)), "holds values of 16 bits; expected"));
  EXPECT_TRUE(says(complaint(tiffFile(2000000000, 8, 1, 1, data, 24)), "impossible size"));
  EXPECT_TRUE(says(complaint(tiffFile(1000000000, 8, 1, 1, data, 24, 32773)), "can't hold a page"));
}

TEST(VolumeFileContent, TextHoldsANumberForEachVoxel) {
  TemporaryFolder const folder;
  std::string const numbers = "1 -2.5 3e2\n4 5 6";
  std::map<std::string, std::string> const headers = {
      {"a.mha",
       "ObjectType = Image\nNDims = 3\nBinaryData = False\nDimSize = 3 2 1\nElementType = MET_FLOAT\n"
       "ElementDataFile = LOCAL\n"},
      {"a.vtk",
       "# vtk DataFile Version 3.0\nt\nASCII\nDATASET STRUCTURED_POINTS\nDIMENSIONS 3 2 1\nORIGIN 0 0 0\n"
       "SPACING 1 1 1\nPOINT_DATA 6\nSCALARS s float 1\nLOOKUP_TABLE default\n"},
      {"a.nrrd", "NRRD0004\ntype: float\ndimension: 3\nsizes: 3 2 1\nencoding: ascii\n\n"}};
  for (auto const& [name, header] : headers) {
    writeContent(folder / name, header + numbers + "\n");
    Volume const volume = readVolume(folder / name);
    EXPECT_EQ((static_cast<TImageDataset<float, 3> const&>(*volume.voxels)(2, 0, 0)), 300.0F) << name;
    EXPECT_EQ((static_cast<TImageDataset<float, 3> const&>(*volume.voxels)(2, 1, 0)), 6.0F) << name;
    for (std::size_t const kept : {std::size_t(0), std::size_t(1), numbers.size() / 2, numbers.size() - 2}) {
      writeContent(folder / name, header + numbers.substr(0, kept));
      EXPECT_TRUE(says(complaintOf(folder / name), "incomplete")) << name << " " << kept;
    }
    writeContent(folder / name, header + numbers + " 7\n");
    EXPECT_TRUE(says(complaintOf(folder / name), "more than 6 numbers; expected 6")) << name;
  }
}

TEST(VolumeFileContent, BytesAreInTheOrderThatTheHeaderNames) {
  TemporaryFolder const folder;
  std::string const meta =
      "ObjectType = Image\nNDims = 3\nBinaryData = True\nDimSize = 2 1 1\n"
      "ElementType = MET_SHORT\nElementByteOrderMSB = ";
  std::string const nrrd = "NRRD0004\ntype: short\ndimension: 3\nsizes: 2 1 1\nencoding: raw\nendian: ";
  std::string const local = "\nElementDataFile = LOCAL\n", voxels("\1\2\3\4", 4);
  writeContent(folder / "behind.raw", "any header" + voxels);
  std::map<std::string, std::string> const files = {
      {"big.mha", meta + "True" + local + voxels},
      {"little.mha", meta + "False" + local + voxels},
      {"bigBehind.mhd", meta + "True\nHeaderSize = -1\nElementDataFile = behind.raw\n"},
      {"big.nrrd", nrrd + "big\n\n" + voxels},
      {"little.nrrd", nrrd + "little\n\n" + voxels},
      {"big.vtk",
       "# vtk DataFile Version 3.0\nt\nBINARY\nDATASET STRUCTURED_POINTS\nDIMENSIONS 2 1 1\n"
       "ORIGIN 0 0 0\nSPACING 1 1 1\nPOINT_DATA 2\nSCALARS s short\nLOOKUP_TABLE default\n" +
           voxels}};
  for (auto const& [name, content] : files) {
    writeContent(folder / name, content);
    Volume const volume = readVolume(folder / name);
    short const expected = name.starts_with("big") ? 0x0304 : 0x0403;
    EXPECT_EQ((static_cast<TImageDataset<short, 3> const&>(*volume.voxels)(1, 0, 0)), expected) << name;
  }
}

TEST(VolumeFileContent, CompressedSizeIsRight) {
  TemporaryFolder const folder;
  writeVolume(sampleVolume(typeInt16), folder / "a.mha", false);
  std::string const whole = contentOf(folder / "a.mha"), field = "CompressedDataSize = ";
  std::size_t const begin = whole.find(field), end = whole.find('\n', begin);
  std::string const size = std::to_string(std::stoi(whole.substr(begin + field.size(), end - begin)));
  auto const withLine = [&](std::string const& line) {
    writeContent(folder / "b.mha", whole.substr(0, begin) + line + whole.substr(end + 1));
    return complaintOf(folder / "b.mha");
  };
  EXPECT_EQ(withLine(field + size + "\n"), "read without complaint");
  EXPECT_TRUE(says(withLine(""), "has nothing as its CompressedDataSize; expected " + size));
  for (std::string const wrong : {"0", "10", "-5", "999999999999"}) {
    EXPECT_TRUE(says(withLine(field + wrong + "\n"),
                     "has " + wrong + " as its CompressedDataSize; expected " + size));
  }
}

TEST(VolumeFileContent, DetachedCompressedDataIsChecked) {
  TemporaryFolder const folder;
  std::ostringstream header;
  header << "NRRD0004\ntype: uchar\ndimension: 3\nsizes: 20 20 20\nencoding: gzip\n"
         << "data file: a.raw.gz\n";
  writeContent(folder / "a.nhdr", header.str());
  gzFile const data = gzopen((folder / "a.raw.gz").c_str(), "wb");
  std::string const bytes = countingBytes(8000);
  ASSERT_EQ(gzwrite(data, bytes.data(), 8000), 8000);
  gzclose(data);
  EXPECT_EQ(extentsOf(*readVolume(folder / "a.nhdr").voxels), (Extents{20, 20, 20}));
  std::string const whole = contentOf(folder / "a.raw.gz");
  for (std::size_t const left : {std::size_t(0), std::size_t(12), whole.size() / 2, whole.size() - 3}) {
    writeContent(folder / "a.raw.gz", whole.substr(0, left));
    EXPECT_THROW(readVolume(folder / "a.nhdr"), InputError) << left;
  }
  fs::remove(folder / "a.raw.gz");
  EXPECT_TRUE(says(complaintOf(folder / "a.nhdr"), "a.raw.gz"));
}

TEST_P(VolumeFile, KeepsItsPlaceToTheLastBitWhereTheFormatDoes) {
  auto const format = formatOf(file());
  Volume volume = sample(typeFloat);
  if (format != &tiffFormat) {
    volume.geometry.origin = {0.1, -100.0 / 3.0, 1e-3};
    volume.geometry.spacing = {0.7, 1.0 / 3.0, 2.1};
  }
  writeVolume(volume, file(), false);
  Geometry const read = readVolume(file()).geometry;
  if (format == &niftiFormat) {  // single precision, and axes that run to the right and anterior
    auto const matrix = readNiftiHeader(file()).notes.matrix;
    for (std::size_t row = 0; row < 3; ++row) {
      double const sign = row < 2 ? -1.0 : 1.0;
      for (std::size_t axis = 0; axis < 3; ++axis) {
        double const step = sign * volume.geometry.direction[row][axis] * volume.geometry.spacing[axis];
        EXPECT_EQ(matrix[row][axis], static_cast<float>(step));
      }
      EXPECT_EQ(matrix[row][3], static_cast<float>(sign * volume.geometry.origin[row]));
    }
  } else {
    // NRRD stores directions times spacing, TIFF voxels per centimetre in single precision.
    double const allowed = format == &nrrdFormat ? 3e-16 : format == &tiffFormat ? 1e-7 : 0.0;
    EXPECT_EQ(read.origin, volume.geometry.origin);
    for (std::size_t a = 0; a < 3; ++a) {
      EXPECT_NEAR(read.spacing[a], volume.geometry.spacing[a], allowed);
      for (std::size_t b = 0; b < 3; ++b) {
        EXPECT_NEAR(read.direction[a][b], volume.geometry.direction[a][b], allowed);
      }
    }
  }
}

TEST_P(VolumeFile, KeepsWhatIsNotFinite) {
  for (TypeID const type : {typeFloat, typeDouble}) {
    Volume volume = sample(type);
    visitElementType(type, [&]<class T>(std::type_identity<T>) {
      if constexpr (std::is_floating_point_v<T>) {
        auto const voxels = static_cast<TImageDataset<T, 3>&>(*volume.voxels).voxels();
        voxels[3] = std::numeric_limits<T>::quiet_NaN();
        voxels[4] = std::numeric_limits<T>::infinity();
      }
    });
    writeVolume(volume, file(), true);
    EXPECT_TRUE(equalVoxels(*readVolume(file()).voxels, *volume.voxels)) << nameOf(type);
  }
}

#ifdef LORB_TOOLS_WITH_VTI
TEST(VtiFile, KeepsItsFirstIndexAndItsNumbersToTheLastBit) {
  TemporaryFolder const folder;
  Volume volume = sampleVolume(typeInt64);
  volume.geometry.firstIndex = {5, -3, 12};
  volume.geometry.origin = {0.1, 1.0 / 3.0, -1e-3};
  writeVolume(volume, folder / "a.vti", false);
  Geometry const read = readVolume(folder / "a.vti").geometry;
  EXPECT_EQ(read.firstIndex, volume.geometry.firstIndex);
  EXPECT_EQ(read.origin, volume.geometry.origin);
  EXPECT_EQ(read.spacing, volume.geometry.spacing);
  EXPECT_EQ(read.direction, volume.geometry.direction);
}

TEST(VtiFile, GivesOtherFormatsThePlaceOfItsFirstVoxel) {
  TemporaryFolder const folder;
  Volume volume = sampleVolume(typeInt16);
  volume.geometry.firstIndex = {5, -3, 12};
  writeVolume(volume, folder / "a.vti", false);
  writeVolume(readVolume(folder / "a.vti"), folder / "a.mha", false);
  Geometry const read = readVolume(folder / "a.mha").geometry;
  EXPECT_EQ(read.firstIndex, (std::array<int, 3>{0, 0, 0}));
  Vector3 const expected = volume.geometry.position({5, -3, 12});
  for (std::size_t axis = 0; axis < 3; ++axis) EXPECT_NEAR(read.origin[axis], expected[axis], 1e-9);
}

std::string vtiFile(std::string const& extent, std::string const& attributes, std::string const& values) {
  return "<VTKFile type=\"ImageData\" version=\"0.1\" byte_order=\"LittleEndian\"><ImageData WholeExtent=\"" +
         extent + "\" Origin=\"0 0 0\" Spacing=\"1 1 1\"><Piece Extent=\"" + extent +
         "\"><PointData><DataArray Name=\"a\" format=\"ascii\" " + attributes + ">" + values +
         "</DataArray></PointData></Piece></ImageData></VTKFile>\n";
}

TEST(VtiFile, TakesItsOnlyArray) {
  TemporaryFolder const folder;
  writeContent(folder / "a.vti", vtiFile("0 1 0 1 0 0", "type=\"Int8\"", "1 2 3 -4"));
  Volume const volume = readVolume(folder / "a.vti");
  ASSERT_EQ(volume.voxels->type_id(), typeInt8);
  EXPECT_EQ((static_cast<TImageDataset<signed char, 3> const&>(*volume.voxels)(1, 1, 0)), -4);
}

TEST(VtiFile, RefusesWhatIsNoVolumeOfNumbers) {
  TemporaryFolder const folder;
  auto const complaint = [&](std::string const& content) {
    writeContent(folder / "a.vti", content);
    return complaintOf(folder / "a.vti");
  };
  EXPECT_TRUE(says(complaint(vtiFile("0 1 0 0 0 0", "type=\"Int8\" NumberOfComponents=\"2\"", "1 2 3 4")),
                   "holds 2 values a voxel"));
  EXPECT_TRUE(says(complaint(vtiFile("0 -1 0 0 0 0", "type=\"Int8\"", "")), "impossible size"));
  EXPECT_TRUE(says(complaint(vtiFile("0 2147483646 0 2147483646 0 2147483646", "type=\"Int8\"", "1")),
                   "impossible size"));
  EXPECT_TRUE(says(complaint(vtiFile("0 3 0 0 0 0", "type=\"Int8\"", "1 2 3")), "incomplete"));
}
#endif

}  // namespace
}  // namespace lorb::tools
