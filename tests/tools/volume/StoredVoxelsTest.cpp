#include "tools/volume/StoredVoxels.h"

#include "tests/tools/TemporaryFolder.h"
#include "tools/base/errors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace lorb::tools {
namespace {

constexpr Extents extents = {4, 3, 5};
constexpr std::uint64_t perVolume = 60;

short elementAt(std::uint64_t k) {
  return static_cast<short>(300 * int(k) - 7000);
}

class StoredVoxelsTest : public testing::Test {
 protected:
  /// Two volumes, elements counted through.
  StoredVoxels stored(Coding coding, bool swapped = false) {
    std::string content = "head";
    for (std::uint64_t k = 0; k < 2 * perVolume; ++k) {
      short const element = elementAt(k);
      auto const* bytes = reinterpret_cast<char const*>(&element);
      if (coding == Coding::text) content += std::to_string(element) + "\n";
      if (coding == Coding::plain && !swapped) content += {bytes[0], bytes[1]};
      if (coding == Coding::plain && swapped) content += {bytes[1], bytes[0]};
    }
    writeContent(folder / "voxels", content);
    return {.input = folder / "voxels",
            .file = folder / "voxels",
            .offset = 4,
            .coding = coding,
            .type = typeInt16,
            .swapped = swapped,
            .extents = extents,
            .volumes = 2};
  }

  TemporaryFolder folder;
};

template <class T>
void expectRegion(VoxelReader& reader, std::uint64_t volume, Region const& region, double slope,
                  double intercept) {
  auto const voxels = reader.read(volume, region, typeIDOf<T>);
  ASSERT_EQ(voxels->type_id(), typeIDOf<T>);
  auto const& typed = static_cast<TImageDataset<T, 3> const&>(*voxels);
  for (std::uint64_t z = 0; z < region.size[2]; ++z) {
    for (std::uint64_t y = 0; y < region.size[1]; ++y) {
      for (std::uint64_t x = 0; x < region.size[0]; ++x) {
        std::uint64_t const k =
            ((volume * 5 + region.begin[2] + z) * 3 + region.begin[1] + y) * 4 + region.begin[0] + x;
        ASSERT_EQ(typed(x, y, z), static_cast<T>(elementAt(k) * slope + intercept));
      }
    }
  }
}

constexpr Region regions[] = {
    {{0, 0, 0}, {4, 3, 5}}, {{0, 0, 2}, {4, 3, 2}}, {{0, 1, 0}, {4, 2, 5}},
    {{2, 0, 0}, {1, 3, 5}}, {{1, 1, 1}, {2, 1, 3}},
};

TEST_F(StoredVoxelsTest, AnyRegionOfAnyVolume) {
  for (StoredVoxels const& voxels :
       {stored(Coding::plain), stored(Coding::text), stored(Coding::plain, true)}) {
    auto const reader = openVoxels(stored(voxels.coding, voxels.swapped));
    EXPECT_EQ(reader->readsParts(), voxels.coding == Coding::plain);
    for (Region const& region : regions) {
      for (std::uint64_t const volume : {1U, 0U}) expectRegion<short>(*reader, volume, region, 1.0, 0.0);
    }
  }
}

TEST_F(StoredVoxelsTest, ScaledAreFloatOrDouble) {
  StoredVoxels voxels = stored(Coding::plain);
  voxels.slope = 0.1;
  voxels.intercept = -3.0;
  auto const reader = openVoxels(voxels);
  for (Region const& region : regions) {
    expectRegion<float>(*reader, 1, region, 0.1, -3.0);
    expectRegion<double>(*reader, 1, region, 0.1, -3.0);
  }
}

TEST_F(StoredVoxelsTest, CutFilesThrow) {
  for (Coding const coding : {Coding::plain, Coding::text}) {
    auto const reader = openVoxels(stored(coding));
    reader->read(0, regions[0], typeInt16);
    std::filesystem::resize_file(folder / "voxels", 4 + perVolume * 2 + 50);
    StoredVoxels const cut = {.input = folder / "voxels",
                              .file = folder / "voxels",
                              .offset = 4,
                              .coding = coding,
                              .type = typeInt16,
                              .extents = extents,
                              .volumes = 2};
    EXPECT_THROW(openVoxels(cut)->read(1, regions[0], typeInt16), InputError);
    if (coding == Coding::plain) {
      EXPECT_THROW(reader->read(1, regions[0], typeInt16), InputError);
    }
  }
}

TEST_F(StoredVoxelsTest, TextMustHoldNumbersOfTheType) {
  for (char const* text : {"1 2 x", "1 2 300", "1 2 -1", "1 2 1.5", "1 2 3 4", "1 2", "1 2 3,"}) {
    writeContent(folder / "voxels", text);
    auto const reader = openVoxels({.input = folder / "voxels",
                                    .file = folder / "voxels",
                                    .coding = Coding::text,
                                    .type = typeUInt8,
                                    .extents = {3, 1, 1}});
    EXPECT_THROW(reader->read(0, {{0, 0, 0}, {3, 1, 1}}, typeUInt8), InputError) << text;
  }
}

}  // namespace
}  // namespace lorb::tools
