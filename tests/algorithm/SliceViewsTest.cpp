#include "tests/ElementTypes.h"

#include <lorb/algorithm/EuclideanDistanceTransform2D.h>

#include <gtest/gtest.h>

namespace {

using lorb::Dataset;
using lorb::DatasetCoordinates;
using lorb::TImageDataset;
using Transform = lorb::EuclideanDistanceTransform2D;

/// Every voxel tells where it is.
TImageDataset<int, 3> numberedVolume() {
  TImageDataset<int, 3> volume({5, 4, 3});
  for (int z = 0; z < 3; ++z) {
    for (int y = 0; y < 4; ++y) {
      for (int x = 0; x < 5; ++x) {
        volume(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y), static_cast<std::uint64_t>(z)) =
            100 * z + 10 * y + x;
      }
    }
  }
  return volume;
}

TEST(SliceViewsTest, TypedViewsMapTheirIndicesOntoTheVolume) {
  auto const volume = numberedVolume();
  Transform::CIsliceXY<int> const xy{&volume, 5, 4, 3, 2};
  Transform::CIsliceXZ<int> const xz{&volume, 5, 3, 4, 3};
  Transform::CIsliceYZ<int> const yz{&volume, 4, 3, 5, 4};
  EXPECT_EQ(xy.get(1, 3), 231);  // x = i, y = j, z = slice
  EXPECT_EQ(xz.get(1, 2), 231);  // x = i, z = j, y = slice
  EXPECT_EQ(yz.get(3, 2), 234);  // y = i, z = j, x = slice
}

TEST(SliceViewsTest, MutableViewsWriteWhereTheyRead) {
  TImageDataset<float, 3> volume({5, 4, 3});
  Transform::IsliceXY<float> const xy{&volume, 5, 4, 3, 2};
  Transform::IsliceXZ<float> const xz{&volume, 5, 3, 4, 3};
  Transform::IsliceYZ<float> const yz{&volume, 4, 3, 5, 4};
  xy.set(1, 3, 1.5F);
  xz.set(2, 1, 2.5F);
  yz.set(0, 1, 3.5F);
  EXPECT_EQ(volume(1, 3, 2), 1.5F);
  EXPECT_EQ(volume(2, 3, 1), 2.5F);
  EXPECT_EQ(volume(4, 0, 1), 3.5F);
  EXPECT_EQ(xy.get(1, 3), 1.5F);
  EXPECT_EQ(xz.get(2, 1), 2.5F);
  EXPECT_EQ(yz.get(0, 1), 3.5F);
}

TEST(SliceViewsTest, GenericViewsMapTheirIndicesOntoTheDataset) {
  Dataset dataset(true);
  dataset.newDataset({5, 4, 3, 1, 1}, lorb::elementInt16, {});
  dataset.setElement<int>({1, 3, 2, 0, 0}, 231);
  DatasetCoordinates const zero(0, 0, 0, 0, 0);
  Transform::sliceXY const xy{&dataset, 5, 4, 3, 2, zero};
  Transform::sliceXZ const xz{&dataset, 5, 3, 4, 3, zero};
  Transform::sliceYZ const yz{&dataset, 4, 3, 5, 1, zero};
  EXPECT_EQ(xy.get(1, 3), 231.0F);
  EXPECT_EQ(xz.get(1, 2), 231.0F);
  EXPECT_EQ(yz.get(3, 2), 231.0F);
  EXPECT_EQ(yz.position, DatasetCoordinates(1, 3, 2, 0, 0)) << "the voxel last addressed";
  yz.set(0, 1, -7.0F);
  EXPECT_EQ(dataset.getElement<int>({1, 0, 1, 0, 0}), -7);
}

TEST(SliceViewsTest, GenericViewsRefuseIndicesOutsideTheDataset) {
  Dataset dataset(true);
  dataset.newDataset({5, 4, 3, 1, 1}, lorb::elementFloat, {});
  Transform::sliceXY const xy{&dataset, 5, 4, 3, 3, DatasetCoordinates(0, 0, 0, 0, 0)};
  EXPECT_THROW(xy.get(0, 0), std::out_of_range);
  EXPECT_THROW(xy.set(0, 0, 1.0F), std::out_of_range);
}

TEST(SliceViewsTest, TypedViewsAddressByThePagesExtents) {
  auto volume = numberedVolume();
  volume.pages[0].extents = {4, 5, 3};  // the same voxels, cut into rows of 4
  Transform::CIsliceXY<int> const xy{&volume, 4, 5, 3, 0};
  EXPECT_EQ(xy.get(0, 1), 4);   // element 4
  EXPECT_EQ(xy.get(1, 1), 10);  // element 5
}

TEST(SliceViewsTest, IndicesAreNotCheckedAgainstTheViewsExtents) {
  auto const volume = numberedVolume();
  Transform::CIsliceXY<int> const narrow{&volume, 1, 1, 1, 0};
  EXPECT_EQ(narrow.get(4, 3), 34);
}

TEST(SliceViewsTest, ABoolVoxelIsABitOfAWord) {
  TImageDataset<bool, 3> volume({130, 1, 1});
  volume.pages[0].data[64] = true;
  Transform::CIsliceXY<bool> const xy{&volume, 130, 1, 1, 0};
  EXPECT_FALSE(xy.get(63, 0));
  EXPECT_TRUE(xy.get(64, 0));
  EXPECT_FALSE(xy.get(65, 0));
}

template <class T>
class SliceViewsPerTypeTest : public testing::Test {};
TYPED_TEST_SUITE(SliceViewsPerTypeTest, lorb::test::ElementTypes, lorb::test::ElementTypeNames);

TYPED_TEST(SliceViewsPerTypeTest, ConstViewsReadTheElementType) {
  TImageDataset<TypeParam, 3> volume({2, 1, 1});
  volume.pages[0].data[1] = std::numeric_limits<TypeParam>::max();
  Transform::CIsliceXY<TypeParam> const view{&volume, 2, 1, 1, 0};
  static_assert(std::is_same_v<decltype(view.get(0, 0)), TypeParam>);
  EXPECT_EQ(view.get(1, 0), std::numeric_limits<TypeParam>::max());
}

TEST(SliceViewsTest, LayoutIsPointerThenFourIntegers) {
  using View = Transform::IsliceYZ<float>;
  EXPECT_EQ(offsetof(View, dataset), 0U);
  EXPECT_EQ(offsetof(View, width), 8U);
  EXPECT_EQ(offsetof(View, height), 12U);
  EXPECT_EQ(offsetof(View, sliceCount), 16U);
  EXPECT_EQ(offsetof(View, slice), 20U);
  EXPECT_EQ(sizeof(View), 24U);
}

}  // namespace
