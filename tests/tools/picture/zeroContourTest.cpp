#include "tools/picture/zeroContour.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace lorb::tools {
namespace {

SliceGrid grid(int width, int height, std::vector<float> samples) {
  return {width, height, std::move(samples)};
}

double length(std::vector<LineSegment> const& segments) {
  double sum = 0;
  for (auto const& [a, b] : segments) sum += std::hypot(a.x - b.x, a.y - b.y);
  return sum;
}

bool contains(std::vector<LineSegment> const& segments, Point p, Point q) {
  auto const same = [](Point a, Point b) { return std::hypot(a.x - b.x, a.y - b.y) < 1e-9; };
  return std::any_of(segments.begin(), segments.end(), [&](LineSegment const& s) {
    return (same(s.from, p) && same(s.to, q)) || (same(s.from, q) && same(s.to, p));
  });
}

TEST(ZeroContour, FollowsACircle) {
  SliceGrid circle{40, 40, {}};
  for (int j = 0; j < 40; ++j) {
    for (int i = 0; i < 40; ++i) {
      circle.samples.push_back(static_cast<float>(std::hypot(i + 0.5 - 20.3, j + 0.5 - 19.1) - 12.0));
    }
  }
  auto const segments = zeroContour(circle);
  for (LineSegment const& s : segments) {
    EXPECT_NEAR(std::hypot(s.from.x - 20.3, s.from.y - 19.1), 12.0, 0.02);
    EXPECT_NEAR(std::hypot(s.to.x - 20.3, s.to.y - 19.1), 12.0, 0.02);
  }
  EXPECT_NEAR(length(segments), 2 * M_PI * 12.0, 0.2) << "closed, and nothing twice";
}

TEST(ZeroContour, LiesWhereInterpolationIsZeroAndReachesTheEdges) {
  auto const segments = zeroContour(grid(2, 2, {-1, 3, -1, 3}));
  EXPECT_TRUE(contains(segments, {0.75, 0.5}, {0.75, 1.5}));
  EXPECT_NEAR(length(segments), 3.0, 1e-9) << "from above the first row to below the last";
}

TEST(ZeroContour, ExistsInGridsOfOneColumn) {
  auto const segments = zeroContour(grid(1, 3, {-2, 2, 6}));
  EXPECT_TRUE(contains(segments, {-0.5, 1.0}, {0.5, 1.0}));
  EXPECT_TRUE(contains(segments, {0.5, 1.0}, {1.5, 1.0}));
}

TEST(ZeroContour, GoesThroughSaddlesOnTheSideOfTheirMiddle) {
  auto const joined = zeroContour(grid(2, 2, {-3, 1, 1, -3}));
  EXPECT_TRUE(contains(joined, {1.25, 0.5}, {1.5, 0.75})) << "inside joins, the corner outside is cut off";
  auto const apart = zeroContour(grid(2, 2, {-1, 3, 3, -1}));
  EXPECT_TRUE(contains(apart, {0.75, 0.5}, {0.5, 0.75})) << "outside joins, the corner inside is cut off";
}

TEST(ZeroContour, TurnsNoSquareWithoutAChangeOfSign) {
  EXPECT_TRUE(zeroContour(grid(2, 2, {1, 2, 3, 4})).empty());
  EXPECT_TRUE(zeroContour(grid(2, 2, {-1, -2, -3, -4})).empty());
  EXPECT_TRUE(zeroContour(grid(2, 2, {0, 0, 0, 0})).empty());
}

TEST(ZeroContour, LeavesOutSquaresThatAreNotFinite) {
  EXPECT_TRUE(zeroContour(grid(2, 1, {-1, NAN})).empty());
  EXPECT_TRUE(zeroContour(grid(2, 1, {-1, INFINITY})).empty());
}

}  // namespace
}  // namespace lorb::tools
