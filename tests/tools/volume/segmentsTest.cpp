#include "tools/volume/segments.h"

#include "tests/tools/TemporaryFolder.h"
#include "tools/base/errors.h"
#include "tools/volume/VolumeFile.h"

#include <gtest/gtest.h>

#include <functional>

namespace lorb::tools {
namespace {

namespace fs = std::filesystem;

/// The header of a segmentation of 4 × 3 × 2 voxels in two layers.
std::string headerOf(std::string const& segments, std::string const& kinds = "list domain domain domain") {
  return "NRRD0005\ntype: uint8\ndimension: 4\nspace: left-posterior-superior\nsizes: 2 4 3 2\n"
         "space directions: none (0.5,0,0) (0,0.5,0) (0,0,2)\nkinds: " +
         kinds + "\nencoding: raw\nspace origin: (10,20,30)\n" + segments + "\n";
}

std::string segment(int number, std::string const& name, int label, int layer) {
  std::string const prefix = "Segment" + std::to_string(number) + "_";
  return prefix + "ID:=Id_" + std::to_string(number) + "\n" + prefix +
         "LabelValue:=" + std::to_string(label) + "\n" + prefix + "Layer:=" + std::to_string(layer) + "\n" +
         prefix + "Name:=" + name + "\n";
}

/// Layer 0 holds x, layer 1 holds z.
std::string voxels() {
  std::string bytes;
  for (int k = 0; k < 24; ++k) {
    bytes += static_cast<char>(k % 4);
    bytes += static_cast<char>(k / 12);
  }
  return bytes;
}

class Segmentation : public testing::Test {
 protected:
  Segmentation() {
    writeContent(path, headerOf(segment(0, "liver", 1, 0) + segment(1, "left kidney", 2, 0) +
                                segment(2, "tumour", 1, 1)) +
                           voxels());
  }

  std::string complaintOf(InputChoice const& choice) const try {
    readVolume(path, choice);
    return "read without complaint";
  } catch (InputError const& error) {
    return error.what();
  }

  using ValueAt = std::function<int(std::uint64_t x, std::uint64_t z)>;
  void expectVoxels(InputChoice const& choice, ValueAt const& valueAt) const {
    Volume const volume = readVolume(path, choice);
    ASSERT_EQ(volume.voxels->type_id(), typeUInt8);
    ASSERT_EQ(extentsOf(*volume.voxels), (Extents{4, 3, 2}));
    auto const& read = static_cast<TImageDataset<unsigned char, 3> const&>(*volume.voxels);
    for (std::uint64_t z = 0; z < 2; ++z) {
      for (std::uint64_t y = 0; y < 3; ++y) {
        for (std::uint64_t x = 0; x < 4; ++x)
          EXPECT_EQ(read(x, y, z), valueAt(x, z)) << x << ' ' << y << ' ' << z;
      }
    }
  }

