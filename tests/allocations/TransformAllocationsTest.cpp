// Memory runs out in the transform: the exception arrives, finished slices are kept, nothing is left behind,
// and the transform computes again.

#include <lorb/algorithm/EuclideanDistanceTransform2D.h>

#include <reference/literalTransform.h>
#include <tests/ElementTypes.h>
#include <tests/allocations/failingAllocations.h>
#include <tests/sameBits.h>

#include <algorithm>
#include <vector>

namespace {

using lorb::Dataset;
using lorb::DatasetCoordinates;
using lorb::TImageDataset;
using lorb::test::onEveryAllocation;
using lorb::test::Trial;
using reference::sameBits;
using Transform = lorb::EuclideanDistanceTransform2D;

// More slices than any slab takes, on every plane.
reference::Extents const extents = {19, 18, 37};

template <class T>
TImageDataset<T, 3> volume() {
  std::mt19937 random(5);
  auto const [nx, ny, nz] = extents;
  return reference::volumeFromMask<T>(
      extents, reference::randomMask(nx * ny * nz, reference::Filling::half, random), random);
}

template <class T>
TImageDataset<float, 3> mapOf(TImageDataset<T, 3> const& input, int plane, int only = -1) {
  auto map = reference::untouchedOutput(extents);
  reference::literalTransform(input, map, plane, only);
  return map;
}

/// Whether the slices of `map` up to some slice are those of `whole` and all others untouched.
bool isFinishedUpToSomeSlice(TImageDataset<float, 3> const& map, TImageDataset<float, 3> const& whole,
                             Transform::PlaneOrientationE plane) {
  int firstUntouched = INT_MAX, lastFinished = -1;
  bool mixed = false;
  reference::forEachVoxel(extents, [&](auto const& position, std::size_t element) {
    int const slice = position[Transform::axesOf(plane).slice];
    float const value = map.voxels()[element];
    if (value == 0.25F) {
      firstUntouched = std::min(firstUntouched, slice);
    } else {
      lastFinished = std::max(lastFinished, slice);
      mixed |= value != whole.voxels()[element];
    }
  });
  return !mixed && lastFinished < firstUntouched;
}

/// The table is empty, or holds all the roots for slices of `plane`.
bool isWhole(Transform::SqrtLookUpTable const& table, Transform::PlaneOrientationE plane) {
  if (table.maxIndex == -1) return table.values == nullptr;
  auto const axes = Transform::axesOf(plane);
  auto const w = static_cast<int>(extents[static_cast<std::size_t>(axes.i)]);
  auto const h = static_cast<int>(extents[static_cast<std::size_t>(axes.j)]);
  for (int k = 0; k <= table.maxIndex; ++k) {
    if (table.values[k] != std::sqrt(static_cast<float>(k))) return false;
  }
  return table.maxIndex == w * w + h * h;
}

template <class T>
class TransformAllocationsTest : public testing::Test {};
TYPED_TEST_SUITE(TransformAllocationsTest, lorb::test::ElementTypes, lorb::test::ElementTypeNames);

TYPED_TEST(TransformAllocationsTest, TypedVolumesKeepFinishedSlicesAndCanBeComputedAgain) {
  auto const input = volume<TypeParam>();
  for (auto const plane : {Transform::planeYZ, Transform::planeXZ, Transform::planeXY}) {
    auto const whole = mapOf(input, plane);
    onEveryAllocation([&](Trial& trial) {
      Transform transform;
      transform.setPlane(plane);
      auto map = reference::untouchedOutput(extents);
      if (!trial.fails([&] { transform.computeTwoSided(&input, &map); })) return;
      EXPECT_TRUE(isFinishedUpToSomeSlice(map, whole, plane));
      EXPECT_TRUE(isWhole(transform.sqrtTable, plane));
      transform.computeTwoSided(&input, &map);
      EXPECT_TRUE(sameBits(map, whole));
    });
  }
}

TYPED_TEST(TransformAllocationsTest, OneSliceIsUntouchedAndCanBeComputedAgain) {
  auto const input = volume<TypeParam>();
  for (auto const plane : {Transform::planeYZ, Transform::planeXZ, Transform::planeXY}) {
    auto const expected = mapOf(input, plane, 11);
    onEveryAllocation([&](Trial& trial) {
      Transform transform;
      transform.setPlane(plane);
      auto map = reference::untouchedOutput(extents);
      if (!trial.fails([&] { transform.computeTwoSided(&input, &map, 11); })) return;
      EXPECT_TRUE(sameBits(map, reference::untouchedOutput(extents)));
      EXPECT_TRUE(isWhole(transform.sqrtTable, plane));
      transform.computeTwoSided(&input, &map, 11);
      EXPECT_TRUE(sameBits(map, expected));
    });
  }
}

// --- generic datasets --------------------------------------------------------------------------------

template <class T>
void copyTo(Dataset& dataset, TImageDataset<T, 3> const& source, lorb::LORBElementType type) {
  reference::shape(dataset, extents, type);
  reference::forEachVoxel(extents, [&](auto const& position, std::size_t element) {
    dataset.setElement<float>(position, static_cast<float>(source.pages[0].data[element]));
  });
}

TImageDataset<float, 3> floatsOf(Dataset& dataset) {
  TImageDataset<float, 3> result(extents);
  reference::forEachVoxel(extents, [&](auto const& position, std::size_t element) {
    result.voxels()[element] = dataset.getElement<float>(position);
  });
  return result;
}

std::vector<float> rowsOf(Dataset& slice, int width, int height) {
  std::vector<float> values;
  for (int j = 0; j < height; ++j) {
    for (int i = 0; i < width; ++i) values.push_back(slice.getElement<float>({i, j, 0, 0, 0}));
  }
  return values;
}

TEST(GenericAllocationsTest, KeepFinishedSlicesAndCanBeComputedAgain) {
  auto const flags = volume<unsigned char>();
  Dataset input(true);
  copyTo(input, flags, lorb::elementInt16);
  for (auto const plane : {Transform::planeYZ, Transform::planeXZ, Transform::planeXY}) {
    auto const whole = mapOf(flags, plane);
    onEveryAllocation([&](Trial& trial) {
      Transform transform;
      transform.setPlane(plane);
      Dataset output(false);
      copyTo(output, reference::untouchedOutput(extents), lorb::elementDouble);
      if (!trial.fails([&] { transform.computeTwoSided(&input, &output); })) return;
      EXPECT_TRUE(isFinishedUpToSomeSlice(floatsOf(output), whole, plane));
      EXPECT_TRUE(isWhole(transform.sqrtTable, plane));
      transform.computeTwoSided(&input, &output);
      EXPECT_TRUE(sameBits(floatsOf(output), whole));
    });
  }
}

TEST(GenericAllocationsTest, TheKernelsReleaseWhatTheyHaveTaken) {
  // An output of whole numbers is written by the two kernels, one after the other.
  Dataset input(true);
  copyTo(input, volume<unsigned char>(), lorb::elementUInt8);
  Dataset expected(true);
  reference::shape(expected, extents, lorb::elementInt32);
  reference::literalTransform(input, expected, Transform::planeXY, 3);
  auto const whole = floatsOf(expected);
  onEveryAllocation([&](Trial& trial) {
    Transform transform;
    Dataset output(true);
    reference::shape(output, extents, lorb::elementInt32);
    auto const compute = [&] { transform.computeTwoSided(static_cast<Dataset const*>(&input), &output, 3); };
    if (!trial.fails(compute)) return;
    compute();
    EXPECT_TRUE(sameBits(floatsOf(output), whole));
  });
}

TEST(KernelAllocationsTest, TheFirstKernelLeavesTheOutputAloneAndTheSecondTheInsideDistances) {
  auto const input = volume<float>();
  auto const [nx, ny, nz] = extents;
  auto const width = static_cast<int>(nx), height = static_cast<int>(ny), slices = static_cast<int>(nz);
  onEveryAllocation([&](Trial& trial) {
    Transform transform;
    transform.sqrtTable.init(width * width + height * height);
    auto map = reference::untouchedOutput(extents);
    Dataset work(true);
    work.newDataset(DatasetCoordinates(width, height, 1, 1, 1), lorb::elementUInt32, {});
    Transform::sliceXY const scratch{&work, width, height, 1, 0, DatasetCoordinates(0, 0, 0, 0, 0)};
    Transform::CIsliceXY<float> const in{&input, width, height, slices, 0};
    Transform::IsliceXY<float> const out{&map, width, height, slices, 0};
    bool first = false;
    if (trial.fails([&] { first = transform.twoSidedIn(in, scratch, out); })) {
      EXPECT_TRUE(sameBits(map, reference::untouchedOutput(extents)));
      auto const columns = rowsOf(work, width, height);
      first = transform.twoSidedIn(in, scratch, out);
      EXPECT_EQ(rowsOf(work, width, height), columns);
    }
    EXPECT_TRUE(first);
    transform.twoSidedOut(out, scratch);
    EXPECT_TRUE(sameBits(map, mapOf(input, Transform::planeXY, 0)));
  });
  onEveryAllocation([&](Trial& trial) {
    Transform transform;
    transform.sqrtTable.init(width * width + height * height);
    auto map = reference::untouchedOutput(extents);
    Dataset work(true);
    work.newDataset(DatasetCoordinates(width, height, 1, 1, 1), lorb::elementUInt32, {});
    Transform::sliceXY const scratch{&work, width, height, 1, 0, DatasetCoordinates(0, 0, 0, 0, 0)};
    Transform::IsliceXY<float> const out{&map, width, height, slices, 0};
    transform.twoSidedIn(Transform::CIsliceXY<float>{&input, width, height, slices, 0}, scratch, out);
    auto const insideDone = map;
    if (trial.fails([&] { transform.twoSidedOut(out, scratch); })) {
      EXPECT_TRUE(sameBits(map, insideDone));
      transform.twoSidedOut(out, scratch);
    }
    EXPECT_TRUE(sameBits(map, mapOf(input, Transform::planeXY, 0)));
  });
}

TEST(KernelAllocationsTest, WithoutABoundaryNothingIsAllocated) {
  auto const [nx, ny, nz] = extents;
  TImageDataset<short, 3> input(extents);
  std::ranges::fill(input.voxels(), short{1});
  auto map = reference::untouchedOutput(extents);
  auto const check = [&](auto const& in, auto const& out) {
    Dataset work(true);
    work.newDataset(DatasetCoordinates(64, 64, 1, 1, 1), lorb::elementUInt32, {});
    Transform::sliceXY const scratch{&work, 64, 64, 1, 0, DatasetCoordinates(0, 0, 0, 0, 0)};
    onEveryAllocation([&](Trial& trial) {
      Transform transform;
      EXPECT_FALSE(trial.fails([&] { EXPECT_FALSE(transform.twoSidedIn(in, scratch, out)); }));
    });
  };
  auto const x = static_cast<int>(nx), y = static_cast<int>(ny), z = static_cast<int>(nz);
  check(Transform::CIsliceXY<short>{&input, x, y, z, 0}, Transform::IsliceXY<float>{&map, x, y, z, 0});
  check(Transform::CIsliceXY<short>{&input, 0, y, z, 0}, Transform::IsliceXY<float>{&map, 0, y, z, 0});
  check(Transform::CIsliceXZ<short>{&input, x, z, y, 0}, Transform::IsliceXZ<float>{&map, x, z, y, 0});
  check(Transform::CIsliceYZ<short>{&input, y, z, x, 0}, Transform::IsliceYZ<float>{&map, y, z, x, 0});
  Dataset generic(true);
  copyTo(generic, input, lorb::elementInt16);
  Transform::sliceYZ const view{&generic, y, z, x, 0, DatasetCoordinates(0, 0, 0, 0, 0)};
  check(view, view);
}

TEST(TableAllocationsTest, TheTableIsAsItWas) {
  onEveryAllocation([&](Trial& trial) {
    Transform::SqrtLookUpTable table;
    table.init(10);
    float const* const before = table.values;
    if (!trial.fails([&] { table.init(1000); })) return;
    EXPECT_EQ(table.values, before);
    EXPECT_EQ(table.maxIndex, 10);
    table.init(1000);
    EXPECT_EQ(table.values[1000], std::sqrt(1000.0F));
  });
}

TEST(TransformObjectAllocationsTest, CreatingPlacingAndRefusingAllocateNothing) {
  onEveryAllocation([&](Trial& trial) {
    EXPECT_FALSE(trial.fails([&] {
      Transform transform;
      transform.setPlane(Transform::planeYZ);
      transform.computeTwoSided(static_cast<lorb::ImageDataset const*>(nullptr), nullptr);
    }));
  });
}

}  // namespace
