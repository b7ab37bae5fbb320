#include "tools/distanceMap.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <stdexcept>

namespace lorb::tools {
namespace {

using Mask = TImageDataset<unsigned char, 3>;
using Position = std::array<std::uint64_t, 3>;
using Transform = EuclideanDistanceTransform2D;

Mask randomMask() {
  Mask mask({9, 8, 7});
  std::mt19937 random(11);
  for (auto& voxel : mask.voxels()) voxel = random() % 3 == 0;
  return mask;
}

template <class F>
void forEachPosition(std::array<std::uint64_t, 3> const& extents, F&& f) {
  for (std::uint64_t z = 0; z < extents[2]; ++z) {
    for (std::uint64_t y = 0; y < extents[1]; ++y) {
      for (std::uint64_t x = 0; x < extents[0]; ++x) f(Position{x, y, z});
    }
  }
}

/// By looking at every voxel of the other side in the same slice.
float distanceAt(Mask const& mask, Position const& p, std::size_t normal) {
  bool const inside = mask(p[0], p[1], p[2]) > 0;
  double nearest = std::numeric_limits<double>::infinity();
  forEachPosition(mask.extents, [&](Position const& q) {
    if (q[normal] != p[normal] || (mask(q[0], q[1], q[2]) > 0) == inside) return;
    nearest = std::min(nearest, std::hypot(double(p[0]) - double(q[0]), double(p[1]) - double(q[1]),
                                           double(p[2]) - double(q[2])));
  });
  return static_cast<float>(inside ? -nearest : nearest);
}

std::size_t normalOf(Plane plane) {
  return static_cast<std::size_t>(Transform::axesOf(plane).slice);
}

class DistanceMapIn : public testing::TestWithParam<Plane> {};
INSTANTIATE_TEST_SUITE_P(EveryPlane, DistanceMapIn,
                         testing::Values(Transform::planeXY, Transform::planeXZ, Transform::planeYZ));

TEST_P(DistanceMapIn, EqualsBruteForce) {
  Mask const mask = randomMask();
  DistanceMap const map = distanceMap(mask, {GetParam()});
  forEachPosition(mask.extents, [&](Position const& p) {
    EXPECT_FLOAT_EQ(map(p[0], p[1], p[2]), distanceAt(mask, p, normalOf(GetParam())))
        << p[0] << ' ' << p[1] << ' ' << p[2];
  });
}

TEST_P(DistanceMapIn, OneSliceLeavesZerosInAllOthers) {
  Mask const mask = randomMask();
  DistanceMap const all = distanceMap(mask, {GetParam()});
  DistanceMap const one = distanceMap(mask, {GetParam(), 3});
  forEachPosition(mask.extents, [&](Position const& p) {
    float const expected = p[normalOf(GetParam())] == 3 ? all(p[0], p[1], p[2]) : 0.0F;
    EXPECT_EQ(one(p[0], p[1], p[2]), expected);
  });
}

TEST_P(DistanceMapIn, RefusesSlicesThatAreNotThere) {
  Mask const mask = randomMask();
  int const count = static_cast<int>(sliceShape(mask, GetParam()).count);
  EXPECT_NO_THROW(distanceMap(mask, {GetParam(), count - 1}));
  EXPECT_THROW(distanceMap(mask, {GetParam(), count}), std::invalid_argument);
  EXPECT_THROW(distanceMap(mask, {GetParam(), -1}), std::invalid_argument);
}

TEST(DistanceMap, RefusesSlicesBeyondTheTransform) {
  EXPECT_THROW(distanceMap(Mask({46341, 1, 1}), {Transform::planeXY}), std::invalid_argument);
  EXPECT_NO_THROW(distanceMap(Mask({46340, 1, 1}), {Transform::planeYZ}));
}

TEST(CountInside, CountsTheChosenSliceAlone) {
  Mask mask({3, 4, 5});
  mask(0, 1, 2) = mask(2, 1, 2) = mask(2, 3, 4) = 1;
  auto const count = [&](SliceChoice const& choice) { return countInside(mask, choice); };
  EXPECT_EQ(count({}).inside, 3U);
  EXPECT_EQ(count({}).all, 60U);
  EXPECT_EQ(count({Transform::planeXY, 2}).inside, 2U);
  EXPECT_EQ(count({Transform::planeXY, 2}).all, 12U);
  EXPECT_EQ(count({Transform::planeXZ, 3}).inside, 1U);
  EXPECT_EQ(count({Transform::planeYZ, 0}).inside, 1U);
  EXPECT_EQ(count({Transform::planeYZ, 0}).all, 20U);
}

}  // namespace
}  // namespace lorb::tools
