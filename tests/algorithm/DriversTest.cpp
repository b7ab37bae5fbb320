// The drivers that run the kernels over slices and volumes.

#include "reference/literalTransform.h"
#include "tests/ElementTypes.h"
#include "tests/sameBits.h"

#include <lorb/algorithm/EuclideanDistanceTransform2D.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace {

using lorb::Dataset;
using lorb::DatasetCoordinates;
using lorb::TImageDataset;
using reference::sameBits;
using reference::untouchedOutput;
using Transform = lorb::EuclideanDistanceTransform2D;

template <class Volume>
bool allEqual(Volume const& volume, float value) {
  return std::all_of(volume.voxels().begin(), volume.voxels().end(), [&](float v) { return v == value; });
}

TEST(DriversTest, SlicesWithoutABoundaryHoldTheSquaredDiagonal) {
  TImageDataset<unsigned char, 3> input({4, 3, 1});
  TImageDataset<float, 3> output({4, 3, 1});
  Transform transform;
  transform.computeTwoSidedT(&input, &output);
  EXPECT_TRUE(allEqual(output, 25.0F));
  std::fill(input.voxels().begin(), input.voxels().end(), 200);
  transform.computeTwoSidedT(&input, &output);
  EXPECT_TRUE(allEqual(output, -25.0F));
}

TEST(DriversTest, RoundingOutputsOfSlicesWithoutABoundaryHoldTheSquaredDiagonal) {
  Dataset input(true);
  Dataset output(true);
  reference::shape(input, {4, 3, 1}, lorb::elementInt8);
  reference::shape(output, {4, 3, 1}, lorb::elementInt16);
  for (float const value : {0.0F, 7.0F}) {
    reference::forEachVoxel(
        {4, 3, 1}, [&](auto const& position, std::size_t) { input.setElement<float>(position, value); });
    DatasetCoordinates const origin(0, 0, 0, 0, 0);
    Transform().computeAllSlicesTwoSided(Transform::sliceXY{&input, 4, 3, 1, 0, origin},
                                         Transform::sliceXY{&output, 4, 3, 1, 0, origin});
    reference::forEachVoxel({4, 3, 1}, [&](auto const& position, std::size_t) {
      EXPECT_EQ(output.getElement<float>(position), value > 0.0F ? -25.0F : 25.0F);
    });
  }
}

TEST(DriversTest, HighSlicesEqualTheLiteralProcedureNearAndFar) {
  // Beyond 4097 rows, squares along columns are rounded once distances reach beyond 4096.
  TImageDataset<short, 3> input({3, 4200, 3});
  for (std::uint64_t y = 0; y < 4200; y += 30) input(y / 30 % 3, y, 0) = 1;
  input(1, 4190, 1) = 1;
  for (std::uint64_t y = 0; y < 4200; y += 50) input(2, y, 2) = 1;
  TImageDataset<float, 3> output(input.extents), expected(input.extents);
  Transform().computeTwoSided(&input, &output);
  reference::literalTransform(input, expected, Transform::planeXY);
  EXPECT_TRUE(reference::sameBits(output, expected));

  TImageDataset<short, 3> turned({3, 3, 4200});
  for (std::uint64_t z = 0; z < 4200; z += 30) turned(z / 30 % 3, z / 30 % 2, z) = 1;
  TImageDataset<float, 3> map(turned.extents), literal(turned.extents);
  Transform transform;
  transform.setPlane(Transform::planeXZ);
  transform.computeTwoSided(&turned, &map);
  reference::literalTransform(turned, literal, Transform::planeXZ);
  EXPECT_TRUE(reference::sameBits(map, literal));
}

