#include "tools/map/distanceMap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <limits>
#include <random>
#include <stdexcept>
#include <thread>

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

class DistanceMapIn : public testing::TestWithParam<Plane> {
 protected:
  MapSettings settings(std::optional<int> slice = std::nullopt) const {
    MapSettings result;
    result.choice = {GetParam(), slice};
    return result;
  }
};
INSTANTIATE_TEST_SUITE_P(EveryPlane, DistanceMapIn,
                         testing::Values(Transform::planeXY, Transform::planeXZ, Transform::planeYZ));

TEST_P(DistanceMapIn, EqualsBruteForce) {
  Mask const mask = randomMask();
  DistanceMap const map = distanceMap(mask, settings());
  forEachPosition(mask.extents, [&](Position const& p) {
    EXPECT_FLOAT_EQ(map(p[0], p[1], p[2]), distanceAt(mask, p, normalOf(GetParam())))
        << p[0] << ' ' << p[1] << ' ' << p[2];
  });
}

TEST_P(DistanceMapIn, OneSliceLeavesZerosInAllOthers) {
  Mask const mask = randomMask();
  DistanceMap const all = distanceMap(mask, settings());
  DistanceMap const one = distanceMap(mask, settings(3));
  forEachPosition(mask.extents, [&](Position const& p) {
    float const expected = p[normalOf(GetParam())] == 3 ? all(p[0], p[1], p[2]) : 0.0F;
    EXPECT_EQ(one(p[0], p[1], p[2]), expected);
  });
}

TEST_P(DistanceMapIn, RefusesSlicesThatAreNotThere) {
  std::array<std::uint64_t, 3> const extents = {9, 8, 7};
  int const count = static_cast<int>(sliceShape(extents, GetParam()).count);
  EXPECT_NO_THROW(requireComputable(extents, {GetParam(), count - 1}));
  EXPECT_THROW(requireComputable(extents, {GetParam(), count}), std::invalid_argument);
  EXPECT_THROW(requireComputable(extents, {GetParam(), -1}), std::invalid_argument);
}

/// Larger than what workers take at a time, in every plane.
Mask largeMask() {
  Mask mask({150, 140, 130});
  std::mt19937 random(12);
  for (auto& voxel : mask.voxels()) voxel = random() % 50 == 0;
  std::fill_n(mask.voxels().begin(), 2 * 150 * 140, 0);
  return mask;
}

TEST_P(DistanceMapIn, IsTheSameOnEveryNumberOfThreads) {
  Mask const mask = largeMask();
  Transform transform;
  transform.setPlane(GetParam());
  DistanceMap expected(mask.extents);
  transform.computeTwoSided(&mask, &expected);
  std::vector<SliceSummary> first;
  for (unsigned const threads : {1U, 2U, 3U, 7U, 16U}) {
    MapSettings several = settings();
    several.threads = threads;
    std::vector<SliceSummary> summaries;
    std::atomic<std::uint64_t> done = 0;
    DistanceMap const map = distanceMap(mask, several, &summaries, [&](std::uint64_t n) { done += n; });
    EXPECT_EQ(map.pages[0].data, expected.pages[0].data) << threads;
    EXPECT_EQ(done, sliceShape(mask, GetParam()).count);
    ASSERT_EQ(summaries.size(), done);
    if (first.empty()) first = summaries;
    for (std::size_t k = 0; k < summaries.size(); ++k) {
      EXPECT_EQ(summaries[k].slice, k);
      EXPECT_EQ(summaries[k].least, first[k].least);
      EXPECT_EQ(summaries[k].greatest, first[k].greatest);
    }
  }
}

TEST_P(DistanceMapIn, SummariesAreWhatIsInTheSlices) {
  Mask mask = randomMask();
  // No boundary in slice 2: all inside.
  forEachPosition(mask.extents, [&](Position const& p) {
    if (p[normalOf(GetParam())] == 2) mask(p[0], p[1], p[2]) = 1;
  });
  std::vector<SliceSummary> summaries;
  DistanceMap const map = distanceMap(mask, settings(), &summaries);
  for (SliceSummary const& summary : summaries) {
    float least = INFINITY, greatest = -INFINITY;
    forEachPosition(mask.extents, [&](Position const& p) {
      if (p[normalOf(GetParam())] != summary.slice) return;
      least = std::min(least, map(p[0], p[1], p[2]));
      greatest = std::max(greatest, map(p[0], p[1], p[2]));
    });
    EXPECT_EQ(summary.least, least);
    EXPECT_EQ(summary.greatest, greatest);
    EXPECT_EQ(summary.hasBoundary, summary.slice != 2);
  }
}

TEST_P(DistanceMapIn, LengthAndFillingAreAsChosen) {
  Mask mask = randomMask();
  std::size_t const normal = normalOf(GetParam());
  forEachPosition(mask.extents, [&](Position const& p) {
    if (p[normal] == 2) mask(p[0], p[1], p[2]) = 1;
    if (p[normal] == 3) mask(p[0], p[1], p[2]) = 0;
  });
  DistanceMap const plain = distanceMap(mask, settings());
  auto const constant = static_cast<float>(boundlessDistance(sliceShape(mask, GetParam())));
  for (NoBoundary const choice : {NoBoundary::constant, NoBoundary::diagonal, NoBoundary::nan}) {
    MapSettings chosen = settings();
    chosen.noBoundary = choice;
    chosen.voxelLength = 0.75;
    DistanceMap const map = distanceMap(mask, chosen);
    forEachPosition(mask.extents, [&](Position const& p) {
      float const value = map(p[0], p[1], p[2]);
      float const sign = p[normal] == 2 ? -1.0F : 1.0F;
      if (p[normal] != 2 && p[normal] != 3) {
        EXPECT_EQ(value, plain(p[0], p[1], p[2]) * 0.75F);
      } else if (choice == NoBoundary::nan) {
        EXPECT_TRUE(std::isnan(value));
      } else {
        EXPECT_EQ(value, sign * (choice == NoBoundary::constant ? constant : std::sqrt(constant) * 0.75F));
      }
    });
  }
}

std::ptrdiff_t threadsOfThisProcess() {
  namespace fs = std::filesystem;
  return std::distance(fs::directory_iterator("/proc/self/task"), fs::directory_iterator());
}

TEST(DistanceMap, LeavesNoThreadBehind) {
  MapSettings settings;
  settings.threads = 4;
  std::atomic<bool> isShared = false;
  // A map may be done before another thread has begun.
  for (int attempt = 0; attempt < 1000 && !isShared; ++attempt) {
    distanceMap(Mask({64, 64, 50}), settings, nullptr, [&](std::uint64_t) {
      if (threadsOfThisProcess() > 1) isShared = true;
    });
    // The system may list a thread for a moment longer.
    for (int wait = 0; wait < 1000 && threadsOfThisProcess() > 1; ++wait) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    ASSERT_EQ(threadsOfThisProcess(), 1);
  }
  EXPECT_TRUE(isShared) << "or else there was nothing to leave";
}

TEST(DistanceMap, RefusesSlicesBeyondTheTransform) {
  EXPECT_THROW(requireComputable({46341, 1, 1}, {Transform::planeXY}), std::invalid_argument);
  EXPECT_NO_THROW(requireComputable({46340, 1, 1}, {Transform::planeYZ}));
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
