// Volumes and slices beyond what 31 and 32 bits count. They take gigabytes: each test says how many, and is
// passed over where they are not free.

#include "reference/literalTransform.h"
#include "tests/sameBits.h"

#include <lorb/algorithm/EuclideanDistanceTransform2D.h>

#include <gtest/gtest.h>
#include <sys/sysinfo.h>

#include <cmath>

namespace {

using lorb::TImageDataset;
using reference::Extents;
using Transform = lorb::EuclideanDistanceTransform2D;
using Map = TImageDataset<float, 3>;

double freeGigabytes() {
  struct sysinfo info {};
  sysinfo(&info);
  return static_cast<double>(info.freeram + info.bufferram) * info.mem_unit / double(1 << 30);
}

#define REQUIRE_GIGABYTES(needed) \
  if (freeGigabytes() < (needed)) GTEST_SKIP() << needed << " GB needed, " << freeGigabytes() << " GB free"

/// The signed distance at (i, j) by comparison with every voxel within `reach`, which must hold one of the
/// other side.
template <class Inside>
float distanceTo(Inside inside, int i, int j, int width, int height, int reach) {
  bool const own = inside(i, j);
  int nearest = INT_MAX;
  for (int v = std::max(0, j - reach); v <= std::min(height - 1, j + reach); ++v) {
    for (int u = std::max(0, i - reach); u <= std::min(width - 1, i + reach); ++u) {
      if (inside(u, v) != own) nearest = std::min(nearest, (u - i) * (u - i) + (v - j) * (v - j));
    }
  }
  float const distance = std::sqrt(static_cast<float>(nearest));
  return own ? -distance : distance;
}

// --- more voxels than an int counts ------------------------------------------------------------------

/// A grid of single inside voxels, so that each is at most a few voxels from the next.
bool onGrid(int i, int j) {
  return i % 13 == 5 && j % 11 == 4;
}

TEST(LargeTest, VolumesOfMoreVoxelsThanAnIntCounts) {
  REQUIRE_GIGABYTES(9.5);
  std::uint64_t const n = 1300;  // 1300³ > 2³¹
  TImageDataset<bool, 3> input({n, n, n});
  Map output(input.extents);
  int const last = static_cast<int>(n) - 1;
  for (auto const plane : {Transform::planeXY, Transform::planeXZ, Transform::planeYZ}) {
    auto const at = [&](int i, int j) {
      std::uint64_t x = 0, y = 0, z = 0;
      reference::place(plane, i, j, last, x, y, z);
      return std::array{x, y, z};
    };
    for (int j = 0; j <= last; ++j) {
      for (int i = 0; i <= last; ++i) {
        auto const [x, y, z] = at(i, j);
        input(x, y, z) = onGrid(i, j);
      }
    }
    Transform transform;
    transform.setPlane(plane);
    transform.computeTwoSided(&input, &output, last);
    for (int const j : {0, 1, 640, last - 1, last}) {
      for (int i = 0; i <= last; ++i) {
        auto const [x, y, z] = at(i, j);
        ASSERT_EQ(output(x, y, z), distanceTo(onGrid, i, j, last + 1, last + 1, 18)) << plane << ": " << i;
      }
    }
    EXPECT_EQ(output(0, 0, 0), 0.0F) << "a slice that was not asked for";
    for (int j = 0; j <= last; ++j) {
      for (int i = 0; i <= last; ++i) {
        auto const [x, y, z] = at(i, j);
        input(x, y, z) = false;
        output(x, y, z) = 0.0F;
      }
    }
  }
}

// --- squared diagonals near the largest int ----------------------------------------------------------

TEST(LargeTest, SlicesWhoseSquaredDiagonalNearlyOverflows) {
  REQUIRE_GIGABYTES(9.5);
  // 46340² + 40² < 2³¹ < 46341²; the table of roots alone takes 8.6 GB, which is why it serves all.
  Transform transform;
  for (Extents const& extents : {Extents{46340, 40, 1}, Extents{46340, 2, 1}, Extents{2, 46340, 1}}) {
    TImageDataset<short, 3> input(extents);
    for (std::uint64_t y = 0; y < extents[1]; ++y) {
      for (std::uint64_t x = 0; x < extents[0]; ++x) input(x, y, 0) = x + y > 1 && (x + 7 * y) % 5000 != 17;
    }
    Map expected = reference::untouchedOutput(extents);
    Map output = expected;
    transform.computeTwoSided(&input, &output);
    reference::literalTransform(input, expected, 2, -1, transform.sqrtTable.values);
    EXPECT_TRUE(reference::sameBits(output, expected));
  }
}

TEST(LargeTest, TheTableReachesItsLargestBound) {
  REQUIRE_GIGABYTES(9.5);
  Transform::SqrtLookUpTable table;
  int const largest = std::numeric_limits<int>::max() - 1;
  table.init(largest);
  EXPECT_EQ(table.maxIndex, largest);
  for (int const k : {0, 1, 2, 1 << 24, (1 << 24) + 1, 1 << 30, largest - 1, largest})
    EXPECT_EQ(table.values[k], std::sqrt(static_cast<float>(k)));
}

// --- sides whose squares wrap ------------------------------------------------------------------------

TEST(LargeTest, SidesWhoseSquaresWrapAreFilledWithTheWrappedDiagonal) {
  for (std::uint64_t const side : {46341U, 65536U, 100000U}) {
    auto const wrapped = static_cast<int>(static_cast<unsigned>(side) * static_cast<unsigned>(side) + 1U);
    if (wrapped > 0) REQUIRE_GIGABYTES(4e-9 * wrapped + 1);
    for (Extents const& extents : {Extents{side, 1, 1}, Extents{1, side, 1}}) {
      for (int const inside : {0, 1}) {
        TImageDataset<unsigned char, 3> input(extents);
        std::fill(input.voxels().begin(), input.voxels().end(), static_cast<unsigned char>(inside));
        Map output(extents);
        Transform transform;
        transform.computeTwoSided(&input, &output);
        auto const fill = static_cast<float>(inside ? -wrapped : wrapped);
        for (float const voxel : output.voxels()) ASSERT_EQ(voxel, fill) << side;
      }
    }
  }
}

TEST(LargeTest, ColumnsOf100000VoxelsEqualTheLiteralProcedure) {
  REQUIRE_GIGABYTES(7);
  // The wrapped bound, 1 410 065 409, is still beyond the distances that occur here.
  Extents const extents = {1, 100000, 1};
  TImageDataset<int, 3> input(extents);
  std::mt19937 random(3);
  for (std::uint64_t y = 0; y < extents[1]; y += 1 + random() % 20000) input(0, y, 0) = 1;
  Map expected = reference::untouchedOutput(extents);
  Map output = expected;
  Transform transform;
  transform.computeTwoSided(&input, &output);
  reference::literalTransform(input, expected, 2, -1, transform.sqrtTable.values);
  EXPECT_TRUE(reference::sameBits(output, expected));
}

TEST(LargeTest, RowsOf100000VoxelsAreFilled) {
  REQUIRE_GIGABYTES(7);
  Extents const extents = {100000, 2, 1};
  TImageDataset<int, 3> input(extents);
  for (std::uint64_t x = 0; x < extents[0]; x += 7001) input(x, 1, 0) = 1;
  Map expected = reference::untouchedOutput(extents);
  Map output = expected;
  Transform transform;
  transform.computeTwoSided(&input, &output);
  reference::literalTransform(input, expected, 2, -1, transform.sqrtTable.values);
  EXPECT_TRUE(reference::sameBits(output, expected));
}

TEST(LargeTest, SquareSlicesOf20000) {
  REQUIRE_GIGABYTES(8);
  // Four hundred million voxels in one slice, beyond what single precision sums up exactly.
  int const n = 20000;
  TImageDataset<unsigned char, 3> input({n, n, 1});
  for (std::uint64_t y = 4; y < n; y += 11) {
    for (std::uint64_t x = 5; x < n; x += 13) input(x, y, 0) = 1;
  }
  Map output(input.extents);
  Transform().computeTwoSided(&input, &output);
  for (int const j : {0, 9999, n - 1}) {
    for (int i = 0; i < n; i += 7) {
      ASSERT_EQ(output(static_cast<std::uint64_t>(i), static_cast<std::uint64_t>(j), 0),
                distanceTo(onGrid, i, j, n, n, 18));
    }
  }
}

}  // namespace