TEST(DriversTest, LargeVolumesAreFilledAsSmallOnesAre) {
  // More than stays in a cache, so that stores go past it.
  TImageDataset<signed char, 3> input({64, 64, 600});
  input(5, 5, 599) = 1;
  TImageDataset<float, 3> output(input.extents);
  Transform().computeTwoSided(&input, &output);
  for (std::size_t k = 0; k < 64 * 64 * 599; ++k) ASSERT_EQ(output.voxels()[k], 8192.0F) << k;
  EXPECT_EQ(output(5, 5, 599), -1.0F);
  EXPECT_EQ(output(5, 8, 599), 3.0F);
}

TEST(DriversTest, SlicesBeyondTheVolumeAreWrittenOneAfterTheOther) {
  // They lie in the places of slices before them.
  std::mt19937 random(6);
  reference::Extents const extents = {40, 40, 40};
  auto const input = reference::volumeFromMask<short>(
      extents, reference::randomMask(40 * 40 * 40, reference::Filling::half, random), random);
  constexpr int slices = 33;
  auto const check = [&](reference::Extents const& outputExtents, auto in, auto out) {
    TImageDataset<float, 3> together(outputExtents), inTurn(outputExtents);
    out.dataset = &together;
    Transform().computeAllSlicesTwoSided(in, out);
    out.dataset = &inTurn;
    for (int slice = 0; slice < slices; ++slice) Transform().computeSingleSliceTwoSided(in, out, slice);
    EXPECT_TRUE(reference::sameBits(together, inTurn));
  };
  check({7, 13, 20}, Transform::CIsliceYZ<short>{&input, 12, 16, slices, 0},
        Transform::IsliceYZ<float>{nullptr, 12, 16, slices, 0});
  check({13, 7, 24}, Transform::CIsliceXZ<short>{&input, 12, 16, slices, 0},
        Transform::IsliceXZ<float>{nullptr, 12, 16, slices, 0});
}

TEST(DriversTest, TheFirstVoxelGivesTheSignOfTheFill) {
  // Row 0 is mixed, all below is outside: no boundary, so voxel (0, 0) speaks for the slice.
  TImageDataset<short, 3> input({2, 3, 1});
  TImageDataset<float, 3> output({2, 3, 1});
  Transform transform;
  input(0, 0, 0) = 5;
  transform.computeTwoSidedT(&input, &output);
  EXPECT_TRUE(allEqual(output, -13.0F));
  input(0, 0, 0) = 0;
  input(1, 0, 0) = 5;
  transform.computeTwoSidedT(&input, &output);
  EXPECT_TRUE(allEqual(output, 13.0F));
}

TEST(DriversTest, ASliceOfHeightOneIsFilled) {
  TImageDataset<int, 3> input({5, 1, 1});
  TImageDataset<float, 3> output({5, 1, 1});
  input(2, 0, 0) = 1;
  Transform transform;
  transform.computeTwoSidedT(&input, &output);
  EXPECT_TRUE(allEqual(output, 26.0F));
  input(0, 0, 0) = 1;
  transform.computeTwoSidedT(&input, &output, 0);
  EXPECT_TRUE(allEqual(output, -26.0F));
}

TEST(DriversTest, ANanIsOutsideInTheFillToo) {
  TImageDataset<double, 3> input({2, 2, 1});
  TImageDataset<float, 3> output({2, 2, 1});
  input(0, 0, 0) = std::numeric_limits<double>::quiet_NaN();
  Transform().computeTwoSidedT(&input, &output);
  EXPECT_TRUE(allEqual(output, 8.0F));
}

TEST(DriversTest, NoSlicesLeaveTheOutputAloneAndStillGrowTheTable) {
  TImageDataset<float, 3> input({4, 0, 5});
  auto output = untouchedOutput({4, 2, 5});
  Transform transform;
  transform.setPlane(Transform::planeXZ);
  transform.computeTwoSidedT(&input, &output);
  EXPECT_TRUE(allEqual(output, 0.25F));
  EXPECT_EQ(transform.sqrtTable.maxIndex, 41);
}

