// The two kernels on single slices: what they return, write and leave in the scratch.

#include "reference/literalTransform.h"
#include "reference/randomVolumes.h"
#include "tests/sanitized.h"

#include <lorb/algorithm/EuclideanDistanceTransform2D.h>

#include <gtest/gtest.h>

#include <new>

namespace {

using lorb::Dataset;
using lorb::DatasetCoordinates;
using lorb::TImageDataset;
using Transform = lorb::EuclideanDistanceTransform2D;
using reference::Filling;

/// One XY slice with everything that the kernels need.
template <class T = unsigned char>
struct Slice {
  Slice(int width, int height, std::vector<int> const& voxels)
      : w(width),
        h(height),
        input(extents()),
        output(reference::untouchedOutput(extents())),
        scratchData(true) {
    for (std::size_t k = 0; k < voxels.size(); ++k) input.pages[0].data[k] = static_cast<T>(voxels[k]);
    scratchData.newDataset(DatasetCoordinates(w, h, 1, 1, 1), lorb::elementUInt32, {});
    for (int j = 0; j < h; ++j) {
      for (int i = 0; i < w; ++i) scratch().set(i, j, 12345.0F);
    }
    transform.sqrtTable.init(w * w + h * h);
  }

  reference::Extents extents() const {
    return {static_cast<std::uint64_t>(w), static_cast<std::uint64_t>(h), 1};
  }
  Transform::CIsliceXY<T> in() const { return {&input, w, h, 1, 0}; }
  Transform::IsliceXY<float> out() { return {&output, w, h, 1, 0}; }
  Transform::sliceXY scratch() { return {&scratchData, w, h, 1, 0, DatasetCoordinates(0, 0, 0, 0, 0)}; }

  bool twoSidedIn() { return transform.twoSidedIn(in(), scratch(), out()); }
  void twoSidedOut() { transform.twoSidedOut(out(), scratch()); }

  std::vector<float> map() const { return {output.voxels().begin(), output.voxels().end()}; }
  std::vector<float> columnDistances() {
    std::vector<float> values;
    for (int j = 0; j < h; ++j) {
      for (int i = 0; i < w; ++i) values.push_back(scratch().get(i, j));
    }
    return values;
  }

