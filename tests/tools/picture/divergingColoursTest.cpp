#include "tools/picture/divergingColours.h"

#include "tests/tools/DecodedPicture.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

namespace lorb::tools {
namespace {

/// Lightness, a and b, by the published matrices in the other direction than the colours are made.
std::array<double, 3> okLab(Colour colour) {
  auto const linear = [](int value) {
    double const x = value / 255.0;
    return x <= 0.04045 ? x / 12.92 : std::pow((x + 0.055) / 1.055, 2.4);
  };
  double const r = linear(colour.red), g = linear(colour.green), b = linear(colour.blue);
  double const l = std::cbrt(0.4122214708 * r + 0.5363325363 * g + 0.0514459929 * b);
  double const m = std::cbrt(0.2119034982 * r + 0.6806995451 * g + 0.1073969566 * b);
  double const s = std::cbrt(0.0883024619 * r + 0.2817188376 * g + 0.6299787005 * b);
  return {0.2104542553 * l + 0.7936177850 * m - 0.0040720468 * s,
          1.9779984951 * l - 2.4285922050 * m + 0.4505937099 * s,
          0.0259040371 * l + 0.7827717662 * m - 0.8086757660 * s};
}

double distance(Colour a, Colour b) {
  auto const p = okLab(a), q = okLab(b);
  return std::hypot(p[0] - q[0], p[1] - q[1], p[2] - q[2]);
}

TEST(DivergingColours, EqualStepsLookEqual) {
  double const expected = distance(divergingColour(0), divergingColour(1)) / 10;
  ASSERT_GT(expected, 0.05);
  for (int k = -10; k < 10; ++k) {
    EXPECT_NEAR(distance(divergingColour(k / 10.0), divergingColour((k + 1) / 10.0)), expected, 0.003) << k;
  }
}

TEST(DivergingColours, OppositeDistancesAreEquallyLight) {
  for (double const fraction : {0.1, 0.5, 0.9, 1.0}) {
    EXPECT_NEAR(okLab(divergingColour(fraction))[0], okLab(divergingColour(-fraction))[0], 0.003) << fraction;
  }
}

TEST(DivergingColours, InsideIsBlueOutsideIsRedTheBoundaryGrey) {
  Colour const inside = divergingColour(-1), outside = divergingColour(1), zero = divergingColour(0);
  EXPECT_GT(inside.blue, inside.red + 100);
  EXPECT_GT(outside.red, outside.blue + 100);
  EXPECT_LE(difference(zero, {zero.red, zero.red, zero.red}), 1);
  EXPECT_GT(zero.red, 240);
}

TEST(DivergingColours, EndsGoOnForEver) {
  EXPECT_EQ(divergingColour(INFINITY), divergingColour(1));
  EXPECT_EQ(divergingColour(-7), divergingColour(-1));
}

TEST(Blended, IsInBetween) {
  EXPECT_EQ(blended({0, 100, 200}, {100, 100, 0}, 0.25), (Colour{25, 100, 150}));
  EXPECT_EQ(blended({0, 100, 200}, {100, 100, 0}, 1), (Colour{100, 100, 0}));
}

}  // namespace
}  // namespace lorb::tools