TEST(DriversTest, ANegativeSliceCountMeansNoSlices) {
  TImageDataset<float, 3> input({4, 3, 1});
  auto output = untouchedOutput({4, 3, 1});
  Transform transform;
  transform.computeAllSlicesTwoSided(Transform::CIsliceXY<float>{&input, 4, 3, -2, 0},
                                     Transform::IsliceXY<float>{&output, 4, 3, 1, 0});
  EXPECT_TRUE(allEqual(output, 0.25F));
  EXPECT_EQ(transform.sqrtTable.maxIndex, 25);
}

TEST(DriversTest, VolumesWithoutVoxelsGrowTheTableAlone) {
  for (reference::Extents const& extents : {reference::Extents{0, 3, 2}, {3, 0, 2}}) {
    TImageDataset<float, 3> input(extents);
    TImageDataset<float, 3> output(extents);
    Transform transform;
    transform.computeTwoSidedT(&input, &output);
    transform.computeTwoSidedT(&input, &output, 1);
    EXPECT_EQ(transform.sqrtTable.maxIndex, 9);
  }
  TImageDataset<float, 3> const nothing;
  TImageDataset<float, 3> output;
  Transform().computeTwoSidedT(&nothing, &output, 0);
  EXPECT_TRUE(output.empty());
}

TEST(DriversTest, FillsOfViewsWithoutExtentWriteNothing) {
  TImageDataset<short, 3> const input({3, 4, 2});
  Dataset dataset(true);
  reference::shape(dataset, {3, 4, 2}, lorb::elementFloat);
  DatasetCoordinates const zero(0, 0, 0, 0, 0);
  for (auto const& [width, height] : {std::pair(-1, 4), {0, 4}, {3, 0}, {3, -1}, {-1, -1}}) {
    auto output = reference::untouchedOutput({3, 4, 2});
    auto const untouched = output;
    Transform transform;
    transform.computeAllSlicesTwoSided(Transform::CIsliceXY<short>{&input, 3, 4, 2, 0},
                                       Transform::IsliceXY<float>{&output, width, height, 2, 0});
    EXPECT_TRUE(reference::sameBits(output, untouched)) << width << " x " << height;
    transform.computeAllSlicesTwoSided(Transform::sliceXY{&dataset, 3, 4, 2, 0, zero},
                                       Transform::sliceXY{&dataset, width, height, 2, 0, zero});
    for (int k = 0; k < 24; ++k) EXPECT_EQ(dataset.getElement<float>({k % 3, k / 3 % 4, k / 12, 0, 0}), 0.0F);
  }
}

TEST(DriversTest, TheInsideKernelWritesAlsoWhereTheOutputsViewHasNoExtent) {
  TImageDataset<short, 3> input({3, 3, 1});
  input(1, 1, 0) = 5;
  for (auto const& [width, height] : {std::pair(0, 3), {3, 0}}) {
    auto output = reference::untouchedOutput({3, 3, 1});
    Transform transform;
    transform.computeSingleSliceTwoSided(Transform::CIsliceXY<short>{&input, 3, 3, 1, 0},
                                         Transform::IsliceXY<float>{&output, width, height, 1, 0}, 0);
    for (std::size_t k = 0; k < 9; ++k) EXPECT_EQ(output.voxels()[k], k == 4 ? -1.0F : 1.0F) << k;
  }
  // Outputs that lack the voxels are left alone, as are slices before the first.
  auto before = reference::untouchedOutput({3, 3, 1});
  Transform().computeAllSlicesTwoSided(Transform::CIsliceXY<short>{&input, 3, 3, 1, 0},
                                       Transform::IsliceXY<float>{&before, 0, 3, 1, -1});
  EXPECT_TRUE(reference::sameBits(before, reference::untouchedOutput({3, 3, 1})));
  for (reference::Extents const& extents : {reference::Extents{0, 3, 1}, {3, 0, 1}, {0, 0, 0}}) {
    TImageDataset<float, 3> output(extents);
    Transform().computeTwoSidedT(&input, &output);
    EXPECT_TRUE(output.voxels().empty());
  }
}

