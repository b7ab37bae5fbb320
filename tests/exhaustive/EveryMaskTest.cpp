// Every mask of every small slice shape, through every way into the transform, against brute force.

#include "reference/bruteForce.h"
#include "tests/onEveryTarget.h"

#include <lorb/algorithm/EuclideanDistanceTransform2D.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <iostream>

namespace {

using lorb::Dataset;
using lorb::DatasetCoordinates;
using lorb::TImageDataset;
using Transform = lorb::EuclideanDistanceTransform2D;

constexpr int largestArea = 20;

/// Signed distances of the masks of one slice shape; bit k of a mask is voxel k, row by row.
class Oracle {
 public:
  Oracle(int width, int height) : width_(width), height_(height) {
    for (int a = 0; a < area(); ++a) {
      for (int b = 0; b < area(); ++b) {
        int const dx = a % width - b % width, dy = a / width - b / width;
        squared_[static_cast<std::size_t>(a * area() + b)] = dx * dx + dy * dy;
      }
    }
  }

  int width() const { return width_; }
  int height() const { return height_; }
  int area() const { return width_ * height_; }

  /// Whether rows from 1 on hold inside and outside voxels: without both, the slice is filled.
  bool hasBoundary(std::uint32_t mask) const {
    std::uint32_t const all = ((1U << area()) - 1) & ~((1U << width_) - 1);
    return (mask & all) != 0 && (mask & all) != all;
  }

  void distances(std::uint32_t mask, float* result) const {
    auto const diagonal = static_cast<float>(width_ * width_ + height_ * height_);
    for (int a = 0; a < area(); ++a) {
      bool const inside = mask >> a & 1;
      result[a] = !hasBoundary(mask) ? diagonal : std::sqrt(static_cast<float>(nearestSquared(mask, a)));
      if (hasBoundary(mask) ? inside : mask & 1) result[a] = -result[a];
    }
  }

 private:
  int nearestSquared(std::uint32_t mask, int a) const {
    std::uint32_t const others = mask >> a & 1 ? ~mask : mask;
    int nearest = INT_MAX;
    for (int b = 0; b < area(); ++b) {
      int const squared = squared_[static_cast<std::size_t>(a * area() + b)];
      nearest = others >> b & 1 ? std::min(nearest, squared) : nearest;
    }
    return nearest;
  }

  int width_, height_;
  std::array<int, largestArea * largestArea> squared_;
};

/// Consecutive masks as the slices of one volume, with what their distances must be.
struct Masks {
  Masks(Oracle const& shape, std::uint32_t firstMask, int count)
      : oracle(shape), first(firstMask), slices(count) {
    expected.resize(static_cast<std::size_t>(shape.area() * count));
    for (int k = 0; k < count; ++k) shape.distances(mask(k), &expected[static_cast<std::size_t>(k * area())]);
  }

  int area() const { return oracle.area(); }
  std::uint32_t mask(int slice) const { return first + static_cast<std::uint32_t>(slice); }

  /// Extents of the volume whose slices of `plane` the masks are.
  std::array<std::uint64_t, 3> extents(Transform::PlaneOrientationE plane) const {
    std::array<std::uint64_t, 3> result;
    auto const axes = Transform::axesOf(plane);
    result[static_cast<std::size_t>(axes.i)] = static_cast<std::uint64_t>(oracle.width());
    result[static_cast<std::size_t>(axes.j)] = static_cast<std::uint64_t>(oracle.height());
    result[static_cast<std::size_t>(axes.slice)] = static_cast<std::uint64_t>(slices);
    return result;
  }

  /// Calls `f(i, j, slice, inside, expected)` for every voxel.
  template <class F>
  void forEachVoxel(F f) const {
    std::size_t next = 0;
    for (int slice = 0; slice < slices; ++slice) {
      for (int j = 0; j < oracle.height(); ++j) {
        for (int i = 0; i < oracle.width(); ++i) {
          f(i, j, slice, bool(mask(slice) >> (j * oracle.width() + i) & 1), expected[next++]);
        }
      }
    }
  }

  Oracle const& oracle;
  std::uint32_t first;
  int slices;
  std::vector<float> expected;
};

/// Compares by bits, and fails once, naming mask and voxel.
class Comparison {
 public:
  explicit Comparison(Masks const& masks) : masks_(masks) {}

  void operator()(int i, int j, int slice, float actual, float expected) {
    if (std::memcmp(&actual, &expected, sizeof(float)) == 0 || failed_) return;
    failed_ = true;
    ADD_FAILURE() << masks_.oracle.width() << " x " << masks_.oracle.height() << ", mask "
                  << masks_.mask(slice) << ", voxel (" << i << ", " << j << ") is " << actual
                  << " instead of " << expected;
  }

