#include <lorb/algorithm/EuclideanDistanceTransform2D.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <new>

namespace lorb {
namespace {

using Table = EuclideanDistanceTransform2D::SqrtLookUpTable;

TEST(SqrtLookUpTableTest, IsEmptyWhenNew) {
  Table const table;
  EXPECT_EQ(table.values, nullptr);
  EXPECT_EQ(table.maxIndex, -1);
}

TEST(SqrtLookUpTableTest, StaysEmptyForNegativeBounds) {
  Table table;
  for (int const n : {-1, -2, std::numeric_limits<int>::min()}) {
    table.init(n);
    EXPECT_EQ(table.values, nullptr);
    EXPECT_EQ(table.maxIndex, -1);
  }
}

TEST(SqrtLookUpTableTest, HoldsOneEntryForBoundZero) {
  Table table;
  table.init(0);
  ASSERT_EQ(table.maxIndex, 0);
  EXPECT_EQ(table.values[0], 0.0F);
}

TEST(SqrtLookUpTableTest, HoldsRootsOfSinglePrecision) {
  Table table;
  table.init(4);
  EXPECT_EQ(table.values[1], 1.0F);
  EXPECT_EQ(table.values[2], 1.4142135F);
  EXPECT_EQ(table.values[4], 2.0F);
}

TEST(SqrtLookUpTableTest, NeverShrinks) {
  Table table;
  table.init(5);
  float const* const values = table.values;
  for (int const n : {3, 5, 0, -1}) {
    table.init(n);
    EXPECT_EQ(table.maxIndex, 5);
    EXPECT_EQ(table.values, values);
  }
}

TEST(SqrtLookUpTableTest, CopiesEntriesWhenItGrowsAndComputesTheNewOnes) {
  Table table;
  table.init(3);
  table.values[2] = 42.0F;
  table.init(5);
  ASSERT_EQ(table.maxIndex, 5);
  float const expected[] = {0.0F, 1.0F, 42.0F, std::sqrt(3.0F), 2.0F, std::sqrt(5.0F)};
  for (int k = 0; k <= 5; ++k) EXPECT_EQ(table.values[k], expected[k]) << k;
}

TEST(SqrtLookUpTableTest, StaysAsItWasWhenTheEntryCountOverflows) {
  Table table;
  EXPECT_THROW(table.init(std::numeric_limits<int>::max()), std::bad_array_new_length);
  EXPECT_EQ(table.values, nullptr);
  EXPECT_EQ(table.maxIndex, -1);

  table.init(3);
  float const* const values = table.values;
  EXPECT_THROW(table.init(std::numeric_limits<int>::max()), std::bad_array_new_length);
  EXPECT_EQ(table.values, values);
  EXPECT_EQ(table.maxIndex, 3);
  EXPECT_EQ(table.values[2], std::sqrt(2.0F));
}

TEST(SqrtLookUpTableTest, HoldsTheRootOfTheIndexRoundedToFloat) {
  constexpr int beyondExactFloats = (1 << 24) + 1000;
  Table table;
  table.init(beyondExactFloats);
  int wrong = 0;
  for (int k = 0; k <= beyondExactFloats; ++k) wrong += table.values[k] != std::sqrt(static_cast<float>(k));
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(table.values[1 << 24], 4096.0F);
  EXPECT_EQ(table.values[(1 << 24) + 1], 4096.0F);
}

}  // namespace
}  // namespace lorb
