#include "tools/map/distanceMap.h"

#include "reference/bruteForce.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
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

/// A volume of which each slice is another mask of the given shape, slice k the one with the bits of k.
Mask everySmallMask(Plane plane, std::uint64_t width, std::uint64_t height) {
  auto const axes = Transform::axesOf(plane);
  std::array<std::uint64_t, 3> extents;
  extents[std::size_t(axes.i)] = width;
  extents[std::size_t(axes.j)] = height;
  extents[std::size_t(axes.slice)] = std::uint64_t{1} << (width * height);
  Mask mask(extents);
  forEachPosition(extents, [&](Position const& p) {
    std::uint64_t const bit = p[std::size_t(axes.j)] * width + p[std::size_t(axes.i)];
    mask(p[0], p[1], p[2]) = p[std::size_t(axes.slice)] >> bit & 1;
  });
  return mask;
}

/// What the slices of `everySmallMask` should hold, as a map of the same shape; uniform slices hold ±√N.
DistanceMap everySmallMap(Mask const& masks, Plane plane) {
  auto const axes = Transform::axesOf(plane);
  SliceShape const shape = sliceShape(masks, plane);
  auto const width = static_cast<int>(shape.width), height = static_cast<int>(shape.height);
  DistanceMap map(masks.extents);
  std::vector<std::vector<float>> slices;
  for (std::uint64_t k = 0; k < shape.count; ++k) {
    std::vector<char> inside;
    for (std::uint64_t bit = 0; bit < shape.width * shape.height; ++bit)
      inside.push_back(k >> bit & 1 ? 1 : 0);
    float const diagonal = std::sqrt(static_cast<float>(boundlessDistance(shape)));
    bool const isUniform = k == 0 || k + 1 == shape.count;
    slices.push_back(isUniform ? std::vector<float>(inside.size(), k == 0 ? diagonal : -diagonal)
                               : reference::bruteForce(inside, width, height));
  }
  forEachPosition(map.extents, [&](Position const& p) {
    std::uint64_t const voxel = p[std::size_t(axes.j)] * shape.width + p[std::size_t(axes.i)];
    map(p[0], p[1], p[2]) = slices[p[std::size_t(axes.slice)]][voxel];
  });
  return map;
}

TEST_P(DistanceMapIn, EqualsBruteForceOnEverySmallMask) {
  constexpr std::uint64_t mostVoxels = 12;
  for (std::uint64_t width = 1; width <= mostVoxels; ++width) {
    for (std::uint64_t height = 1; width * height <= mostVoxels; ++height) {
      Mask const masks = everySmallMask(GetParam(), width, height);
      std::vector<SliceSummary> summaries;
      DistanceMap const map = distanceMap(masks, settings(), &summaries);
      EXPECT_EQ(map.pages[0].data, everySmallMap(masks, GetParam()).pages[0].data)
          << width << " × " << height;
      for (SliceSummary const& summary : summaries) {
        bool const isUniform = summary.slice == 0 || summary.slice + 1 == summaries.size();
        EXPECT_EQ(summary.hasBoundary, !isUniform) << width << " × " << height << ", " << summary.slice;
        EXPECT_EQ(summary.inside, std::uint64_t(std::popcount(summary.slice)));
      }
    }
  }
}

TEST_P(DistanceMapIn, EverySmallMaskAloneIsAsAmongOthers) {
  for (auto const& [width, height] :
       {std::pair(3U, 2U), std::pair(2U, 3U), std::pair(1U, 2U), std::pair(6U, 1U)}) {
    Mask const masks = everySmallMask(GetParam(), width, height);
    DistanceMap const all = everySmallMap(masks, GetParam());
    for (std::uint64_t slice = 0; slice < sliceShape(masks, GetParam()).count; ++slice) {
      DistanceMap const one = distanceMap(masks, settings(static_cast<int>(slice)));
      forEachPosition(masks.extents, [&](Position const& p) {
        float const expected = p[normalOf(GetParam())] == slice ? all(p[0], p[1], p[2]) : 0.0F;
        EXPECT_EQ(one(p[0], p[1], p[2]), expected) << slice;
      });
    }
  }
}

/// Longer rows than those of small masks, with random row 0 and nothing but it.
TEST_P(DistanceMapIn, ObjectsInRowZeroAloneHaveTheirDistancesInAnyUnit) {
  auto const axes = Transform::axesOf(GetParam());
  Mask mask({29, 27, 23});
  std::mt19937 random(13);
  forEachPosition(mask.extents, [&](Position const& p) {
    bool const isFilled = p[std::size_t(axes.slice)] % 2 == 1;
    bool const differs = p[std::size_t(axes.j)] == 0 && random() % 20 == 0;
    mask(p[0], p[1], p[2]) = isFilled != differs;
  });
  MapSettings longVoxels = settings();
  longVoxels.voxelLength = 0.3;
  DistanceMap const map = distanceMap(mask, longVoxels);
  forEachPosition(mask.extents, [&](Position const& p) {
    float const distance = distanceAt(mask, p, normalOf(GetParam()));
    if (std::isinf(distance)) return;
    EXPECT_FLOAT_EQ(map(p[0], p[1], p[2]), distance * 0.3F);
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
    several.noBoundary = NoBoundary::constant;
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

}  // namespace
}  // namespace lorb::tools