  int w, h;
  TImageDataset<T, 3> input;
  TImageDataset<float, 3> output;
  Dataset scratchData;
  Transform transform;
};

using Values = std::vector<float>;

TEST(TwoSidedKernelsTest, CentreVoxelOfThreeByThree) {
  Slice<> slice(3, 3, {0, 0, 0, 0, 1, 0, 0, 0, 0});
  EXPECT_TRUE(slice.twoSidedIn());
  EXPECT_EQ(slice.columnDistances(), (Values{0, 0, 0, 0, 1, 0, 0, 0, 0}));
  EXPECT_EQ(slice.map(), (Values{1, 1, 1, 1, -1, 1, 1, 1, 1}));
  slice.twoSidedOut();
  EXPECT_EQ(slice.columnDistances(), (Values{18, 1, 18, 19, 0, 19, 22, 1, 22}));
  float const d = 1.4142135F;
  EXPECT_EQ(slice.map(), (Values{d, 1, d, 1, -1, 1, d, 1, d}));
}

TEST(TwoSidedKernelsTest, OnlyRowZeroDiffersIsNoBoundary) {
  Slice<> outsideAbove(2, 3, {0, 1, 1, 1, 1, 1});
  EXPECT_FALSE(outsideAbove.twoSidedIn());
  EXPECT_EQ(outsideAbove.map(), Values(6, 0.25F)) << "the output is not written";
  EXPECT_EQ(outsideAbove.columnDistances(), (Values{0, 13, 1, 14, 4, 17})) << "the scratch is";

  Slice<> insideAbove(2, 3, {1, 0, 0, 0, 0, 0});
  EXPECT_FALSE(insideAbove.twoSidedIn());
  EXPECT_EQ(insideAbove.map(), Values(6, 0.25F));
  EXPECT_EQ(insideAbove.columnDistances(), (Values{1, 0, 0, 0, 0, 0}));
}

TEST(TwoSidedKernelsTest, HeightOneIsNoBoundary) {
  Slice<> slice(3, 1, {1, 0, 1});
  EXPECT_FALSE(slice.twoSidedIn());
  EXPECT_EQ(slice.columnDistances(), (Values{10, 0, 10}));
  EXPECT_EQ(slice.map(), Values(3, 0.25F));
}

TEST(TwoSidedKernelsTest, HeightZeroStillReadsAndWritesRowZero) {
  for (int const height : {0, -1}) {
    Slice<> slice(2, 2, {1, 0, 1, 1});
    auto in = slice.in();
    in.height = height;
    EXPECT_FALSE(slice.transform.twoSidedIn(in, slice.scratch(), slice.out()));
    EXPECT_EQ(slice.columnDistances(), (Values{height == 0 ? 4.0F : 5.0F, 0, 12345, 12345}));
    EXPECT_EQ(slice.map(), Values(4, 0.25F));
  }
}

TEST(TwoSidedKernelsTest, HeightZeroOfTheSecondKernelWritesRowZeroOfTheScratchAlone) {
  Slice<> slice(2, 2, {});
  auto out = slice.out();
  out.height = 0;
  slice.transform.twoSidedOut(out, slice.scratch());
  EXPECT_EQ(slice.columnDistances(), (Values{4, 4, 12345, 12345}));
  EXPECT_EQ(slice.map(), Values(4, 0.25F));
}

TEST(TwoSidedKernelsTest, NoWidthMeansNothingIsReadOrWritten) {
  Transform transform;
  for (int const width : {0, -3}) {
    Transform::CIsliceXY<float> const in{nullptr, width, 5, 1, 0};
    Transform::IsliceXY<float> const out{nullptr, width, 5, 1, 0};
    Transform::sliceXY const scratch{nullptr, width, 5, 1, 0, DatasetCoordinates(0, 0, 0, 0, 0)};
    EXPECT_FALSE(transform.twoSidedIn(in, scratch, out));
  }
}

TEST(TwoSidedKernelsTest, SecondKernelWritesNothingAtWidthZeroAndThrowsBelow) {
  Transform transform;
  Transform::sliceXY const scratch{nullptr, 0, 5, 1, 0, DatasetCoordinates(0, 0, 0, 0, 0)};
  EXPECT_NO_THROW(transform.twoSidedOut(Transform::IsliceXY<float>{nullptr, 0, 5, 1, 0}, scratch));
  if (lorb::test::isSanitized) return;
  EXPECT_THROW(transform.twoSidedOut(Transform::IsliceXY<float>{nullptr, -1, 5, 1, 0}, scratch),
               std::bad_array_new_length);
}

TEST(TwoSidedKernelsTest, OneColumnKeepsItsColumnDistances) {
  Slice<> slice(1, 5, {0, 1, 1, 1, 1});
  ASSERT_TRUE(slice.twoSidedIn() == false) << "all of rows 1 to 4 are inside";
  Slice<> bounded(1, 5, {1, 1, 0, 1, 1});
  ASSERT_TRUE(bounded.twoSidedIn());
  bounded.twoSidedOut();
  EXPECT_EQ(bounded.map(), (Values{-2, -1, 1, -1, -2}));
}

TEST(TwoSidedKernelsTest, ZeroNegativeAndNanAreOutside) {
  Slice<float> slice(3, 2, {});
  auto const nan = std::numeric_limits<float>::quiet_NaN();
  Values const voxels = {nan, 1, -0.0F, -5, 1, 0};
  std::copy(voxels.begin(), voxels.end(), slice.input.voxels().begin());
  ASSERT_TRUE(slice.twoSidedIn());
  EXPECT_EQ(slice.map(), (Values{1, -1, 1, 1, -1, 1}));
}

TEST(TwoSidedKernelsTest, NoPlaceholderSurvives) {
  std::mt19937 random(3);
  Slice<> slice(40, 30, {});
  auto const mask = reference::randomMask(1200, Filling::sparse, random);
  for (std::size_t k = 0; k < 1200; ++k) slice.input.voxels()[k] = static_cast<unsigned char>(mask[k]);
  ASSERT_TRUE(slice.twoSidedIn());
  slice.twoSidedOut();
  for (int j = 0; j < 30; ++j) {
    for (int i = 0; i < 40; ++i) {
      if (slice.out().get(i, j) != 1.0F) continue;
      auto const inside = [&](int a, int b) {
        return a >= 0 && a < 40 && b >= 0 && b < 30 && slice.in().get(a, b) > 0;
      };
      EXPECT_TRUE(inside(i - 1, j) || inside(i + 1, j) || inside(i, j - 1) || inside(i, j + 1))
          << i << ", " << j;
    }
  }
}

TEST(TwoSidedKernelsTest, SecondKernelKeepsTheBitsOfWhatIsNotPositive) {
  Dataset data(true);
  data.newDataset({3, 2, 1, 1, 1}, lorb::elementDouble, {});
  double const values[] = {-0.1, 1.0, -1e-300, 1.0, -12345678.9, 0.0};
  for (int k = 0; k < 6; ++k) data.setElement<double>({k % 3, k / 3, 0, 0, 0}, values[k]);
  Dataset work(true);
  work.newDataset({3, 2, 1, 1, 1}, lorb::elementUInt32, {});
  DatasetCoordinates const zero(0, 0, 0, 0, 0);
  Transform transform;
  transform.sqrtTable.init(13);
  transform.twoSidedOut(Transform::sliceXY{&data, 3, 2, 1, 0, zero},
                        Transform::sliceXY{&work, 3, 2, 1, 0, zero});
  for (int k = 0; k < 6; ++k) {
    EXPECT_EQ(data.getElement<double>({k % 3, k / 3, 0, 0, 0}), values[k]) << k;
  }
}

TEST(TwoSidedKernelsTest, ScratchHoldsTheColumnDistancesOfTheKernelThatRanLast) {
  std::mt19937 random(11);
  for (Filling const filling : reference::allFillings) {
    Slice<> slice(37, 29, {});
    auto const mask = reference::randomMask(37 * 29, filling, random);
    for (std::size_t k = 0; k < mask.size(); ++k)
      slice.input.voxels()[k] = static_cast<unsigned char>(mask[k]);
    Values expected(mask.size(), 0.25F);
    auto const at = [](int i, int j) { return static_cast<std::size_t>(j * 37 + i); };
    reference::LiteralSlice literal(
        37, 29, [&](int i, int j) { return mask[at(i, j)] != 0; },
        [&](int i, int j) { return expected[at(i, j)]; },
        [&](int i, int j, float value) { expected[at(i, j)] = value; }, slice.transform.sqrtTable.values);
    EXPECT_EQ(slice.twoSidedIn(), literal.twoSidedIn());
    EXPECT_EQ(slice.columnDistances(), literal.scratch());
    EXPECT_EQ(slice.map(), expected);
    if (expected[0] == 0.25F) continue;
    slice.twoSidedOut();
    literal.twoSidedOut();
    EXPECT_EQ(slice.columnDistances(), literal.scratch());
    EXPECT_EQ(slice.map(), expected);
  }
}

/// A generic dataset of one slice, whose view tells which voxel was addressed last.
struct GenericSlice {
  GenericSlice(int width, int height, lorb::LORBElementType type) : data(true) {
    data.newDataset({width, height, 1, 1, 1}, type, {});
    view = {&data, width, height, 1, 0, DatasetCoordinates(7, 7, 0, 0, 0)};
  }
  std::pair<int, int> position() const { return {view.position[0], view.position[1]}; }