TEST(DriversTest, DatasetsWithoutTheVoxelsAskedForThrow) {
  auto const throwsFor = [](reference::Extents const& in, reference::Extents const& out, int slice) {
    Dataset input(true), output(true);
    reference::shape(input, in, lorb::elementFloat);
    reference::shape(output, out, lorb::elementFloat);
    if (in[0] > 1 && in[1] > 1) input.setElement<float>({1, 1, 0, 0, 0}, 1.0F);
    EXPECT_THROW(Transform().computeTwoSided(static_cast<Dataset const*>(&input), &output, slice),
                 std::out_of_range)
        << testing::PrintToString(in) << " to " << testing::PrintToString(out) << ", slice " << slice;
  };
  throwsFor({0, 5, 2}, {0, 5, 2}, 0);
  throwsFor({5, 0, 2}, {5, 0, 2}, 0);
  throwsFor({3, 3, 2}, {0, 0, 0}, 0);
  throwsFor({3, 3, 2}, {2, 3, 2}, 0);
  throwsFor({3, 3, 2}, {3, 3, 2}, 99);
  throwsFor({3, 3, 2}, {3, 3, 2}, -1);
  throwsFor({3, 3, 2}, {0, 3, 2}, 99);
}

TEST(DriversTest, UnknownPlanesLeaveTheOutputAlone) {
  TImageDataset<float, 3> input({4, 3, 2});
  auto output = untouchedOutput({4, 3, 2});
  Transform transform;
  for (int const plane : {7, 3, -1}) {
    transform.setPlane(static_cast<Transform::PlaneOrientationE>(plane));
    transform.computeTwoSidedT(&input, &output);
    transform.computeTwoSidedT(&input, &output, 1);
    EXPECT_TRUE(allEqual(output, 0.25F));
  }
  EXPECT_EQ(transform.sqrtTable.maxIndex, -1) << "nothing was prepared";
}

TEST(DriversTest, NullVolumesAreIgnoredByTheWholeVolumeDriver) {
  TImageDataset<float, 3> volume({4, 3, 2});
  TImageDataset<float, 3>* const none = nullptr;
  Transform transform;
  transform.computeTwoSidedT<float>(none, &volume);
  transform.computeTwoSidedT<float>(&volume, none);
  EXPECT_TRUE(allEqual(volume, 0.0F));
}

TEST(DriversTest, OneSliceLeavesTheOthersAlone) {
  TImageDataset<float, 3> input({3, 3, 3});
  for (std::uint64_t z = 0; z < 3; ++z) input(1, 1, z) = 1;
  auto output = untouchedOutput({3, 3, 3});
  Transform().computeTwoSidedT(&input, &output, 1);
  EXPECT_EQ(output(1, 1, 0), 0.25F);
  EXPECT_EQ(output(1, 1, 1), -1.0F);
  EXPECT_EQ(output(1, 1, 2), 0.25F);
}

TEST(DriversTest, TheTableKeepsItsLargestSize) {
  TImageDataset<unsigned char, 3> large({512, 512, 1});
  TImageDataset<float, 3> largeMap({512, 512, 1});
  TImageDataset<unsigned char, 3> small({64, 64, 1});
  TImageDataset<float, 3> smallMap({64, 64, 1});
  Transform transform;
  transform.computeTwoSidedT(&large, &largeMap);
  float const* const values = transform.sqrtTable.values;
  EXPECT_EQ(transform.sqrtTable.maxIndex, 524288);
  transform.computeTwoSidedT(&small, &smallMap);
  EXPECT_EQ(transform.sqrtTable.maxIndex, 524288);
  EXPECT_EQ(transform.sqrtTable.values, values);
}

