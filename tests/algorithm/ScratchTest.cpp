// A host that stands between the libraries: it puts its own definitions of dataset operations in front
// of the library's and watches, or spoils, the scratch of every driver call.

#include "reference/literalTransform.h"
#include "tests/onEveryTarget.h"
#include "tests/sameBits.h"

#include <lorb/algorithm/EuclideanDistanceTransform2D.h>

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <array>
#include <new>
#include <vector>

namespace {

struct Observed {
  lorb::DatasetCoordinates extents;
  lorb::LORBElementType type;
  std::vector<float> valuesAtRelease;
};

bool watching = false;
bool refusing = false;
std::vector<Observed> shaped;
int released = 0;

}  // namespace

namespace lorb {

void Dataset::newDataset(DatasetCoordinates const& extents, LORBElementType type,
                         DatasetWorldEmbedding const& embedding) {
  if (watching) shaped.push_back({extents, type, {}});
  if (watching && refusing) throw std::bad_alloc();
  using Original =
      void (*)(Dataset*, DatasetCoordinates const&, LORBElementType, DatasetWorldEmbedding const&);
  static auto const original = reinterpret_cast<Original>(
      dlsym(RTLD_NEXT,
            "_ZN4lorb7Dataset10newDatasetERKNS_18DatasetCoordinatesENS_15LORBElementTypeERKNS_"
            "21DatasetWorldEmbeddingE"));
  original(this, extents, type, embedding);
}

}  // namespace lorb

// The destructor is put in front by its symbol: defined as a member it would destroy the members twice.
extern "C" LORB_EXPORT void _ZN4lorb7DatasetD1Ev(lorb::Dataset* dataset) {
  if (watching) {
    ++released;
    lorb::DatasetCoordinates const size = dataset->getSize();
    for (int j = 0; j < size[1]; ++j) {
      for (int i = 0; i < size[0]; ++i) {
        shaped.back().valuesAtRelease.push_back(dataset->getElement<float>({i, j, 0, 0, 0}));
      }
    }
  }
  static auto const original =
      reinterpret_cast<void (*)(lorb::Dataset*)>(dlsym(RTLD_NEXT, "_ZN4lorb7DatasetD1Ev"));
  original(dataset);
}

