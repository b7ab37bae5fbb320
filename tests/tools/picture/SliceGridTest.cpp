#include "tools/picture/SliceGrid.h"

#include <lorb/dataset/TImageDataset.h>

#include <gtest/gtest.h>

#include <cmath>

namespace lorb::tools {
namespace {

using Samples = std::vector<float>;
constexpr int plenty = 1000;

/// Voxel (x, y, z) holds 100 z + 10 y + x.
template <class T>
TImageDataset<T, 3> numbered(Extents const& extents) {
  TImageDataset<T, 3> volume(extents);
  for (std::uint64_t z = 0; z < extents[2]; ++z) {
    for (std::uint64_t y = 0; y < extents[1]; ++y) {
      for (std::uint64_t x = 0; x < extents[0]; ++x) volume(x, y, z) = static_cast<T>(100 * z + 10 * y + x);
    }
  }
  return volume;
}

TEST(SliceGrid, TurnsSlices) {
  auto const volume = numbered<short>({3, 2, 4});
  EXPECT_EQ(sliceGrid(volume, {{0, false}, {1, false}}, 3, plenty, plenty).samples,
            (Samples{300, 301, 302, 310, 311, 312}));
  EXPECT_EQ(sliceGrid(volume, {{0, true}, {2, true}}, 1, plenty, plenty).samples,
            (Samples{312, 311, 310, 212, 211, 210, 112, 111, 110, 12, 11, 10}));
  EXPECT_EQ(sliceGrid(volume, {{2, false}, {1, true}}, 2, plenty, plenty).samples,
            (Samples{12, 112, 212, 312, 2, 102, 202, 302}));
}

TEST(SliceGrid, ReadsBits) {
  TImageDataset<bool, 3> volume({2, 1, 1});
  volume(1, 0, 0) = true;
  EXPECT_EQ(sliceGrid(volume, {{0, false}, {1, false}}, 0, plenty, plenty).samples, (Samples{0, 1}));
}

TEST(SliceGrid, TakesMeansOfVoxelsAndPartsOfVoxels) {
  auto const volume = numbered<float>({3, 2, 1});
  SliceGrid const grid = sliceGrid(volume, {{0, false}, {1, false}}, 0, 2, 1);
  EXPECT_EQ(grid.width, 2);
  EXPECT_EQ(grid.height, 1);
  EXPECT_FLOAT_EQ(grid.samples[0], 5 + (0 + 0.5F * 1) / 1.5F);
  EXPECT_FLOAT_EQ(grid.samples[1], 5 + (0.5F * 1 + 2) / 1.5F);
}

TEST(SliceGrid, LeavesNanOutOfMeans) {
  TImageDataset<float, 3> volume({4, 1, 1});
  std::vector<float> const voxels = {NAN, 3, NAN, NAN};
  std::copy(voxels.begin(), voxels.end(), volume.voxels().begin());
  SliceGrid const grid = sliceGrid(volume, {{0, false}, {1, false}}, 0, 2, 1);
  EXPECT_EQ(grid.samples[0], 3);
  EXPECT_TRUE(std::isnan(grid.samples[1]));
}

TEST(SliceGrid, KnowsSignsThatMeansHide) {
  TImageDataset<float, 3> volume({4, 1, 1});
  std::vector<float> const voxels = {5, -1, 5, 5};
  std::copy(voxels.begin(), voxels.end(), volume.voxels().begin());
  SliceGrid const grid = sliceGrid(volume, {{0, false}, {1, false}}, 0, 1, 1);
  EXPECT_GT(grid.samples[0], 0);
  EXPECT_TRUE(grid.negative);
  EXPECT_TRUE(grid.positive);
}

TEST(SliceGrid, InterpolatesBetweenCentres) {
  SliceGrid const grid{2, 2, {0, 4, 8, NAN}};
  EXPECT_EQ(grid.interpolated(0.5, 0.5), 0);
  EXPECT_EQ(grid.interpolated(0.75, 0.5), 1);
  EXPECT_EQ(grid.interpolated(0.5, 1.0), 4);
  EXPECT_EQ(grid.interpolated(0.0, 0.0), 0) << "as on the edge";
  EXPECT_EQ(grid.interpolated(2.0, 0.5), 4);
  EXPECT_TRUE(std::isnan(grid.interpolated(1.0, 1.0)));
  EXPECT_EQ(grid.interpolated(0.5, 1.5), 8) << "NaN next to it weighs nothing";
}

}  // namespace
}  // namespace lorb::tools