TEST(DriversTest, AllSlicesStartAtTheViewsSliceAndKeepTheCallersViews) {
  TImageDataset<float, 3> input({3, 3, 5});
  for (std::uint64_t z = 0; z < 5; ++z) input(1, 1, z) = 1;
  auto output = untouchedOutput({3, 3, 5});
  Transform::CIsliceXY<float> const in{&input, 3, 3, 4, 2};
  Transform::IsliceXY<float> const out{&output, 3, 3, 1, 1};  // its slice count is not looked at
  Transform().computeAllSlicesTwoSided(in, out);
  EXPECT_EQ(in.slice, 2);
  EXPECT_EQ(out.slice, 1);
  float const expected[] = {0.25F, -1.0F, -1.0F, 0.25F, 0.25F};
  for (std::uint64_t z = 0; z < 5; ++z) EXPECT_EQ(output(1, 1, z), expected[z]) << z;
}

TEST(DriversTest, ALaterSliceSeesWhatAnEarlierOneWroteIntoTheSameVolume) {
  for (auto const plane : {Transform::planeXY, Transform::planeXZ, Transform::planeYZ}) {
    std::mt19937 random(5);
    reference::Extents const extents = {9, 9, 9};
    auto const start = reference::volumeFromMask<float>(
        extents, reference::randomMask(729, reference::Filling::half, random), random);
    // Slice k goes to slice k + 1, which is the next one's input.
    auto expected = start;
    for (int k = 0; k < 8; ++k) {
      auto shifted = expected;
      reference::literalTransform(expected, shifted, plane, k);
      for (int j = 0; j < 9; ++j) {
        for (int i = 0; i < 9; ++i) {
          std::uint64_t x = 0, y = 0, z = 0;
          reference::place(plane, i, j, k, x, y, z);
          float const value = shifted(x, y, z);
          reference::place(plane, i, j, k + 1, x, y, z);
          expected(x, y, z) = value;
        }
      }
    }
    auto volume = start;
    Transform transform;
    if (plane == Transform::planeXY) {
      transform.computeAllSlicesTwoSided(Transform::CIsliceXY<float>{&volume, 9, 9, 8, 0},
                                         Transform::IsliceXY<float>{&volume, 9, 9, 9, 1});
    } else if (plane == Transform::planeXZ) {
      transform.computeAllSlicesTwoSided(Transform::CIsliceXZ<float>{&volume, 9, 9, 8, 0},
                                         Transform::IsliceXZ<float>{&volume, 9, 9, 9, 1});
    } else {
      transform.computeAllSlicesTwoSided(Transform::CIsliceYZ<float>{&volume, 9, 9, 8, 0},
                                         Transform::IsliceYZ<float>{&volume, 9, 9, 9, 1});
    }
    EXPECT_TRUE(sameBits(volume, expected)) << "plane " << plane;
  }
}

TEST(DriversTest, ALargerOutputIsFilledWhole) {
  TImageDataset<float, 3> input({3, 3, 1});
  auto output = untouchedOutput({4, 5, 1});
  Transform().computeTwoSidedT(&input, &output);
  EXPECT_TRUE(allEqual(output, 18.0F)) << "the bound follows the input, the fill the output";
}

TEST(DriversTest, AHigherOutputIsFilledWhole) {
  TImageDataset<float, 3> input({4, 3, 1});
  auto output = untouchedOutput({4, 5, 1});
  Transform().computeTwoSidedT(&input, &output);
  EXPECT_TRUE(allEqual(output, 25.0F));
}