 private:
  Masks const& masks_;
  bool failed_ = false;
};

template <class T, Transform::PlaneOrientationE Plane>
void checkTyped(Masks const& masks) {
  using View = Transform::MutableSlice<Plane, T>;
  auto const viewOf = [&](auto& volume) {
    return View{&volume, masks.oracle.width(), masks.oracle.height(), masks.slices, 0};
  };
  TImageDataset<T, 3> volume(masks.extents(Plane));
  View in = viewOf(volume);
  masks.forEachVoxel([&](int i, int j, int slice, bool inside, float) {
    in.slice = slice;
    volume.pages[0].data[in.index(i, j)] = static_cast<T>(inside);
  });
  TImageDataset<float, 3> output(volume.extents);
  Transform transform;
  transform.setPlane(Plane);
  reference::onEveryTarget([&] {
    std::fill(output.voxels().begin(), output.voxels().end(), 0.25F);
    transform.computeTwoSided(&volume, &output);
    Comparison compare(masks);
    masks.forEachVoxel([&](int i, int j, int slice, bool, float expected) {
      in.slice = slice;
      compare(i, j, slice, output.voxels()[in.index(i, j)], expected);
    });
  });
}

template <Transform::PlaneOrientationE Plane>
void checkGeneric(Masks const& masks) {
  auto const [nx, ny, nz] = masks.extents(Plane);
  DatasetCoordinates const size(static_cast<int>(nx), static_cast<int>(ny), static_cast<int>(nz), 1, 1);
  Dataset input(false);
  Dataset output(false);
  input.newDataset(size, lorb::elementInt8, {});
  output.newDataset(size, lorb::elementFloat, {});
  Transform::GenericSlice<Plane> view{&input, 0, 0, 0, 0, DatasetCoordinates(0, 0, 0, 0, 0)};
  masks.forEachVoxel([&](int i, int j, int slice, bool inside, float) {
    view.slice = slice;
    view.set(i, j, inside ? 1.0F : 0.0F);
  });
  Transform transform;
  transform.setPlane(Plane);
  transform.computeTwoSided(&input, &output);
  view.dataset = &output;
  Comparison compare(masks);
  masks.forEachVoxel([&](int i, int j, int slice, bool, float expected) {
    view.slice = slice;
    compare(i, j, slice, view.get(i, j), expected);
  });
}

/// The two exported kernels, slice by slice; slices without a boundary are the drivers' to fill.
void checkKernels(Masks const& masks) {
  int const width = masks.oracle.width(), height = masks.oracle.height();
  TImageDataset<short, 3> input(masks.extents(Transform::planeXY));
  TImageDataset<float, 3> output(input.extents);
  Transform::CIsliceXY<short> in{&input, width, height, masks.slices, 0};
  Transform::IsliceXY<float> out{&output, width, height, masks.slices, 0};
  Dataset work(false);
  work.newDataset(DatasetCoordinates(width, height, 1, 1, 1), lorb::elementUInt32, {});
  Transform::sliceXY const scratch{&work, width, height, 1, 0, DatasetCoordinates(0, 0, 0, 0, 0)};
  Transform transform;
  transform.sqrtTable.init(width * width + height * height);
  masks.forEachVoxel([&](int i, int j, int slice, bool inside, float) {
    in.slice = slice;
    input.voxels()[in.index(i, j)] = inside ? short{7} : short{-7};
  });
  for (; out.slice < masks.slices; ++out.slice) {
    in.slice = out.slice;
    bool const boundary = transform.twoSidedIn(in, scratch, out);
    EXPECT_EQ(boundary, masks.oracle.hasBoundary(masks.mask(in.slice))) << "mask " << masks.mask(in.slice);
    if (boundary) transform.twoSidedOut(out, scratch);
  }
  Comparison compare(masks);
  masks.forEachVoxel([&](int i, int j, int slice, bool, float expected) {
    out.slice = slice;
    if (masks.oracle.hasBoundary(masks.mask(slice))) compare(i, j, slice, out.get(i, j), expected);
  });
}

/// Calls `f(masks)` until all masks of all shapes of `area` have been shown; returns their number.
template <class F>
std::uint64_t forEachMask(int area, F f) {
  std::uint64_t shown = 0;
  for (int width = 1; width <= area; ++width) {
    if (area % width != 0) continue;
    Oracle const oracle(width, area / width);
    std::uint32_t const all = 1U << area;
    int const together = static_cast<int>(std::min(all, 1U << 14));
    for (std::uint32_t first = 0; first < all; first += static_cast<std::uint32_t>(together)) {
      f(Masks(oracle, first, together));
      if (testing::Test::HasFailure()) return shown;
    }
    shown += all;
  }
  return shown;
}

TEST(EveryMaskTest, TheOracleIsBruteForce) {
  for (auto const& [width, height] : {std::pair{4, 3}, {3, 4}, {1, 12}, {2, 6}}) {
    Oracle const oracle(width, height);
    std::vector<char> flags(12);
    std::vector<float> distances(12);
    for (std::uint32_t mask = 0; mask < 1U << 12; ++mask) {
      if (!oracle.hasBoundary(mask)) continue;
      for (std::size_t k = 0; k < 12; ++k) flags[k] = mask >> k & 1;
      oracle.distances(mask, distances.data());
      ASSERT_EQ(distances, reference::bruteForce(flags, width, height)) << "mask " << mask;
    }
  }
}

class EveryMaskTest : public testing::TestWithParam<int> {};

TEST_P(EveryMaskTest, GivesTheDistancesOfBruteForceOnEveryPath) {
  int paths = 0;
  std::uint64_t const masks = forEachMask(GetParam(), [&](Masks const& some) {
    checkTyped<unsigned char, Transform::planeXY>(some);
    checkTyped<unsigned char, Transform::planeXZ>(some);
    checkTyped<unsigned char, Transform::planeYZ>(some);
    checkGeneric<Transform::planeXY>(some);
    checkGeneric<Transform::planeXZ>(some);
    checkGeneric<Transform::planeYZ>(some);
    checkKernels(some);
    paths = 4 + 3 * std::popcount(static_cast<std::uint64_t>(hwy::SupportedTargets()));
  });
  std::cout << "area " << GetParam() << ": " << masks << " masks on " << paths << " paths\n";
}

INSTANTIATE_TEST_SUITE_P(Area, EveryMaskTest, testing::Range(1, largestArea + 1),
                         testing::PrintToStringParamName());

}  // namespace
