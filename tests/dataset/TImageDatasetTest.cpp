#include <lorb/dataset/TImageDataset.h>

#include <tests/ElementTypes.h>
#include <tests/sanitized.h>

#include <algorithm>
#include <new>
#include <stdexcept>
#include <string>

namespace lorb {
namespace {

using Extents = std::array<std::uint64_t, 3>;

template <class T>
class TImageDatasetTest : public testing::Test {
 protected:
  using Volume = TImageDataset<T, 3>;

  /// Element `k` of a pattern that every type can hold and that shifts show up in.
  static T pattern(std::uint64_t k) { return static_cast<T>((k * k + k / 3) % 5 % 2); }

  static void fill(Volume& volume) {
    auto& data = volume.pages[0].data;
    for (std::uint64_t k = 0; k < data.size(); ++k) data[k] = pattern(k);
  }

  static Page<T, 3> pageOf(std::uint64_t count) {
    Page<T, 3> page;
    page.data.assign(count, T(1));
    page.extents = {count, 1, 1};
    return page;
  }
};
TYPED_TEST_SUITE(TImageDatasetTest, test::ElementTypes, test::ElementTypeNames);

TEST(TImageDatasetTest, AVolumeThatWasMovedFromIsNewAgain) {
  TImageDataset<float, 3> source({2, 3, 4});
  source(1, 2, 3) = 5.0F;
  source.setMinMaxValue(0.0, 5.0);
  source.worldEmbedding().setVoxelSpacing(WorldCoordinates(1, 2, 3, 0));
  TImageDataset<float, 3> moved = std::move(source);
  EXPECT_EQ(moved.extents, (Extents{2, 3, 4}));
  EXPECT_EQ(moved(1, 2, 3), 5.0F);
  EXPECT_EQ(moved.maxValue(), 5.0);
  EXPECT_EQ(moved.worldEmbedding().getVoxelSpacing()[1], 2.0);
  EXPECT_EQ(source.extents, (Extents{0, 0, 0}));
  EXPECT_TRUE(source.empty());
  source.resize({2, 3, 4});
  EXPECT_EQ(source.voxels().size(), 24U);

  TImageDataset<float, 3> assigned({7, 1, 1});
  assigned = std::move(moved);
  EXPECT_EQ(assigned(1, 2, 3), 5.0F);
  EXPECT_EQ(moved.extents, (Extents{0, 0, 0}));
  EXPECT_TRUE(moved.empty());
  EXPECT_TRUE(moved.voxels().empty());
}

TYPED_TEST(TImageDatasetTest, KnowsItsCode) {
  typename TestFixture::Volume const volume;
  EXPECT_EQ(volume.type_id(), typeIDOf<TypeParam>);
  EXPECT_EQ(static_cast<ImageDataset const&>(volume).type_id(), typeIDOf<TypeParam>);
}

TYPED_TEST(TImageDatasetTest, IsEmptyWhenNew) {
  typename TestFixture::Volume const volume;
  EXPECT_TRUE(volume.empty());
  EXPECT_EQ(volume.extents, (Extents{0, 0, 0}));
  for (int axis = 0; axis < 3; ++axis) EXPECT_EQ(volume.size_array()[axis], 0U);
  EXPECT_EQ(volume.size_array(), volume.extents.data());
}

TYPED_TEST(TImageDatasetTest, AddsExtentsAndPagesBehindItsBase) {
  typename TestFixture::Volume volume;
  auto const* const start = reinterpret_cast<char const*>(static_cast<ImageDataset*>(&volume));
  EXPECT_EQ(static_cast<void const*>(start), static_cast<void const*>(&volume));
  EXPECT_EQ(reinterpret_cast<char const*>(&volume.extents) - start,
            static_cast<std::ptrdiff_t>(sizeof(ImageDataset)));
  EXPECT_EQ(reinterpret_cast<char const*>(&volume.pages) - reinterpret_cast<char const*>(&volume.extents),
            24);
  Page<TypeParam, 3> page;
  EXPECT_EQ(static_cast<void*>(&page.data), static_cast<void*>(&page));
  EXPECT_EQ(reinterpret_cast<char*>(&page.extents) - reinterpret_cast<char*>(&page),
            static_cast<std::ptrdiff_t>(sizeof(page.data)));
}

TYPED_TEST(TImageDatasetTest, HasADefaultPageOfOneZeroVoxel) {
  Page<TypeParam, 3> const page;
  EXPECT_EQ(page.extents, (Extents{1, 1, 1}));
  ASSERT_EQ(page.data.size(), 1U);
  EXPECT_EQ(page.data[0], TypeParam());
}

TYPED_TEST(TImageDatasetTest, ChangesNothingWhenAFreshVolumeIsResizedToNothing) {
  typename TestFixture::Volume volume;
  volume.setMinMaxValue(2.0, 3.0);
  volume.resize({0, 0, 0});
  EXPECT_TRUE(volume.empty());
  EXPECT_EQ(volume.minValue(), 2.0);
  EXPECT_EQ(volume.maxValue(), 3.0);
}

TYPED_TEST(TImageDatasetTest, HasAPageWithoutVoxelsWhenOneExtentIsZero) {
  typename TestFixture::Volume volume;
  volume.resize({0, 5, 5});
  EXPECT_FALSE(volume.empty());
  ASSERT_EQ(volume.pages.size(), 1U);
  EXPECT_EQ(volume.pages[0].extents, (Extents{0, 5, 5}));
  EXPECT_TRUE(volume.pages[0].data.empty());
}

TYPED_TEST(TImageDatasetTest, HasOnePageOfZeroVoxelsWhenResized) {
  typename TestFixture::Volume volume;
  volume.resize({2, 3, 4});
  ASSERT_EQ(volume.pages.size(), 1U);
  EXPECT_EQ(volume.extents, (Extents{2, 3, 4}));
  EXPECT_EQ(volume.size_array()[0], 2U);
  EXPECT_EQ(volume.size_array()[1], 3U);
  EXPECT_EQ(volume.size_array()[2], 4U);
  EXPECT_EQ(volume.pages[0].extents, (Extents{2, 3, 4}));
  ASSERT_EQ(volume.pages[0].data.size(), 24U);
  for (TypeParam const value : volume.pages[0].data) EXPECT_EQ(value, TypeParam());
  volume(1, 2, 3) = TypeParam(1);
  EXPECT_EQ(volume.pages[0].data[23], TypeParam(1));
}

TYPED_TEST(TImageDatasetTest, KeepsVoxelsAndRangeWhenResizedToTheSameExtents) {
  typename TestFixture::Volume volume({2, 3, 4});
  this->fill(volume);
  volume.setMinMaxValue(-4.0, 9.0);
  auto const before = volume.pages[0].data;
  volume.resize({2, 3, 4});
  EXPECT_EQ(volume.pages[0].data, before);
  EXPECT_EQ(volume.minValue(), -4.0);
  EXPECT_EQ(volume.maxValue(), 9.0);
}

TYPED_TEST(TImageDatasetTest, KeepsAllPagesWhenResizedToTheSameExtents) {
  typename TestFixture::Volume volume({2, 3, 4});
  volume.pages.push_back(this->pageOf(7));
  volume.resize({2, 3, 4});
  EXPECT_EQ(volume.pages.size(), 2U);
}

TYPED_TEST(TImageDatasetTest, ForgetsTheRangeWhenExtentsChange) {
  typename TestFixture::Volume volume({2, 3, 4});
  volume.setMinMaxValue(-4.0, 9.0);
  volume.resize({4, 3, 2});
  EXPECT_EQ(volume.minValue(), 1.0);
  EXPECT_EQ(volume.maxValue(), 0.0);
}

TYPED_TEST(TImageDatasetTest, KeepsElementsByIndexWhenItGrowsAndZeroesTheOthers) {
  typename TestFixture::Volume volume({5, 13, 2});
  this->fill(volume);
  volume.resize({7, 11, 3});
  auto const& data = volume.pages[0].data;
  ASSERT_EQ(data.size(), 231U);
  EXPECT_EQ(volume.pages[0].extents, (Extents{7, 11, 3}));
  for (std::uint64_t k = 0; k < data.size(); ++k) {
    EXPECT_EQ(data[k], k < 130 ? this->pattern(k) : TypeParam()) << k;
  }
}

TYPED_TEST(TImageDatasetTest, TakesNoMoreMemoryThanItGrowsTo) {
  typename TestFixture::Volume volume({64, 10, 2});
  volume.resize({64, 13, 2});
  EXPECT_EQ(volume.pages[0].data.capacity(), 64U * 13 * 2);
}

TYPED_TEST(TImageDatasetTest, DropsSurplusElementsWhenItShrinks) {
  typename TestFixture::Volume volume({5, 13, 2});
  this->fill(volume);
  volume.resize({3, 1, 23});
  ASSERT_EQ(volume.pages[0].data.size(), 69U);
  for (std::uint64_t k = 0; k < 69; ++k) EXPECT_EQ(volume.pages[0].data[k], this->pattern(k)) << k;
  volume.resize({0, 0, 0});
  EXPECT_FALSE(volume.empty());
  EXPECT_TRUE(volume.pages[0].data.empty());
  volume.resize({5, 13, 2});
  for (TypeParam const value : volume.pages[0].data) EXPECT_EQ(value, TypeParam());
}

TYPED_TEST(TImageDatasetTest, KeepsTheFirstOfSeveralPages) {
  typename TestFixture::Volume volume({2, 3, 4});
  this->fill(volume);
  volume.pages.push_back(this->pageOf(7));
  volume.pages.push_back(this->pageOf(9));
  volume.resize({2, 3, 5});
  ASSERT_EQ(volume.pages.size(), 1U);
  EXPECT_EQ(volume.pages[0].extents, (Extents{2, 3, 5}));
  ASSERT_EQ(volume.pages[0].data.size(), 30U);
  for (std::uint64_t k = 0; k < 30; ++k) {
    EXPECT_EQ(volume.pages[0].data[k], k < 24 ? this->pattern(k) : TypeParam()) << k;
  }
}

TYPED_TEST(TImageDatasetTest, KeepsThePageThatAFreshVolumeWasGiven) {
  typename TestFixture::Volume volume;
  volume.pages.push_back(this->pageOf(2));
  volume.resize({3, 1, 1});
  ASSERT_EQ(volume.pages.size(), 1U);
  EXPECT_EQ(volume.pages[0].data, (std::vector<TypeParam>{TypeParam(1), TypeParam(1), TypeParam(0)}));
}

TYPED_TEST(TImageDatasetTest, IsEmptyWithExtentsButWithoutPage) {
  typename TestFixture::Volume volume;
  volume.extents = {1, 2, 3};
  EXPECT_TRUE(volume.empty());
  volume.pages.emplace_back();
  EXPECT_FALSE(volume.empty());
}

TYPED_TEST(TImageDatasetTest, WordsTheLengthErrorAlikeForAllTypes) {
  std::uint64_t const tooMany = std::vector<TypeParam>().max_size() + 1;
  for (Extents const& extents : {Extents{~std::uint64_t{0}, 1, 1}, Extents{1, tooMany, 1}}) {
    typename TestFixture::Volume volume;
    try {
      volume.resize(extents);
      FAIL() << "resize must throw";
    } catch (std::length_error const& error) {
      EXPECT_STREQ(error.what(), "vector::_M_default_append");
    }
  }
}

TYPED_TEST(TImageDatasetTest, HasNewExtentsAndOldVoxelsWhenStorageCantBeHad) {
  typename TestFixture::Volume volume({2, 3, 4});
  this->fill(volume);
  auto const before = volume.pages[0].data;
  Extents const tooLarge = {~std::uint64_t{0}, 1, 1};
  EXPECT_THROW(volume.resize(tooLarge), std::length_error);
  EXPECT_EQ(volume.extents, tooLarge);
  EXPECT_EQ(volume.pages[0].data, before);
  volume.resize({2, 3, 4});
  EXPECT_EQ(volume.pages[0].data, before);
}

TYPED_TEST(TImageDatasetTest, PassesOnThatMemoryIsExhausted) {
  if (test::isSanitized) GTEST_SKIP();
  typename TestFixture::Volume volume;
  std::uint64_t const most = std::vector<TypeParam>().max_size();
  EXPECT_THROW(volume.resize({most, 1, 1}), std::bad_alloc);
}

TYPED_TEST(TImageDatasetTest, CountsVoxelsModuloTwoToTheSixtyFourth) {
  typename TestFixture::Volume volume({std::uint64_t{1} << 32, std::uint64_t{1} << 32, 3});
  EXPECT_TRUE(volume.pages[0].data.empty());
}

TYPED_TEST(TImageDatasetTest, IsShapedByItsConstructor) {
  typename TestFixture::Volume const volume({4, 5, 6});
  EXPECT_EQ(volume.extents, (Extents{4, 5, 6}));
  ASSERT_EQ(volume.pages.size(), 1U);
  EXPECT_EQ(volume.pages[0].data, std::vector<TypeParam>(120));
  EXPECT_GT(volume.minValue(), volume.maxValue());
  EXPECT_TRUE((typename TestFixture::Volume({0, 0, 0}).empty()));
  EXPECT_THROW(typename TestFixture::Volume({~std::uint64_t{0}, 1, 1}), std::length_error);
}

TYPED_TEST(TImageDatasetTest, AddressesVoxelsWithXFastest) {
  typename TestFixture::Volume volume({3, 4, 5});
  this->fill(volume);
  auto const& constant = volume;
  std::uint64_t k = 0;
  for (std::uint64_t z = 0; z < 5; ++z)
    for (std::uint64_t y = 0; y < 4; ++y)
      for (std::uint64_t x = 0; x < 3; ++x, ++k) {
        EXPECT_EQ(volume(x, y, z), this->pattern(k));
        EXPECT_EQ(constant(x, y, z), this->pattern(k));
        EXPECT_EQ(volume.at(x, y, z), this->pattern(k));
        EXPECT_EQ(constant.at(x, y, z), this->pattern(k));
      }
  volume.at(2, 1, 0) = TypeParam(1);
  EXPECT_EQ(volume.pages[0].data[5], TypeParam(1));
  volume.at(2, 1, 0) = TypeParam(0);
  EXPECT_EQ(volume.pages[0].data[5], TypeParam(0));
}

TYPED_TEST(TImageDatasetTest, AddressesVoxelsByTheExtentsOfThePage) {
  typename TestFixture::Volume volume({2, 2, 2});
  volume.pages[0].extents = {3, 4, 2};
  volume.pages[0].data.assign(24, TypeParam(0));
  volume(1, 1, 1) = TypeParam(1);
  EXPECT_EQ(volume.pages[0].data[(1 * 4 + 1) * 3 + 1], TypeParam(1));
}

TYPED_TEST(TImageDatasetTest, NamesPositionAndExtentsWhenThereIsNoSuchVoxel) {
  typename TestFixture::Volume volume({3, 4, 5});
  auto const& constant = volume;
  for (Extents const& p :
       {Extents{3, 0, 0}, Extents{0, 4, 0}, Extents{0, 0, 5}, Extents{~std::uint64_t{0}, 1, 1}}) {
    EXPECT_THROW(constant.at(p[0], p[1], p[2]), std::out_of_range);
    try {
      volume.at(p[0], p[1], p[2]);
      FAIL() << "at must throw";
    } catch (std::out_of_range const& error) {
      std::string const message = error.what();
      std::string const position =
          "(" + std::to_string(p[0]) + ", " + std::to_string(p[1]) + ", " + std::to_string(p[2]) + ")";
      EXPECT_NE(message.find(position), std::string::npos) << message;
      EXPECT_NE(message.find("(3, 4, 5)"), std::string::npos) << message;
    }
  }
  EXPECT_THROW(typename TestFixture::Volume().at(0, 0, 0), std::out_of_range);
}

TYPED_TEST(TImageDatasetTest, ShowsAllVoxelsUnlessTheyAreBits) {
  if constexpr (!std::is_same_v<TypeParam, bool>) {
    typename TestFixture::Volume volume({3, 4, 5});
    this->fill(volume);
    auto const& constant = volume;
    EXPECT_EQ(volume.voxels().data(), volume.pages[0].data.data());
    EXPECT_EQ(volume.voxels().size(), 60U);
    EXPECT_EQ(constant.voxels().data(), volume.pages[0].data.data());
    volume.voxels()[59] = TypeParam(1);
    EXPECT_EQ(volume(2, 3, 4), TypeParam(1));
    EXPECT_TRUE((typename TestFixture::Volume().voxels().empty()));
    EXPECT_TRUE((std::is_same_v<decltype(constant.voxels()), std::span<TypeParam const>>));
  } else {
    constexpr bool offersVoxels = requires(TImageDataset<TypeParam, 3> & volume) {
      volume.voxels();
    };
    EXPECT_FALSE(offersVoxels);
  }
}

TYPED_TEST(TImageDatasetTest, IsCopiedDeeply) {
  typename TestFixture::Volume volume({3, 4, 5});
  this->fill(volume);
  volume.setMinMaxValue(0.0, 1.0);
  volume.worldEmbedding().setDatasetOrigin(WorldCoordinates(1, 2, 3, 0));
  typename TestFixture::Volume copy = volume, assigned({1, 1, 1});
  assigned = volume;
  auto const before = volume.pages[0].data;
  std::fill(volume.pages[0].data.begin(), volume.pages[0].data.end(), TypeParam(0));
  for (auto const* const other : {&copy, &assigned}) {
    EXPECT_EQ(other->pages[0].data, before);
    EXPECT_EQ(other->extents, (Extents{3, 4, 5}));
    EXPECT_EQ(other->maxValue(), 1.0);
    EXPECT_EQ(other->worldEmbedding().getDatasetOrigin(), WorldCoordinates(1, 2, 3, 0));
  }
}

TEST(TImageDatasetOfBoolTest, KeepsVoxelKInBitKModulo64OfWordKDiv64) {
  TImageDataset<bool, 3> volume({130, 1, 1});
  volume(129, 0, 0) = true;
  volume(64, 0, 0) = true;
  // The iterator of a bit vector begins with the address of its words.
  unsigned long const* const words = volume.pages[0].data.begin()._M_p;
  EXPECT_EQ(words[0], 0UL);
  EXPECT_EQ(words[1], 1UL);
  EXPECT_EQ(words[2] & 3UL, 2UL);
}

TEST(TypeIDTest, NumbersTheElementTypesFromOneToEleven) {
  EXPECT_EQ(sizeof(TypeID), 4U);
  EXPECT_EQ(typeIDOf<bool>, 1);
  EXPECT_EQ(typeIDOf<signed char>, 2);
  EXPECT_EQ(typeIDOf<unsigned char>, 3);
  EXPECT_EQ(typeIDOf<short>, 4);
  EXPECT_EQ(typeIDOf<unsigned short>, 5);
  EXPECT_EQ(typeIDOf<int>, 6);
  EXPECT_EQ(typeIDOf<unsigned int>, 7);
  EXPECT_EQ(typeIDOf<long>, 8);
  EXPECT_EQ(typeIDOf<unsigned long>, 9);
  EXPECT_EQ(typeIDOf<float>, 10);
  EXPECT_EQ(typeIDOf<double>, 11);
  EXPECT_EQ(typeIDOf<char>, typeNone);
}

TEST(TypeIDTest, IsVisitedWithItsTypeOrNotAtAll) {
  test::forEachElementType([]<class T>(std::type_identity<T>) {
    int calls = 0;
    EXPECT_TRUE(visitElementType(typeIDOf<T>, [&]<class Visited>(std::type_identity<Visited>) {
      EXPECT_TRUE((std::is_same_v<Visited, T>)) << test::nameOf<T>;
      ++calls;
    }));
    EXPECT_EQ(calls, 1);
  });
  for (unsigned const code : {0U, 12U, ~0U}) {
    EXPECT_FALSE(visitElementType(static_cast<TypeID>(code), [](auto) { ADD_FAILURE(); })) << code;
  }
}

}  // namespace
}  // namespace lorb
