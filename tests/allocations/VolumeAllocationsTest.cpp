// Memory runs out while volumes and datasets are shaped, copied or converted.

#include <lorb/dataset/Dataset.h>
#include <lorb/dataset/TImageDataset.h>
#include <lorb/dataset/dump.h>

#include <tests/ElementTypes.h>
#include <tests/allocations/failingAllocations.h>

#include <optional>

namespace {

using lorb::Dataset;
using lorb::DatasetCoordinates;
using lorb::TImageDataset;
using lorb::test::onEveryAllocation;
using lorb::test::Trial;

template <class T>
class VolumeAllocationsTest : public testing::Test {};
TYPED_TEST_SUITE(VolumeAllocationsTest, lorb::test::ElementTypes, lorb::test::ElementTypeNames);

TYPED_TEST(VolumeAllocationsTest, ResizeKeepsTheVoxelsAndWorksAfterwards) {
  using T = TypeParam;
  using Extents = typename TImageDataset<T, 3>::Extents;
  Extents const small = {3, 2, 1}, large = {30, 20, 10};
  onEveryAllocation([&](Trial& trial) {
    TImageDataset<T, 3> volume(small);
    volume(2, 1, 0) = T(1);
    volume.setMinMaxValue(0.0, 1.0);
    if (trial.fails([&] { volume.resize(large); })) {
      EXPECT_EQ(volume.extents, large);
      ASSERT_EQ(volume.pages[0].data.size(), 6U);
      EXPECT_EQ(volume.pages[0].data[5], T(1));
      EXPECT_EQ(volume.maxValue(), 1.0);
      volume.resize(small);
      EXPECT_EQ(volume(2, 1, 0), T(1));
      volume.resize(large);
    }
    EXPECT_EQ(volume.pages[0].data.size(), 6000U);
    EXPECT_EQ(volume.pages[0].data[5], T(1));
    EXPECT_EQ(volume.pages[0].data[5999], T(0));
  });
}

TYPED_TEST(VolumeAllocationsTest, AFreshVolumeIsLeftWithoutVoxelsOrWithOne) {
  onEveryAllocation([&](Trial& trial) {
    TImageDataset<TypeParam, 3> volume;
    if (!trial.fails([&] { volume.resize({30, 20, 10}); })) return;
    EXPECT_LE(volume.pages.size(), 1U);
    volume.resize({0, 0, 0});
    volume.resize({30, 20, 10});
    EXPECT_EQ(volume.pages[0].data.size(), 6000U);
  });
}

TYPED_TEST(VolumeAllocationsTest, ConstructionAndCopiesLeaveNothingBehind) {
  onEveryAllocation([&](Trial& trial) {
    trial.fails([] { TImageDataset<TypeParam, 3> const volume({5, 6, 7}); });
  });
  onEveryAllocation([&](Trial& trial) {
    TImageDataset<TypeParam, 3> const volume({5, 6, 7});
    trial.fails([&] { auto const copy = volume; });
  });
}

TYPED_TEST(VolumeAllocationsTest, DumpAllocatesNothing) {
  onEveryAllocation([&](Trial& trial) {
    TImageDataset<TypeParam, 3> volume({5, 6, 7});
    double buffer[210] = {};
    EXPECT_FALSE(trial.fails([&] {
      lorb::dump(&volume, buffer, lorb::typeDouble);
      lorb::dump(buffer, lorb::typeDouble, &volume);
    }));
  });
}

TEST(DatasetAllocationsTest, TheDatasetIsAsItWas) {
  lorb::test::forEachElementType([]<class T>(std::type_identity<T>) {
    onEveryAllocation([&](Trial& trial) {
      Dataset dataset(true);
      dataset.newDataset(DatasetCoordinates(4, 3, 2, 1, 1), lorb::elementInt16, {});
      dataset.setElement<int>(DatasetCoordinates(3, 2, 1, 0, 0), 1234);
      auto const shape = [&] {
        dataset.newDataset(DatasetCoordinates(40, 30, 20, 1, 1), lorb::test::elementTypeOf<T>, {});
      };
      if (!trial.fails(shape)) return;
      EXPECT_EQ(dataset.getSize(), DatasetCoordinates(4, 3, 2, 1, 1));
      EXPECT_EQ(dataset.getElementType(), lorb::elementInt16);
      EXPECT_EQ(dataset.getElement<int>(DatasetCoordinates(3, 2, 1, 0, 0)), 1234);
      shape();
      EXPECT_EQ(dataset.getSize(), DatasetCoordinates(40, 30, 20, 1, 1));
    });
  });
}

}  // namespace