namespace {

using lorb::TImageDataset;
using Transform = lorb::EuclideanDistanceTransform2D;

class ScratchTest : public testing::Test {
 protected:
  void SetUp() override {
    shaped.clear();
    released = 0;
    watching = true;
  }
  void TearDown() override {
    watching = false;
    refusing = false;
  }
};

/// The column distances that the literal procedure leaves for one slice.
std::vector<float> literalScratch(TImageDataset<unsigned char, 3> const& input, int plane, int k) {
  auto const* n = input.size_array();
  auto const [width, height, slices] =
      reference::planeExtents(plane, static_cast<int>(n[0]), static_cast<int>(n[1]), static_cast<int>(n[2]));
  auto const roots = reference::squareRoots(width * width + height * height);
  std::vector<float> map(static_cast<std::size_t>(width * height));
  auto const at = [w = width](int i, int j) { return static_cast<std::size_t>(j * w + i); };
  reference::LiteralSlice slice(
      width, height,
      [&](int i, int j) {
        std::uint64_t x = 0, y = 0, z = 0;
        reference::place(plane, i, j, k, x, y, z);
        return input(x, y, z) > 0;
      },
      [&](int i, int j) { return map[at(i, j)]; }, [&](int i, int j, float value) { map[at(i, j)] = value; },
      roots.data());
  slice.compute();
  return slice.scratch();
}

TEST_F(ScratchTest, OneScratchOfTheStatedShapePerDriverCall) {
  TImageDataset<short, 3> const input({7, 5, 3});
  TImageDataset<float, 3> output({7, 5, 3});
  Transform transform;
  int const expected[3][2] = {{5, 3}, {7, 3}, {7, 5}};
  for (int plane = 0; plane < 3; ++plane) {
    transform.setPlane(static_cast<Transform::PlaneOrientationE>(plane));
    transform.computeTwoSided(&input, &output);
    transform.computeTwoSided(&input, &output, 1);
    ASSERT_EQ(shaped.size(), 2U);
    EXPECT_EQ(released, 2);
    for (Observed const& scratch : shaped) {
      EXPECT_EQ(scratch.extents, lorb::DatasetCoordinates(expected[plane][0], expected[plane][1], 1, 1, 1));
      EXPECT_EQ(scratch.type, 9);
    }
    shaped.clear();
    released = 0;
  }
}

TEST_F(ScratchTest, ItHoldsTheColumnDistancesOfTheLastSlice) {
  std::mt19937 random(17);
  for (auto const filling : reference::allFillings) {
    auto const mask = reference::randomMask(70 * 21 * 33, filling, random);
    watching = false;
    auto const input = reference::volumeFromMask<unsigned char>({70, 21, 33}, mask, random);
    TImageDataset<float, 3> output(input.extents);
    for (int plane = 0; plane < 3; ++plane) {
      int const slices = reference::planeExtents(plane, 70, 21, 33).slices;
      Transform transform;
      transform.setPlane(static_cast<Transform::PlaneOrientationE>(plane));
      auto const ofLast = literalScratch(input, plane, slices - 1),
                 ofSlice3 = literalScratch(input, plane, 3);
      reference::onEveryTarget([&] {
        shaped.clear();
        watching = true;
        transform.computeTwoSided(&input, &output);
        transform.computeTwoSided(&input, &output, 3);
        watching = false;
        ASSERT_EQ(shaped.size(), 2U);
        EXPECT_EQ(shaped[0].valuesAtRelease, ofLast) << "plane " << plane;
        EXPECT_EQ(shaped[1].valuesAtRelease, ofSlice3) << "plane " << plane;
      });
    }
  }
}

TEST_F(ScratchTest, ItHoldsThemForEverySmallMask) {
  for (unsigned mask = 0; mask < 512; ++mask) {
    for (int plane = 0; plane < 3; ++plane) {
      std::array<std::uint64_t, 3> extents = {3, 3, 3};
      extents[static_cast<std::size_t>(plane)] = 1;
      TImageDataset<unsigned char, 3> input(extents);
      for (unsigned k = 0; k < 9; ++k) input.voxels()[k] = mask >> k & 1;
      TImageDataset<float, 3> output(extents);
      Transform transform;
      transform.setPlane(static_cast<Transform::PlaneOrientationE>(plane));
      auto const expected = literalScratch(input, plane, 0);
      reference::onEveryTarget([&] {
        shaped.clear();
        transform.computeTwoSided(&input, &output);
        ASSERT_EQ(shaped.size(), 1U);
        ASSERT_EQ(shaped[0].valuesAtRelease, expected) << mask << ", plane " << plane;
      });
    }
  }
}

TEST_F(ScratchTest, ItIsReleasedAndTheTableUntouchedWhenItsVoxelsCannotBeHad) {
  TImageDataset<float, 3> const input({7, 5, 3});
  auto output = reference::untouchedOutput({7, 5, 3});
  Transform transform;
  refusing = true;
  EXPECT_THROW(transform.computeTwoSided(&input, &output), std::bad_alloc);
  EXPECT_THROW(transform.computeTwoSided(&input, &output, 0), std::bad_alloc);
  EXPECT_EQ(released, 2);
  EXPECT_EQ(transform.sqrtTable.maxIndex, -1);
  EXPECT_TRUE(reference::sameBits(output, reference::untouchedOutput({7, 5, 3})));
  refusing = false;
  EXPECT_NO_THROW(transform.computeTwoSided(&input, &output));
}

TEST_F(ScratchTest, ItIsReleasedWhenAGenericSliceLiesOutside) {
  watching = false;
  lorb::Dataset input(true);
  lorb::Dataset output(true);
  reference::shape(input, {3, 3, 2}, lorb::elementInt8);
  reference::shape(output, {3, 3, 2}, lorb::elementFloat);
  watching = true;
  EXPECT_THROW(Transform().computeTwoSided(static_cast<lorb::Dataset const*>(&input), &output, 2),
               std::out_of_range);
  EXPECT_EQ(shaped.size(), 1U);
  EXPECT_EQ(released, 1);
  watching = false;
}

}  // namespace