  Dataset data;
  Transform::sliceXY view;
};

TEST(TwoSidedKernelsTest, PositionsAreTheVoxelsThatTheProcedureAddressesLast) {
  std::mt19937 random(19);
  for (int trial = 0; trial < 3000; ++trial) {
    int const width = static_cast<int>(random() % 7) + 1, height = static_cast<int>(random() % 6) + 1;
    GenericSlice in(width, height, lorb::elementInt8), out(width, height, lorb::elementFloat),
        scratch(width, height, lorb::elementUInt32);
    auto const count = static_cast<std::size_t>(width * height);
    auto const mask = reference::randomMask(count, reference::allFillings[random() % 4], random);
    auto const at = [&](int i, int j) { return static_cast<std::size_t>(j * width + i); };
    for (int j = 0; j < height; ++j) {
      for (int i = 0; i < width; ++i) in.data.setElement<int>({i, j, 0, 0, 0}, mask[at(i, j)]);
    }
    Transform transform;
    transform.sqrtTable.init(width * width + height * height);
    std::vector<float> map(count);
    std::pair<int, int> lastIn(7, 7), lastOut(7, 7);
    reference::LiteralSlice literal(
        width, height,
        [&](int i, int j) {
          lastIn = {i, j};
          return mask[at(i, j)] != 0;
        },
        [&](int i, int j) {
          lastOut = {i, j};
          return map[at(i, j)];
        },
        [&](int i, int j, float value) {
          lastOut = {i, j};
          map[at(i, j)] = value;
        },
        transform.sqrtTable.values);
    auto const check = [&](char const* kernel) {
      EXPECT_EQ(in.position(), lastIn) << kernel << ", trial " << trial;
      EXPECT_EQ(out.position(), lastOut) << kernel << ", trial " << trial;
      EXPECT_EQ(scratch.position(), std::pair(literal.lastScratchI(), literal.lastScratchJ()))
          << kernel << ", trial " << trial;
    };
    bool const boundary = literal.twoSidedIn();
    EXPECT_EQ(transform.twoSidedIn(in.view, scratch.view, out.view), boundary);
    check("inside");
    if (!boundary) continue;
    literal.twoSidedOut();
    transform.twoSidedOut(out.view, scratch.view);
    check("outside");
  }
}

TEST(TwoSidedKernelsTest, PositionsOfTheSecondKernelWhereNothingIsPositive) {
  GenericSlice out(3, 2, lorb::elementFloat), scratch(3, 2, lorb::elementUInt32);
  Transform transform;
  transform.sqrtTable.init(13);
  transform.twoSidedOut(out.view, scratch.view);
  EXPECT_EQ(out.position(), std::pair(2, 1)) << "the last voxel read";
  EXPECT_EQ(scratch.position(), std::pair(0, 1));
}

TEST(TwoSidedKernelsTest, ABoundThatWrapsBelowZeroIsKeptByScratchThatCan) {
  constexpr int width = 46341, height = 3;  // width² + height² is above 2³¹
  std::mt19937 random(23);
  auto mask = reference::randomMask(width * height, Filling::half, random);
  for (int column = 0; column < width; column += 5) {
    for (int j = 0; j < height; ++j) mask[static_cast<std::size_t>(j * width + column)] = 1;
  }
  auto const at = [](int i, int j) { return static_cast<std::size_t>(j * width + i); };
  for (auto const type : {lorb::elementFloat, lorb::elementInt32, lorb::elementUInt32}) {
    GenericSlice in(width, height, lorb::elementInt8), out(width, height, lorb::elementFloat),
        scratch(width, height, type);
    for (int j = 0; j < height; ++j) {
      for (int i = 0; i < width; ++i) in.data.setElement<int>({i, j, 0, 0, 0}, mask[at(i, j)]);
    }
    Transform transform;
    transform.sqrtTable.init(100000);
    Values map(mask.size());
    reference::LiteralSlice literal(
        width, height, [&](int i, int j) { return mask[at(i, j)] != 0; },
        [&](int i, int j) { return map[at(i, j)]; },
        [&](int i, int j, float value) { map[at(i, j)] = value; }, transform.sqrtTable.values,
        type != lorb::elementUInt32);
    ASSERT_TRUE(literal.twoSidedIn());
    ASSERT_TRUE(transform.twoSidedIn(in.view, scratch.view, out.view));
    for (int j = 0; j < height; ++j) {
      for (int i = 0; i < width; ++i) {
        ASSERT_EQ(scratch.view.get(i, j), literal.scratch()[at(i, j)]) << type << ": " << i << ", " << j;
        ASSERT_EQ(out.view.get(i, j), map[at(i, j)]) << type << ": " << i << ", " << j;
      }
    }
  }
}

TEST(TwoSidedKernelsTest, EveryViewHasItsOwnCurrentSlice) {
  TImageDataset<unsigned char, 3> input({3, 3, 2});
  input(1, 1, 1) = 9;
  auto output = reference::untouchedOutput({3, 3, 3});
  Dataset work(true);
  work.newDataset({3, 3, 4, 1, 1}, lorb::elementUInt32, {});
  Transform transform;
  transform.sqrtTable.init(18);
  Transform::CIsliceXY<unsigned char> const in{&input, 3, 3, 2, 1};
  Transform::IsliceXY<float> const out{&output, 3, 3, 3, 2};
  Transform::sliceXY const scratch{&work, 3, 3, 4, 3, DatasetCoordinates(0, 0, 0, 0, 0)};
  ASSERT_TRUE(transform.twoSidedIn(in, scratch, out));
  transform.twoSidedOut(out, scratch);
  EXPECT_EQ(output(1, 1, 2), -1.0F);
  EXPECT_EQ(output(0, 0, 2), 1.4142135F);
  EXPECT_EQ(output(1, 1, 0), 0.25F);
  EXPECT_EQ(output(1, 1, 1), 0.25F);
  EXPECT_EQ(work.getElement<int>({0, 2, 3, 0, 0}), 22);
  EXPECT_EQ(work.getElement<int>({0, 2, 0, 0, 0}), 0);
}

}  // namespace
