#include <lorb/dataset/convert.h>

#include <tests/ElementTypes.h>
#include <tests/dataset/expectedConversion.h>

#include <memory>

namespace lorb {
namespace {

using test::agree;
using test::edgeValues;
using test::expectedConversion;
using test::forEachElementType;
using test::nameOf;

template <class T>
class ConvertTest : public testing::Test {};
TYPED_TEST_SUITE(ConvertTest, test::ElementTypes, test::ElementTypeNames);

TYPED_TEST(ConvertTest, FollowsTheRuleFromEveryEdgeValueToEveryType) {
  using From = TypeParam;
  forEachElementType([]<class To>(std::type_identity<To>) {
    for (From const value : edgeValues<From>()) {
      EXPECT_TRUE(agree(convertElement<To>(value), expectedConversion<To>(value)))
          << nameOf<From> << " " << +value << " became " << nameOf<To> << " " << +convertElement<To>(value)
          << " instead of " << +expectedConversion<To>(value);
    }
  });
}

TYPED_TEST(ConvertTest, KeepsTheBitsOfTheSameType) {
  std::vector<TypeParam> const values = edgeValues<TypeParam>();
  std::size_t const count = values.size();
  auto const source = std::make_unique<TypeParam[]>(count);
  auto const target = std::make_unique<TypeParam[]>(count);
  std::copy(values.begin(), values.end(), source.get());
  convertElements(source.get(), target.get(), count);
  EXPECT_EQ(std::memcmp(source.get(), target.get(), count * sizeof(TypeParam)), 0);

  auto const single = std::make_unique<TypeParam[]>(count);
  for (std::size_t k = 0; k < count; ++k) convertElements(source.get() + k, single.get() + k, 1);
  EXPECT_EQ(std::memcmp(source.get(), single.get(), count * sizeof(TypeParam)), 0);
}

TYPED_TEST(ConvertTest, ConvertsRunsLikeElementsAndNothingBeyond) {
  using From = TypeParam;
  forEachElementType([]<class To>(std::type_identity<To>) {
    std::vector<From> const values = edgeValues<From>();
    std::size_t const count = values.size();
    auto const source = std::make_unique<From[]>(count);
    auto const target = std::make_unique<To[]>(count + 1);
    std::copy(values.begin(), values.end(), source.get());
    target[count] = To(1);
    convertElements(source.get(), target.get(), count);
    for (std::size_t k = 0; k < count; ++k) {
      ASSERT_TRUE(agree(target[k], expectedConversion<To>(source[k]))) << nameOf<To> << " element " << k;
    }
    EXPECT_EQ(target[count], To(1));
  });
}

TYPED_TEST(ConvertTest, AcceptsAnEmptyRunWithoutAddresses) {
  forEachElementType([]<class To>(std::type_identity<To>) {
    convertElements(static_cast<TypeParam const*>(nullptr), static_cast<To*>(nullptr), 0);
  });
}

TEST(ConvertElementTest, RoundsToNearestWithTiesToEven) {
  EXPECT_EQ(convertElement<int>(0.5), 0);
  EXPECT_EQ(convertElement<int>(1.5), 2);
  EXPECT_EQ(convertElement<int>(2.5), 2);
  EXPECT_EQ(convertElement<int>(-0.5F), 0);
  EXPECT_EQ(convertElement<int>(-1.5F), -2);
  EXPECT_EQ(convertElement<unsigned char>(254.5), 254);
  EXPECT_EQ(convertElement<long>(0.49999999999999994), 0);
}

TEST(ConvertElementTest, SaturatesAtTheLimitsOfTheTarget) {
  EXPECT_EQ(convertElement<signed char>(300), 127);
  EXPECT_EQ(convertElement<signed char>(-129.0F), -128);
  EXPECT_EQ(convertElement<unsigned char>(short{-1}), 0);
  EXPECT_EQ(convertElement<unsigned int>(-1L), 0U);
  EXPECT_EQ(convertElement<int>(0xffffffffU), 0x7fffffff);
  EXPECT_EQ(convertElement<long>(~0UL), std::numeric_limits<long>::max());
  EXPECT_EQ(convertElement<long>(0x1p63F), std::numeric_limits<long>::max());
  EXPECT_EQ(convertElement<unsigned long>(0x1p64), ~0UL);
  EXPECT_EQ(convertElement<float>(1e300), std::numeric_limits<float>::infinity());
}

TEST(ConvertElementTest, TakesAnythingButZeroForTrue) {
  EXPECT_TRUE(convertElement<bool>(0.25F));
  EXPECT_TRUE(convertElement<bool>(-1));
  EXPECT_TRUE(convertElement<bool>(std::numeric_limits<double>::denorm_min()));
  EXPECT_TRUE(convertElement<bool>(std::numeric_limits<float>::quiet_NaN()));
  EXPECT_FALSE(convertElement<bool>(-0.0));
  EXPECT_EQ(convertElement<unsigned char>(true), 1);
  EXPECT_EQ(convertElement<double>(true), 1.0);
}

TEST(ConvertElementTest, MakesNotANumberZeroInIntegers) {
  EXPECT_EQ(convertElement<int>(std::numeric_limits<double>::quiet_NaN()), 0);
  EXPECT_EQ(convertElement<signed char>(-std::numeric_limits<float>::quiet_NaN()), 0);
  EXPECT_EQ(convertElement<unsigned long>(std::numeric_limits<float>::quiet_NaN()), 0U);
}

}  // namespace
}  // namespace lorb