  TemporaryFolder const folder;
  fs::path const path = folder / "a.seg.nrrd";
};

TEST_F(Segmentation, IsTheUnionOfTheNamedSegments) {
  expectVoxels({.segments = {"liver"}}, [](auto x, auto) { return x == 1; });
  expectVoxels({.segments = {"left kidney"}}, [](auto x, auto) { return x == 2; });
  expectVoxels({.segments = {"tumour"}}, [](auto, auto z) { return z == 1; });
  expectVoxels({.segments = {"Id_1"}}, [](auto x, auto) { return x == 2; });
  expectVoxels({.segments = {"liver", "left kidney"}}, [](auto x, auto) { return x == 1 || x == 2; });
  expectVoxels({.segments = {"liver", "tumour"}}, [](auto x, auto z) { return x == 1 || z == 1; });
}

TEST_F(Segmentation, HasItsLayersAsVolumes) {
  expectVoxels({.volume = 0}, [](auto x, auto) { return int(x); });
  expectVoxels({.volume = 1}, [](auto, auto z) { return int(z); });
}

TEST_F(Segmentation, LiesInItsPlace) {
  Geometry const geometry = openVolume(path, {.segments = {"liver"}})->header().geometry;
  EXPECT_EQ(geometry.origin, (Vector3{10, 20, 30}));
  EXPECT_EQ(geometry.spacing, (Vector3{0.5, 0.5, 2}));
}

TEST_F(Segmentation, PartsAreThoseOfTheWhole) {
  auto const source = openVolume(path, {.segments = {"tumour", "liver"}});
  ASSERT_TRUE(source->readsParts());
  for (std::uint64_t const z : {1U, 0U}) {
    auto const part = source->read({{1, 1, z}, {2, 2, 1}});
    auto const& read = static_cast<TImageDataset<unsigned char, 3> const&>(*part);
    EXPECT_EQ(read(0, 1, 0), 1) << "liver";
    EXPECT_EQ(read(1, 1, 0), z) << "tumour alone";
  }
}

void expectSays(std::string const& line, std::string const& part) {
  EXPECT_NE(line.find(part), std::string::npos) << "'" << line << "' does not say '" << part << "'";
}

TEST_F(Segmentation, SaysWhatItHolds) {
  expectSays(complaintOf({}),
             "holds 2 layers of segments; expected --segment with one or more of 'liver', "
             "'left kidney', 'tumour', or --volume with the number of a layer");
  expectSays(complaintOf({.segments = {"livr"}}),
             "has no segment 'livr'; expected for --segment one of 'liver'");
  expectSays(complaintOf({.volume = 2}), "has no volume 2");
}

TEST_F(Segmentation, SegmentsOfOneNameNeedTheirIds) {
  writeContent(path, headerOf(segment(0, "liver", 1, 0) + segment(1, "liver", 2, 0)) + voxels());
  expectSays(complaintOf({.segments = {"liver"}}),
             "several segments named 'liver'; expected an ID such as 'Id_0'");
  expectVoxels({.segments = {"Id_1"}}, [](auto x, auto) { return x == 2; });
}

TEST_F(Segmentation, OlderFilesHaveALayerForEachSegment) {
  writeContent(
      path,
      headerOf("Segment0_ID:=a\nSegment0_Name:=first\nSegment1_ID:=b\nSegment1_Name:=second\n") + voxels());
  expectVoxels({.segments = {"first"}}, [](auto x, auto) { return x == 1; });
  expectVoxels({.segments = {"second"}}, [](auto, auto z) { return z == 1; });
}

TEST_F(Segmentation, OfOneLayerIsAMapOfLabelsAsWell) {
  std::string bytes;
  for (int k = 0; k < 24; ++k) bytes += static_cast<char>(k % 4);
  writeContent(path,
               "NRRD0005\ntype: uint8\ndimension: 3\nspace: left-posterior-superior\nsizes: 4 3 2\n"
               "space directions: (0.5,0,0) (0,0.5,0) (0,0,2)\nkinds: domain domain domain\n"
               "encoding: raw\nspace origin: (10,20,30)\n" +
                   segment(0, "liver", 1, 0) + segment(1, "spleen", 3, 0) + "\n" + bytes);
  expectVoxels({}, [](auto x, auto) { return int(x); });
  expectVoxels({.segments = {"spleen"}}, [](auto x, auto) { return x == 3; });
}

TEST_F(Segmentation, RefusesWhatItWouldMisread) {
  writeContent(path, headerOf(segment(0, "liver", 1, 2)) + voxels());
  expectSays(complaintOf({.segments = {"liver"}}), "segment 'liver' in layer 2; expected one from 0 to 1");
  writeContent(path, headerOf(segment(0, "liver", 1, 0)) + voxels().substr(1));
  expectSays(complaintOf({.segments = {"liver"}}), "incomplete");
}

TEST_F(Segmentation, OtherFilesHaveNoSegments) {
  fs::path const plain = folder / "plain.nrrd";
  writeContent(plain, "NRRD0004\ntype: uchar\ndimension: 3\nsizes: 1 1 3\nencoding: raw\n\nabc");
  for (fs::path const& other : {plain}) {
    try {
      readVolume(other, {.segments = {"liver"}});
      ADD_FAILURE();
    } catch (InputError const& error) {
      expectSays(error.what(), "has no segments; expected no --segment 'liver'");
    }
  }
}

}  // namespace
}  // namespace lorb::tools
