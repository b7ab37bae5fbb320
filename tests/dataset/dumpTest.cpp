#include <lorb/dataset/TImageDataset.h>
#include <lorb/dataset/dump.h>

#include <tests/ElementTypes.h>
#include <tests/dataset/expectedConversion.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace lorb {
namespace {

using test::agree;
using test::edgeValues;
using test::expectedConversion;
using test::forEachElementType;
using test::nameOf;

/// A buffer of `count` elements of type `T` and, behind them, one that must stay as it is.
template <class T>
class GuardedBuffer {
 public:
  explicit GuardedBuffer(std::size_t count) : count_(count), elements_(new T[count + 1]()) {
    elements_[count] = T(1);
  }
  T& operator[](std::size_t k) { return elements_[k]; }
  void* address() { return elements_.get(); }
  bool isIntact() const { return elements_[count_] == T(1); }

 private:
  std::size_t count_;
  std::unique_ptr<T[]> elements_;
};

/// Element `k` of an endless repetition of the edge values.
template <class T>
T cycled(std::vector<T> const& values, std::size_t k) {
  return values[k % values.size()];
}

template <class T>
TImageDataset<T, 3> edgeVolume(std::array<std::uint64_t, 3> const& extents) {
  TImageDataset<T, 3> volume(extents);
  std::vector<T> const values = edgeValues<T>();
  auto& data = volume.pages[0].data;
  for (std::size_t k = 0; k < data.size(); ++k) data[k] = cycled(values, k);
  return volume;
}

/// Sizes about the word of a bit vector and about a page of memory.
constexpr std::uint64_t sizes[] = {1, 63, 64, 65, 4095, 4096, 4097, 10007};

template <class T>
class DumpTest : public testing::Test {};
TYPED_TEST_SUITE(DumpTest, test::ElementTypes, test::ElementTypeNames);

TYPED_TEST(DumpTest, WritesEveryVoxelConvertedToTheTypeOfTheBuffer) {
  using T = TypeParam;
  for (std::uint64_t const size : sizes) {
    TImageDataset<T, 3> const volume = edgeVolume<T>({size, 1, 1});
    forEachElementType([&]<class B>(std::type_identity<B>) {
      GuardedBuffer<B> buffer(size);
      dump(&volume, buffer.address(), typeIDOf<B>);
      for (std::size_t k = 0; k < size; ++k) {
        T const value = volume.pages[0].data[k];
        ASSERT_TRUE(agree(buffer[k], expectedConversion<B>(value)))
            << nameOf<B> << " element " << k << " of " << size << ": " << +value << " became " << +buffer[k];
      }
      EXPECT_TRUE(buffer.isIntact()) << nameOf<B> << ", " << size << " voxels";
    });
  }
}

TYPED_TEST(DumpTest, ReadsEveryVoxelConvertedToTheTypeOfTheVolume) {
  using T = TypeParam;
  for (std::uint64_t const size : sizes) {
    forEachElementType([&]<class B>(std::type_identity<B>) {
      std::vector<B> const values = edgeValues<B>();
      GuardedBuffer<B> buffer(size);
      for (std::size_t k = 0; k < size; ++k) buffer[k] = cycled(values, k);
      TImageDataset<T, 3> volume({size, 1, 1});
      volume.pages[0].data.push_back(T(1));
      volume.setMinMaxValue(-3.0, 8.0);
      dump(buffer.address(), typeIDOf<B>, &volume);
      for (std::size_t k = 0; k < size; ++k) {
        T const value = volume.pages[0].data[k];
        ASSERT_TRUE(agree(value, expectedConversion<T>(buffer[k])))
            << nameOf<B> << " element " << k << " of " << size << ": " << +buffer[k] << " became " << +value;
      }
      EXPECT_EQ(volume.pages[0].data[size], T(1)) << nameOf<B> << ", " << size << " voxels";
      EXPECT_EQ(volume.minValue(), -3.0);
      EXPECT_EQ(volume.maxValue(), 8.0);
    });
  }
}

TYPED_TEST(DumpTest, KeepsTheBitsOfTheSameTypeBothWays) {
  using T = TypeParam;
  TImageDataset<T, 3> const volume = edgeVolume<T>({19, 23, 2});
  TImageDataset<T, 3> copy({19, 23, 2});
  GuardedBuffer<T> buffer(874);
  dump(&volume, buffer.address(), typeIDOf<T>);
  dump(buffer.address(), typeIDOf<T>, &copy);
  for (std::size_t k = 0; k < 874; ++k) {
    ASSERT_TRUE(test::haveSameBits<T>(buffer[k], volume.pages[0].data[k])) << k;
    ASSERT_TRUE(test::haveSameBits<T>(copy.pages[0].data[k], volume.pages[0].data[k])) << k;
  }
}

TYPED_TEST(DumpTest, OrdersVoxelsWithXFastest) {
  TImageDataset<TypeParam, 3> volume({4, 3, 2});
  volume(3, 2, 1) = TypeParam(1);
  volume(1, 2, 0) = TypeParam(1);
  GuardedBuffer<int> buffer(24);
  dump(&volume, buffer.address(), typeInt32);
  for (std::size_t k = 0; k < 24; ++k) EXPECT_EQ(buffer[k], k == 23 || k == 9 ? 1 : 0) << k;
  EXPECT_TRUE(buffer.isIntact());

  TImageDataset<TypeParam, 3> back({4, 3, 2});
  dump(buffer.address(), typeInt32, &back);
  EXPECT_EQ(back.pages[0].data, volume.pages[0].data);
}

/// Volumes with a page of another shape.
struct ShapedPage {
  std::array<std::uint64_t, 3> extents, page;
};

/// Larger along any axis; as large as another axis of the volume; rows that begin anywhere in words of bits.
std::vector<ShapedPage> const shapedPages = {
    {{5, 3, 2}, {7, 6, 4}},    {{5, 3, 2}, {5, 6, 4}},      {{5, 3, 2}, {7, 3, 2}},
    {{5, 3, 2}, {5, 3, 4}},    {{4, 4, 2}, {4, 6, 2}},      {{4, 4, 2}, {6, 4, 2}},
    {{4, 4, 2}, {4, 6, 4}},    {{1, 7, 5}, {2, 60, 5}},     {{30, 9, 2}, {37, 9, 2}},
    {{63, 9, 2}, {66, 9, 2}},  {{64, 9, 2}, {79, 10, 2}},   {{65, 70, 2}, {127, 70, 2}},
    {{65, 3, 1}, {128, 3, 1}}, {{130, 70, 1}, {131, 70, 1}}};

TYPED_TEST(DumpTest, FollowsThePageWhereItIsLargerThanTheVolume) {
  using T = TypeParam;
  for (ShapedPage const& shaped : shapedPages) {
    auto const &extents = shaped.extents, &page = shaped.page;
    std::uint64_t const nx = extents[0], ny = extents[1];
    std::uint64_t const count = nx * ny * extents[2], pageSize = page[0] * page[1] * page[2];
    SCOPED_TRACE(testing::Message() << "rows of " << nx << " in a page of " << page[0]);
    auto const placed = [&](T value) {
      TImageDataset<T, 3> volume;
      volume.extents = extents;
      volume.pages.resize(1);
      volume.pages[0].extents = page;
      volume.pages[0].data.assign(pageSize, value);
      return volume;
    };
    auto const elementOf = [&](std::uint64_t k) {
      return (k / nx / ny * page[1] + k / nx % ny) * page[0] + k % nx;
    };
    auto volume = placed(T(0));
    for (std::uint64_t k = 0; k < count; ++k) volume.pages[0].data[elementOf(k)] = T(k % 3 == 0);
    GuardedBuffer<short> buffer(count);
    dump(&volume, buffer.address(), typeInt16);
    for (std::uint64_t k = 0; k < count; ++k) ASSERT_EQ(buffer[k], k % 3 == 0) << k;
    EXPECT_TRUE(buffer.isIntact());
    GuardedBuffer<bool> flags(count);
    dump(&volume, flags.address(), typeBool);
    for (std::uint64_t k = 0; k < count; ++k) ASSERT_EQ(flags[k], k % 3 == 0) << k;
    EXPECT_TRUE(flags.isIntact());

    // Zeros go to the voxels, all other elements of the page stay 1.
    auto back = placed(T(1)), backFromFlags = placed(T(1));
    std::vector<T> expected(pageSize, T(1));
    for (std::uint64_t k = 0; k < count; ++k) {
      buffer[k] = flags[k] = k % 5 == 0;
      expected[elementOf(k)] = T(k % 5 == 0);
    }
    dump(buffer.address(), typeInt16, &back);
    EXPECT_EQ(back.pages[0].data, expected);
    dump(flags.address(), typeBool, &backFromFlags);
    EXPECT_EQ(backFromFlags.pages[0].data, expected);
  }
}

TYPED_TEST(DumpTest, NeedsNoBufferForAVolumeWithoutVoxels) {
  using T = TypeParam;
  TImageDataset<T, 3> fresh, flat({0, 5, 5}), alsoFlat({5, 0, 5}), thin({5, 5, 0});
  for (TImageDataset<T, 3>* const volume : {&fresh, &flat, &alsoFlat, &thin}) {
    forEachElementType([&]<class B>(std::type_identity<B>) {
      dump(volume, nullptr, typeIDOf<B>);
      dump(nullptr, typeIDOf<B>, volume);
    });
  }
}

TYPED_TEST(DumpTest, RefusesUnknownTypesOfTheBufferAndTouchesNothing) {
  using T = TypeParam;
  for (unsigned const code : {0U, 12U, ~0U}) {
    auto const type = static_cast<TypeID>(code);
    TImageDataset<T, 3> volume({2, 1, 1});
    volume(1, 0, 0) = T(1);
    GuardedBuffer<double> buffer(2);
    buffer[0] = 5.0;
    auto const expectNamed = [&](std::invalid_argument const& error) {
      std::string const message = error.what();
      EXPECT_NE(message.find(" " + std::to_string(code) + " "), std::string::npos) << message;
    };
    try {
      dump(&volume, buffer.address(), type);
      ADD_FAILURE() << "code " << code << " was accepted";
    } catch (std::invalid_argument const& error) {
      expectNamed(error);
    }
    try {
      dump(buffer.address(), type, &volume);
      ADD_FAILURE() << "code " << code << " was accepted";
    } catch (std::invalid_argument const& error) {
      expectNamed(error);
    }
    EXPECT_EQ(buffer[0], 5.0);
    EXPECT_EQ(buffer[1], 0.0);
    EXPECT_EQ(volume(0, 0, 0), T(0));
    EXPECT_EQ(volume(1, 0, 0), T(1));
  }
}

TYPED_TEST(DumpTest, RefusesUnknownTypesOfTheBufferForVolumesWithoutVoxelsToo) {
  TImageDataset<TypeParam, 3> volume;
  EXPECT_THROW(dump(&volume, nullptr, typeNone), std::invalid_argument);
  EXPECT_THROW(dump(nullptr, typeNone, &volume), std::invalid_argument);
}

/// A volume of a type that nobody knows.
struct StrangeVolume : ImageDataset {
  explicit StrangeVolume(unsigned volumeCode) : code(volumeCode) {}
  TypeID type_id() const override { return static_cast<TypeID>(code); }
  bool empty() const override { return false; }
  std::uint64_t const* size_array() const override { return size; }
  unsigned code;
  std::uint64_t size[3] = {1, 1, 1};
};

TEST(DumpOfUnknownVolumeTest, NamesTheCodeAndTouchesNothing) {
  for (unsigned const code : {0U, 12U, ~0U}) {
    StrangeVolume volume(code);
    double value = 5.0;
    try {
      dump(&volume, &value, typeDouble);
      ADD_FAILURE() << "code " << code << " was accepted";
    } catch (std::invalid_argument const& error) {
      EXPECT_NE(std::string(error.what()).find(" " + std::to_string(code) + " "), std::string::npos)
          << error.what();
    }
    EXPECT_THROW(dump(&value, typeDouble, &volume), std::invalid_argument);
    EXPECT_EQ(value, 5.0);
  }
}

}  // namespace
}  // namespace lorb
