#include "tools/object/objectMask.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <type_traits>
#include <vector>

namespace lorb::tools {
namespace {

using Kind = ObjectRule::Kind;
using Bits = std::vector<unsigned char>;

template <class T>
Bits maskOf(std::vector<T> const& values, ObjectRule const& rule) {
  TImageDataset<T, 3> volume({values.size(), 1, 1});
  volume.pages[0].data = values;
  return objectMask(volume, rule).pages[0].data;
}

ObjectRule above(ExactNumber value) {
  return {Kind::above, {value}};
}
ObjectRule label(ExactNumber value) {
  return {Kind::labels, {value}};
}
ObjectRule below(ExactNumber value) {
  return {Kind::below, {value}};
}
ObjectRule between(ExactNumber low, ExactNumber high) {
  return {Kind::between, {low, high}};
}
ObjectRule allBut(ObjectRule rule) {
  rule.inverted = true;
  return rule;
}

template <class T>
class ObjectMaskOfType : public testing::Test {};

#define LORB_TYPE(id, element, T, name) , T
template <class First, class... Rest>
using TypesAfter = testing::Types<Rest...>;
using ElementTypes = TypesAfter<void LORB_FOR_EACH_ELEMENT_TYPE(LORB_TYPE)>;
#undef LORB_TYPE
TYPED_TEST_SUITE(ObjectMaskOfType, ElementTypes);

TYPED_TEST(ObjectMaskOfType, IsByDefaultWhatIsAboveZero) {
  using T = TypeParam;
  T const low = std::numeric_limits<T>::lowest();
  EXPECT_EQ(maskOf<T>({T(0), T(1), low, std::numeric_limits<T>::max()}, {}), (Bits{0, 1, 0, 1}));
}

TYPED_TEST(ObjectMaskOfType, ThresholdsBeyondTheTypeTakeAllOrNothing) {
  using T = TypeParam;
  std::vector<T> const values = {std::numeric_limits<T>::lowest(), T(0), std::numeric_limits<T>::max()};
  EXPECT_EQ(maskOf(values, above(ExactNumber(std::numeric_limits<T>::lowest()) * 2 - 1)), (Bits{1, 1, 1}));
  EXPECT_EQ(maskOf(values, above(std::numeric_limits<T>::max())), (Bits{0, 0, 0}));
  EXPECT_EQ(maskOf(values, above(ExactNumber(std::numeric_limits<T>::max()) * 2)), (Bits{0, 0, 0}));
}

TYPED_TEST(ObjectMaskOfType, LabelsAreExactlyTheirValue) {
  using T = TypeParam;
  std::vector<T> const values = {T(0), T(1), std::numeric_limits<T>::lowest(), std::numeric_limits<T>::max()};
  bool const small = std::is_same_v<T, bool>;
  EXPECT_EQ(maskOf(values, label(1)), (Bits{0, 1, 0, small}));
  EXPECT_EQ(maskOf(values, label(0)), (Bits{1, 0, std::is_unsigned_v<T>, 0}));
  EXPECT_EQ(maskOf(values, label(0.5)), (Bits{0, 0, 0, 0}));
  EXPECT_EQ(maskOf(values, label(ExactNumber(std::numeric_limits<T>::max()) * 2)), (Bits{0, 0, 0, 0}));
}

TYPED_TEST(ObjectMaskOfType, BelowAndBetweenAndTheirReverseAddUp) {
  using T = TypeParam;
  std::vector<T> const values = {std::numeric_limits<T>::lowest(), T(0), T(1), std::numeric_limits<T>::max()};
  for (ExactNumber const bound : {ExactNumber(0), ExactNumber(0.5), ExactNumber(1), ExactNumber(values[0]),
                                  ExactNumber(values[3]), ExactNumber(-1e30), ExactNumber(1e30)}) {
    Bits expected;
    for (T const value : values) expected.push_back(ExactNumber(value) < bound);
    EXPECT_EQ(maskOf(values, below(bound)), expected) << double(bound);
    Bits reverse;
    for (unsigned char const bit : expected) reverse.push_back(bit == 0);
    EXPECT_EQ(maskOf(values, allBut(below(bound))), reverse) << double(bound);
    Bits inBetween;
    for (T const value : values) inBetween.push_back(ExactNumber(value) >= 0 && ExactNumber(value) <= bound);
    EXPECT_EQ(maskOf(values, between(0, bound)), inBetween) << double(bound);
  }
}

TEST(ObjectMask, LabelsAreAUnion) {
  std::vector<short> const values = {0, 3, 4, 5, -7};
  ObjectRule const rule = {Kind::labels, {3, 5, -7, 100000}};
  EXPECT_EQ(maskOf(values, rule), (Bits{0, 1, 0, 1, 1}));
  EXPECT_EQ(maskOf(values, allBut(rule)), (Bits{1, 0, 1, 0, 0}));
}

TEST(Labels, AreTheValuesButZero) {
  TImageDataset<float, 3> volume({6, 1, 1});
  volume.pages[0].data = {0.0F, 3.0F, 3.0F, -2.0F, NAN, 3.0F};
  std::set<ExactNumber> labels;
  collectLabels(volume, labels);
  EXPECT_EQ(labels, (std::set<ExactNumber>{-2, 3}));
  volume.pages[0].data[0] = 0.5F;
  EXPECT_THROW(collectLabels(volume, labels), std::invalid_argument);
}

TEST(Labels, AreNotTooMany) {
  TImageDataset<int, 3> volume({mostLabels + 2, 1, 1});
  for (std::size_t k = 0; k < mostLabels + 1; ++k) volume.pages[0].data[k] = int(k);
  std::set<ExactNumber> labels;
  collectLabels(volume, labels);
  EXPECT_EQ(labels.size(), mostLabels);
  volume.pages[0].data.back() = -1;
  EXPECT_THROW(collectLabels(volume, labels), std::invalid_argument);
}

TEST(ObjectMask, FractionsLieBetweenWholeNumbers) {
  std::vector<short> const values = {-3, -2, 2, 3};
  EXPECT_EQ(maskOf(values, above(2.5)), (Bits{0, 0, 0, 1}));
  EXPECT_EQ(maskOf(values, above(-2.5)), (Bits{0, 1, 1, 1}));
}

TEST(ObjectMask, ComparesSixtyFourBitIntegersBeyondDoublesExactly) {
  long const big = 9007199254740992;  // 2⁵³
  std::vector<long> const values = {big, big + 1, big + 2};
  EXPECT_EQ(maskOf(values, above(ExactNumber(big))), (Bits{0, 1, 1}));
  EXPECT_EQ(maskOf(values, above(ExactNumber(big) + 1)), (Bits{0, 0, 1}));
  EXPECT_EQ(maskOf(values, label(ExactNumber(big) + 1)), (Bits{0, 1, 0}));

  unsigned long const most = std::numeric_limits<unsigned long>::max();
  EXPECT_EQ(maskOf<unsigned long>({most - 1, most}, label(ExactNumber(most))), (Bits{0, 1}));
}

TEST(ObjectMask, DoesNotRoundThresholdsToFloat) {
  float const next = std::nextafter(1.0F, 2.0F);
  EXPECT_EQ(maskOf<float>({1.0F, next}, above(1.0 + 1e-12)), (Bits{0, 1}));
  EXPECT_EQ(maskOf<float>({1.0F, next}, above(1.0 - 1e-12)), (Bits{1, 1}));
  EXPECT_EQ(maskOf<float>({0.1F}, label(ExactNumber(0.1))), (Bits{0}));
  EXPECT_EQ(maskOf<float>({0.1F}, label(ExactNumber(double(0.1F)))), (Bits{1}));
}

TEST(ObjectMask, NaNIsNeverInside) {
  double const nan = std::numeric_limits<double>::quiet_NaN();
  double const infinity = std::numeric_limits<double>::infinity();
  EXPECT_EQ(maskOf<double>({nan, infinity, -infinity}, above(-5)), (Bits{0, 1, 0}));
  EXPECT_EQ(maskOf<float>({NAN}, above(-1e300)), (Bits{0}));
  EXPECT_EQ(maskOf<double>({nan}, label(0)), (Bits{0}));
  EXPECT_EQ(maskOf<double>({nan, infinity, 1}, below(5)), (Bits{0, 0, 1}));
  EXPECT_EQ(maskOf<double>({nan, infinity, 1}, allBut(below(5))), (Bits{0, 1, 0}));
}

}  // namespace
}  // namespace lorb::tools