TEST(DriversTest, ViewsWiderOrHigherThanTheVolumeAddressWhatTheArithmeticGives) {
  // Rows of such a view overlap or reach into the next slice: what is written last stays.
  std::mt19937 random(12);
  auto const mask = reference::randomMask(6 * 8 * 3, reference::Filling::half, random);
  auto const input = reference::volumeFromMask<int>({6, 8, 3}, mask, random);
  auto const roots = reference::squareRoots(11 * 11 + 13 * 13);
  for (auto const& [width, height] : {std::pair{11, 8}, {6, 13}}) {
    auto output = untouchedOutput({6, 8, 3});
    auto expected = output;
    auto const at = [](int i, int j) { return static_cast<std::size_t>(j * 6 + i); };
    reference::LiteralSlice slice(
        width, height, [&](int i, int j) { return input.voxels()[at(i, j)] > 0; },
        [&](int i, int j) { return expected.voxels()[at(i, j)]; },
        [&](int i, int j, float value) { expected.voxels()[at(i, j)] = value; }, roots.data());
    slice.compute();
    Transform().computeSingleSliceTwoSided(Transform::CIsliceXY<int>{&input, width, height, 1, 0},
                                           Transform::IsliceXY<float>{&output, width, height, 1, 0}, 0);
    EXPECT_TRUE(sameBits(output, expected)) << width << " x " << height;
  }
}

TEST(DriversTest, ALargerOutputRunsBeyondTheScratchWhichFollowsTheInput) {
  TImageDataset<float, 3> input({3, 3, 1});
  input(1, 1, 0) = 1;
  auto output = untouchedOutput({4, 5, 1});
  EXPECT_THROW(Transform().computeTwoSidedT(&input, &output), std::out_of_range);
  EXPECT_EQ(output(1, 1, 0), -1.0F) << "the inside distances are written by then";
}

TEST(DriversTest, AnOutputWiderThanAnEmptyViewIsFilled) {
  TImageDataset<short, 3> input({4, 3, 1});
  auto output = untouchedOutput({4, 3, 1});
  Transform().computeAllSlicesTwoSided(Transform::CIsliceXY<short>{&input, 0, 3, 1, 0},
                                       Transform::IsliceXY<float>{&output, 4, 3, 1, 0});
  EXPECT_TRUE(allEqual(output, 9.0F));
}

TEST(DriversTest, TheKernelsMapSlicesOneVoxelWide) {
  // A page of another shape is theirs; its voxels follow each other in either.
  TImageDataset<short, 3> input({1, 4, 1});
  input(0, 2, 0) = 1;
  auto output = untouchedOutput({1, 4, 1});
  output.pages[0].extents = {1, 2, 2};
  Transform().computeTwoSided(&input, &output);
  std::vector<float> const expected = {2.0F, 1.0F, -1.0F, 1.0F};
  EXPECT_EQ(output.pages[0].data, expected);
}

TEST(DriversTest, PagesOfAnotherShapeAreWrittenInTheOrderOfTheKernels) {
  // Rows of a page that is too narrow overlap: what is written last stays.
  std::mt19937 random(8);
  auto const mask = reference::randomMask(9 * 8 * 7, reference::Filling::half, random);
  auto const input = reference::volumeFromMask<short>({9, 8, 7}, mask, random);
  for (auto const plane : {Transform::planeXY, Transform::planeXZ, Transform::planeYZ}) {
    auto output = untouchedOutput({9, 8, 7});
    output.pages[0].extents = {5, 4, 7};
    auto expected = output;
    auto const [width, height, slices] = reference::planeExtents(plane, 9, 8, 7);
    auto const roots = reference::squareRoots(width * width + height * height);
    for (int k = 0; k < slices; ++k) {
      auto const at = [&, plane](int i, int j, std::uint64_t nx, std::uint64_t ny) {
        std::uint64_t x = 0, y = 0, z = 0;
        reference::place(plane, i, j, k, x, y, z);
        return (z * ny + y) * nx + x;
      };
      reference::LiteralSlice slice(
          width, height, [&](int i, int j) { return input.voxels()[at(i, j, 9, 8)] > 0; },
          [&](int i, int j) { return expected.voxels()[at(i, j, 5, 4)]; },
          [&](int i, int j, float value) { expected.voxels()[at(i, j, 5, 4)] = value; }, roots.data());
      slice.compute();
    }
    Transform transform;
    transform.setPlane(plane);
    transform.computeTwoSided(&input, &output);
    EXPECT_TRUE(sameBits(output, expected)) << "plane " << plane;
  }
}

