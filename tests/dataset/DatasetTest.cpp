#include <lorb/dataset/Dataset.h>

#include <tests/ElementTypes.h>
#include <tests/dataset/expectedConversion.h>
#include <tests/sanitized.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

namespace lorb {
namespace {

using test::agree;
using test::edgeValues;
using test::elementTypeOf;
using test::expectedConversion;
using test::forEachElementType;
using test::nameOf;

constexpr int largestInt = std::numeric_limits<int>::max();
DatasetCoordinates const smallExtents(3, 4, 2, 3, 2);

void shape(Dataset& dataset, DatasetCoordinates const& extents, LORBElementType type) {
  dataset.newDataset(extents, type, DatasetWorldEmbedding());
}

/// Calls `f` with every position within `extents`, x fastest.
template <class F>
void forEachPosition(DatasetCoordinates const& extents, F f) {
  DatasetCoordinates p;
  for (p[4] = 0; p[4] < extents[4]; ++p[4])
    for (p[3] = 0; p[3] < extents[3]; ++p[3])
      for (p[2] = 0; p[2] < extents[2]; ++p[2])
        for (p[1] = 0; p[1] < extents[1]; ++p[1])
          for (p[0] = 0; p[0] < extents[0]; ++p[0]) f(p);
}

/// Numbers all elements 1, 2, 3 …
void number(Dataset& dataset) {
  double next = 1;
  forEachPosition(dataset.getSize(), [&](auto& p) { dataset.setElement<double>(p, next++); });
}

std::vector<double> contents(Dataset& dataset) {
  std::vector<double> values;
  forEachPosition(dataset.getSize(), [&](auto& p) { values.push_back(dataset.getElement<double>(p)); });
  return values;
}

std::string toText(DatasetCoordinates const& c) {
  std::string text = "(";
  for (int axis = 0; axis < 4; ++axis) text += std::to_string(c[axis]) + ", ";
  return text + std::to_string(c[4]) + ")";
}

/// The message of the exception of type `E` that `f` throws; "nothing" when it throws none.
template <class E>
std::string messageOf(std::function<void()> const& f) {
  try {
    f();
  } catch (E const& error) {
    return error.what();
  }
  return "nothing";
}

TEST(LORBElementTypeTest, IsFloatingExactlyFromTwelveOn) {
  EXPECT_EQ(elementFloat, 12);
  EXPECT_EQ(elementDouble, 13);
  EXPECT_EQ(elementUInt32, 9);
  EXPECT_EQ(elementNone, 0);
  EXPECT_EQ(sizeof(LORBElementType), 4U);
  forEachElementType([]<class T>(std::type_identity<T>) {
    EXPECT_EQ(elementTypeOf<T> >= 12, std::is_floating_point_v<T>) << nameOf<T>;
  });
}

TEST(DatasetTest, IsEmptyWhenNew) {
  Dataset dataset(true);
  EXPECT_EQ(dataset.getSize(), DatasetCoordinates());
  EXPECT_EQ(dataset.getElementType(), elementNone);
  EXPECT_THROW(dataset.getElement<float>(DatasetCoordinates()), std::out_of_range);
  EXPECT_THROW(dataset.setElement<float>(DatasetCoordinates(), 1.0F), std::out_of_range);
}

TEST(DatasetTest, ReportsItsSizeAlongEveryAxis) {
  Dataset dataset(true);
  shape(dataset, DatasetCoordinates(7, 5, 1, 1, 1), elementUInt32);
  DatasetCoordinates size = dataset.getSize();
  EXPECT_EQ(size[0], 7);
  EXPECT_EQ(size[1], 5);
  EXPECT_EQ(size[2], 1);
  shape(dataset, smallExtents, elementFloat);
  EXPECT_EQ(dataset.getSize(), smallExtents);
}

TEST(DatasetTest, KeepsItsPlacement) {
  DatasetWorldEmbedding embedding;
  embedding.setDatasetOrigin(WorldCoordinates(1, 2, 3, 0));
  embedding.setVoxelSpacing(WorldCoordinates(4, 5, 6, 0));
  Dataset dataset(true);
  dataset.newDataset(smallExtents, elementInt16, embedding);
  EXPECT_EQ(dataset.worldEmbedding().getDatasetOrigin(), WorldCoordinates(1, 2, 3, 0));
  EXPECT_EQ(dataset.worldEmbedding().getVoxelSpacing(), WorldCoordinates(4, 5, 6, 0));
}

TEST(DatasetTest, AllowsExtentsOfZero) {
  for (int axis = 0; axis < DatasetCoordinates::axisCount; ++axis) {
    DatasetCoordinates extents = smallExtents;
    extents[axis] = 0;
    Dataset dataset(true);
    shape(dataset, extents, elementDouble);
    EXPECT_EQ(dataset.getSize(), extents);
    EXPECT_EQ(dataset.getElementType(), elementDouble);
    EXPECT_THROW(dataset.getElement<float>(DatasetCoordinates()), std::out_of_range) << "axis " << axis;
    EXPECT_THROW(dataset.setElement<float>(DatasetCoordinates(), 1.0F), std::out_of_range) << "axis " << axis;
  }
}

TEST(DatasetTest, AllowsAnyExtentsBesideOneOfZero) {
  constexpr int most = std::numeric_limits<int>::max();
  Dataset dataset(true);
  for (DatasetCoordinates const& extents :
       {DatasetCoordinates(most, most, most, most, 0), DatasetCoordinates(most, most, most, 0, 1)}) {
    shape(dataset, extents, elementDouble);
    EXPECT_EQ(dataset.getSize(), extents);
  }
}

TEST(DatasetTest, RefusesCodesThatNameNoElementTypeAndStaysAsItWas) {
  Dataset dataset(true);
  shape(dataset, smallExtents, elementInt16);
  number(dataset);
  std::vector<double> const before = contents(dataset);
  for (int const code : {0, 6, 11, 14, -1, std::numeric_limits<int>::min(), largestInt}) {
    std::string const message = messageOf<std::invalid_argument>(
        [&] { shape(dataset, DatasetCoordinates(1, 1, 1, 1, 1), static_cast<LORBElementType>(code)); });
    EXPECT_NE(message.find(" " + std::to_string(code) + " "), std::string::npos) << message;
    EXPECT_EQ(dataset.getSize(), smallExtents);
    EXPECT_EQ(dataset.getElementType(), elementInt16);
    EXPECT_EQ(contents(dataset), before);
  }
}

TEST(DatasetTest, RefusesNegativeExtentsAndStaysAsItWas) {
  Dataset dataset(true);
  shape(dataset, smallExtents, elementInt16);
  number(dataset);
  std::vector<double> const before = contents(dataset);
  for (int axis = 0; axis < DatasetCoordinates::axisCount; ++axis) {
    DatasetCoordinates extents(1, 1, 1, 1, 1);
    extents[axis] = -1;
    std::string const message =
        messageOf<std::invalid_argument>([&] { shape(dataset, extents, elementFloat); });
    EXPECT_NE(message.find("-1"), std::string::npos) << message;
    EXPECT_EQ(dataset.getSize(), smallExtents);
    EXPECT_EQ(dataset.getElementType(), elementInt16);
    EXPECT_EQ(contents(dataset), before);
  }
}

TEST(DatasetTest, StaysAsItWasWhenStorageCantBeHad) {
  if (test::isSanitized) GTEST_SKIP();
  Dataset dataset(true);
  shape(dataset, smallExtents, elementInt16);
  number(dataset);
  std::vector<double> const before = contents(dataset);
  for (DatasetCoordinates const& extents :
       {DatasetCoordinates(largestInt, largestInt, largestInt, largestInt, largestInt),
        DatasetCoordinates(largestInt, largestInt, 2, 1, 1)}) {
    EXPECT_THROW(shape(dataset, extents, elementDouble), std::bad_alloc);
    EXPECT_EQ(dataset.getSize(), smallExtents);
    EXPECT_EQ(dataset.getElementType(), elementInt16);
    EXPECT_EQ(contents(dataset), before);
  }
}

TEST(DatasetTest, NamesPositionAndExtentsWhenThePositionLiesOutside) {
  Dataset dataset(true);
  shape(dataset, DatasetCoordinates(3, 4, 2, 1, 1), elementFloat);
  DatasetCoordinates const outside(1, -7, 0, 0, 0);
  float values[2] = {};
  for (std::string const& message : {
           messageOf<std::out_of_range>([&] { dataset.getElement<float>(outside); }),
           messageOf<std::out_of_range>([&] { dataset.setElement<float>(outside, 1.0F); }),
           messageOf<std::out_of_range>([&] { dataset.getRow(outside, 0, 2, values); }),
           messageOf<std::out_of_range>([&] { dataset.setRow(outside, 0, 2, values); }),
       }) {
    EXPECT_NE(message.find("(1, -7, 0, 0, 0)"), std::string::npos) << message;
    EXPECT_NE(message.find("(3, 4, 2, 1, 1)"), std::string::npos) << message;
  }
}

TEST(DatasetTest, TouchesNothingWhenThePositionLiesOutside) {
  Dataset dataset(true);
  shape(dataset, smallExtents, elementInt32);
  number(dataset);
  std::vector<double> const before = contents(dataset);
  for (int axis = 0; axis < DatasetCoordinates::axisCount; ++axis) {
    for (int const component : {-1, smallExtents[axis], std::numeric_limits<int>::min(), largestInt}) {
      DatasetCoordinates outside(1, 1, 1, 1, 1);
      outside[axis] = component;
      float value = 77.0F;
      EXPECT_THROW(dataset.getElement<float>(outside), std::out_of_range);
      EXPECT_THROW(dataset.setElement<float>(outside, value), std::out_of_range);
      for (int along = 0; along < DatasetCoordinates::axisCount; ++along) {
        EXPECT_THROW(dataset.getRow(outside, along, 1, &value), std::out_of_range);
        EXPECT_THROW(dataset.setRow(outside, along, 1, &value), std::out_of_range);
      }
      EXPECT_EQ(value, 77.0F);
    }
  }
  EXPECT_EQ(contents(dataset), before);
}

TEST(DatasetTest, TouchesNothingWhenARowEndsOutside) {
  Dataset dataset(true);
  shape(dataset, smallExtents, elementInt32);
  number(dataset);
  std::vector<double> const before = contents(dataset);
  DatasetCoordinates const first(1, 1, 1, 1, 1);
  for (int axis = 0; axis < DatasetCoordinates::axisCount; ++axis) {
    int const fitting = smallExtents[axis] - 1;
    for (int const count : {fitting + 1, 1000, largestInt}) {
      std::vector<float> values(8, 77.0F);
      std::string const message =
          messageOf<std::out_of_range>([&] { dataset.getRow(first, axis, count, values.data()); });
      DatasetCoordinates beyond = first;
      beyond[axis] = smallExtents[axis];
      EXPECT_NE(message.find(toText(beyond)), std::string::npos) << message;
      EXPECT_NE(message.find(toText(smallExtents)), std::string::npos) << message;
      EXPECT_EQ(values, std::vector<float>(8, 77.0F));
      EXPECT_THROW(dataset.setRow(first, axis, count, values.data()), std::out_of_range);
      EXPECT_EQ(contents(dataset), before);
    }
    std::vector<float> values(8);
    EXPECT_NO_THROW(dataset.getRow(first, axis, fitting, values.data()));
  }
}

TEST(DatasetTest, DoesNothingForARowWithoutElements) {
  Dataset dataset(true);
  shape(dataset, smallExtents, elementInt32);
  number(dataset);
  std::vector<double> const before = contents(dataset);
  for (int const count : {0, -1, std::numeric_limits<int>::min()}) {
    for (DatasetCoordinates const& anywhere : {DatasetCoordinates(), DatasetCoordinates(-1, 99, 0, 0, 0)}) {
      dataset.getRow<float>(anywhere, 0, count, nullptr);
      dataset.setRow<float>(anywhere, 0, count, nullptr);
    }
  }
  EXPECT_EQ(contents(dataset), before);
}

TEST(DatasetTest, HoldsEveryWholeNumberOfAFloatInCodeNine) {
  Dataset dataset(true);
  shape(dataset, DatasetCoordinates(3, 2, 1, 1, 1), static_cast<LORBElementType>(9));
  DatasetCoordinates const position(1, 1, 0, 0, 0);
  auto const expectKept = [&](float value) {
    dataset.setElement<float>(position, value);
    ASSERT_EQ(dataset.getElement<float>(position), value);
    ASSERT_EQ(dataset.getElement<double>(position), static_cast<double>(value));
  };
  for (int k = 0; k < 70'000; ++k) expectKept(static_cast<float>(k));
  for (int exponent = 16; exponent < 32; ++exponent) {
    float const first = std::ldexp(1.0F, exponent);
    float const step = std::max(1.0F, std::ldexp(1.0F, exponent - 23));
    float const count = first / step;
    for (float k = 0; k < 100; ++k) {
      expectKept(first + k * step);
      expectKept(first + (count - 1 - k) * step);
    }
    for (float k = 0; k < count; k += 9973) expectKept(first + k * step);
  }
  expectKept(4294967040.0F);  // the largest float below 2 to the 32nd
}

TEST(DatasetTest, SaturatesInCodeNine) {
  Dataset dataset(true);
  shape(dataset, DatasetCoordinates(1, 1, 1, 1, 1), elementUInt32);
  dataset.setElement<float>(DatasetCoordinates(), 4294967296.0F);
  EXPECT_EQ(dataset.getElement<unsigned int>(DatasetCoordinates()), 4294967295U);
  dataset.setElement<float>(DatasetCoordinates(), -1.0F);
  EXPECT_EQ(dataset.getElement<unsigned int>(DatasetCoordinates()), 0U);
}

TEST(DatasetTest, LosesWhatItHeldWhenShapedAnew) {
  Dataset dataset(true);
  shape(dataset, smallExtents, elementInt32);
  number(dataset);
  shape(dataset, smallExtents, elementInt32);
  for (double const value : contents(dataset)) EXPECT_EQ(value, 0.0);
}

TEST(DatasetTest, TakesElementsWithoutBeingZeroed) {
  Dataset dataset(false);
  shape(dataset, smallExtents, elementUInt32);
  dataset.announceAccessToFullDataset();
  number(dataset);
  std::vector<double> const values = contents(dataset);
  ASSERT_EQ(values.size(), 144U);
  for (std::size_t k = 0; k < values.size(); ++k) EXPECT_EQ(values[k], static_cast<double>(k + 1));
}

template <class T>
class TypedDatasetTest : public testing::Test {};
TYPED_TEST_SUITE(TypedDatasetTest, test::ElementTypes, test::ElementTypeNames);

TYPED_TEST(TypedDatasetTest, KnowsItsElementType) {
  Dataset dataset(true);
  shape(dataset, smallExtents, elementTypeOf<TypeParam>);
  EXPECT_EQ(dataset.getElementType(), elementTypeOf<TypeParam>);
}

TYPED_TEST(TypedDatasetTest, IsZeroWhenShaped) {
  Dataset dataset(true);
  shape(dataset, smallExtents, elementTypeOf<TypeParam>);
  dataset.announceAccessToFullDataset();
  std::vector<double> const values = contents(dataset);
  EXPECT_EQ(values.size(), 144U);
  for (double const value : values) EXPECT_EQ(value, 0.0);
}

TYPED_TEST(TypedDatasetTest, KeepsEveryElementApart) {
  Dataset dataset(true);
  shape(dataset, smallExtents, elementTypeOf<TypeParam>);
  forEachPosition(smallExtents, [&](auto& chosen) {
    dataset.setElement<TypeParam>(chosen, TypeParam(1));
    double sum = 0;
    for (double const value : contents(dataset)) sum += value;
    ASSERT_EQ(sum, 1.0);
    ASSERT_EQ(dataset.template getElement<TypeParam>(chosen), TypeParam(1));
    dataset.setElement<TypeParam>(chosen, TypeParam(0));
  });
}

TYPED_TEST(TypedDatasetTest, ConvertsOnTheWayInAndOut) {
  using Stored = TypeParam;
  Dataset dataset(true);
  shape(dataset, DatasetCoordinates(1, 1, 1, 1, 1), elementTypeOf<Stored>);
  DatasetCoordinates const position;
  forEachElementType([&]<class T>(std::type_identity<T>) {
    for (T const value : edgeValues<T>()) {
      dataset.setElement<T>(position, value);
      ASSERT_TRUE(agree(dataset.getElement<Stored>(position), expectedConversion<Stored>(value)))
          << nameOf<T> << " " << +value << " was stored as " << +dataset.getElement<Stored>(position);
    }
    for (Stored const value : edgeValues<Stored>()) {
      dataset.setElement<Stored>(position, value);
      ASSERT_TRUE(agree(dataset.getElement<T>(position), expectedConversion<T>(value)))
          << +value << " was read as " << nameOf<T> << " " << +dataset.getElement<T>(position);
    }
  });
}

TYPED_TEST(TypedDatasetTest, ReadsRowsAlongEveryAxisLikeElements) {
  Dataset dataset(true);
  shape(dataset, smallExtents, elementTypeOf<TypeParam>);
  number(dataset);
  forEachPosition(smallExtents, [&](auto& first) {
    for (int axis = 0; axis < DatasetCoordinates::axisCount; ++axis) {
      for (int count = 1; count <= smallExtents[axis] - first[axis]; ++count) {
        std::vector<float> row(static_cast<std::size_t>(count) + 1, -5.0F), elements(row);
        DatasetCoordinates p = first;
        for (int k = 0; k < count; ++k, ++p[axis]) {
          elements[static_cast<std::size_t>(k)] = dataset.getElement<float>(p);
        }
        dataset.getRow(first, axis, count, row.data());
        ASSERT_EQ(row, elements) << "axis " << axis << ", count " << count;
      }
    }
  });
}

TYPED_TEST(TypedDatasetTest, WritesRowsAlongEveryAxisLikeElements) {
  Dataset byRow(true), byElement(true);
  for (Dataset* const dataset : {&byRow, &byElement}) shape(*dataset, smallExtents, elementTypeOf<TypeParam>);
  std::vector<float> const values = {-0.5F, 1.5F, 300.25F, 4e9F};
  forEachPosition(smallExtents, [&](auto& first) {
    for (int axis = 0; axis < DatasetCoordinates::axisCount; ++axis) {
      int const count = smallExtents[axis] - first[axis];
      for (Dataset* const dataset : {&byRow, &byElement}) number(*dataset);
      DatasetCoordinates p = first;
      for (int k = 0; k < count; ++k, ++p[axis]) {
        byElement.setElement<float>(p, values[static_cast<std::size_t>(k)]);
      }
      byRow.setRow(first, axis, count, values.data());
      ASSERT_EQ(contents(byRow), contents(byElement)) << "axis " << axis;
    }
  });
}

}  // namespace
}  // namespace lorb
