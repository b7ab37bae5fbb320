#include "tools/picture/DistanceScale.h"

#include <gtest/gtest.h>

#include <cmath>

namespace lorb::tools {
namespace {

/// As many samples inside as outside, evenly up to the given distances.
SliceGrid slice(float deepest, float farthest) {
  SliceGrid grid{100, 2, {}, true, true};
  for (int k = 1; k <= 100; ++k) {
    grid.samples.push_back(-deepest * static_cast<float>(k) / 100);
    grid.samples.push_back(farthest * static_cast<float>(k) / 100);
  }
  return grid;
}

TEST(DistanceScale, IsRoundAndHoldsMostDistances) {
  auto const scale = distanceScale({slice(40, 40)});
  ASSERT_TRUE(scale);
  EXPECT_EQ(scale->step, 10);
  EXPECT_EQ(scale->range, 40) << "85 % of 40 are 34";
  EXPECT_EQ(scale->ticksPerSide(), 4);
  EXPECT_FALSE(scale->beyondInside);
  EXPECT_FALSE(scale->beyondOutside);
}

TEST(DistanceScale, SaysOnWhichSideDistancesGoBeyond) {
  auto const scale = distanceScale({slice(10, 100)});
  ASSERT_TRUE(scale);
  EXPECT_EQ(scale->range, 80) << "70 % outside and all inside make 85 %";
  EXPECT_FALSE(scale->beyondInside);
  EXPECT_TRUE(scale->beyondOutside);
  auto const mirrored = distanceScale({slice(100, 10)});
  ASSERT_TRUE(mirrored);
  EXPECT_TRUE(mirrored->beyondInside);
  EXPECT_FALSE(mirrored->beyondOutside);
}

TEST(DistanceScale, FollowsTheUnit) {
  for (float const factor : {1e-6F, 1e-3F, 1.0F, 1e6F}) {
    auto const scale = distanceScale({slice(40 * factor, 40 * factor)});
    ASSERT_TRUE(scale);
    EXPECT_NEAR(scale->range / factor, 40, 1e-3) << factor;
    EXPECT_EQ(scale->ticksPerSide(), 4) << factor;
  }
}

TEST(DistanceScale, IgnoresSlicesWithoutABoundary) {
  SliceGrid const constant{2, 1, {20000, 20000}, false, true};
  EXPECT_FALSE(distanceScale({constant}));
  auto const scale = distanceScale({constant, slice(40, 40)});
  ASSERT_TRUE(scale);
  EXPECT_EQ(scale->range, 40);
}

TEST(DistanceScale, IgnoresWhatIsNoDistance) {
  SliceGrid const odd{4, 1, {NAN, -1, 1, INFINITY}, true, true};
  auto const scale = distanceScale({odd});
  ASSERT_TRUE(scale);
  EXPECT_EQ(scale->range, 1);
  EXPECT_FALSE(distanceScale({}));
  EXPECT_FALSE(distanceScale({SliceGrid{2, 1, {0, 0}}}));
}

}  // namespace
}  // namespace lorb::tools