TEST(DriversTest, GenericDatasetsThrowOutsideAndKeepFinishedSlices) {
  Dataset input(true);
  Dataset output(true);
  reference::shape(input, {3, 3, 4}, lorb::elementUInt8);
  reference::shape(output, {3, 3, 2}, lorb::elementFloat);
  for (int z = 0; z < 4; ++z) input.setElement<int>({1, 1, z, 0, 0}, 1);
  Transform transform;
  EXPECT_THROW(transform.computeTwoSided(&input, &output), std::out_of_range);
  for (int z = 0; z < 2; ++z) EXPECT_EQ(output.getElement<float>({1, 1, z, 0, 0}), -1.0F);
  EXPECT_THROW(transform.computeTwoSided(static_cast<Dataset const*>(&input), &output, 4), std::out_of_range);
  EXPECT_THROW(transform.computeTwoSided(static_cast<Dataset const*>(&input), &output, -1),
               std::out_of_range);
}

TEST(DriversTest, AWrappedBoundIsUsedAsItIs) {
  // 65 536² wraps to 0 in 32 bits: N = 0 + 1.
  TImageDataset<bool, 3> input({65536, 1, 1});
  TImageDataset<float, 3> output({65536, 1, 1});
  Transform transform;
  transform.computeTwoSidedT(&input, &output);
  EXPECT_TRUE(allEqual(output, 1.0F));
  // 50 000² + 1 is above 2³¹ − 1: the bound is negative, the fill of outside voxels too, no table.
  TImageDataset<bool, 3> wide({50000, 1, 1});
  TImageDataset<float, 3> wideMap({50000, 1, 1});
  transform.computeTwoSidedT(&wide, &wideMap);
  EXPECT_TRUE(allEqual(wideMap, static_cast<float>(static_cast<int>(2500000001U))));
  EXPECT_EQ(transform.sqrtTable.maxIndex, 1);
}

TEST(DriversTest, ANegativeBoundCountsAsNoneWhereNoBoundaryIsSeen) {
  // 50 000² + 9 wraps to below 0. Columns without a boundary count from 0: 0, 1, 4.
  reference::Extents const extents = {50000, 3, 1};
  TImageDataset<bool, 3> input(extents);
  for (std::uint64_t x = 0; x < 50000; ++x) {
    for (std::uint64_t y = 0; y < 3; ++y) input(x, y, 0) = x < 7 || (x > 100 && y == 1);
  }
  auto output = untouchedOutput(extents);
  auto expected = untouchedOutput(extents);
  Transform transform;
  transform.sqrtTable.init(1000);
  reference::literalTransform(input, expected, Transform::planeXY, -1, transform.sqrtTable.values);
  transform.computeTwoSidedT(&input, &output);
  EXPECT_TRUE(sameBits(output, expected));
}

template <class T>
class DriversPerTypeTest : public testing::Test {};
TYPED_TEST_SUITE(DriversPerTypeTest, lorb::test::ElementTypes, lorb::test::ElementTypeNames);

TYPED_TEST(DriversPerTypeTest, OnlyValuesAboveZeroAreInside) {
  using limits = std::numeric_limits<TypeParam>;
  auto const fillOf = [](TypeParam value) {
    TImageDataset<TypeParam, 3> input({1, 1, 1});
    input.pages[0].data[0] = value;
    TImageDataset<float, 3> output({1, 1, 1});
    Transform().computeTwoSidedT(&input, &output);
    return output.voxels()[0];
  };
  EXPECT_EQ(fillOf(limits::max()), -2.0F);
  EXPECT_EQ(fillOf(limits::is_integer ? TypeParam(1) : limits::denorm_min()), -2.0F);
  EXPECT_EQ(fillOf(TypeParam(0)), 2.0F);
  float const ofLowest = std::is_signed_v<TypeParam> ? 2.0F : fillOf(TypeParam(0));
  EXPECT_EQ(fillOf(limits::lowest()), ofLowest);
}

}  // namespace
