// The four computeTwoSided overloads: what they check, print and pass on.

#include "tests/sameBits.h"

#include <lorb/algorithm/EuclideanDistanceTransform2D.h>

#include <gtest/gtest.h>

namespace {

using lorb::Dataset;
using lorb::ImageDataset;
using lorb::TImageDataset;
using reference::untouchedOutput;
using Transform = lorb::EuclideanDistanceTransform2D;

constexpr char message[] =
    " EuclideanDistanceTransform2D::computeTwoSided(): Element datatype of dataset needs to be a floating "
    "point "
    "type.\n";

/// Runs `f` and returns what it printed on standard error.
template <class F>
std::string printedBy(F f) {
  testing::internal::CaptureStderr();
  f();
  return testing::internal::GetCapturedStderr();
}

/// An image that claims an element type and has no voxels to show for it.
class ClaimedType final : public ImageDataset {
 public:
  explicit ClaimedType(std::uint32_t code) : code_(static_cast<lorb::TypeID>(code)) {}
  lorb::TypeID type_id() const override { return code_; }
  bool empty() const override { return true; }
  std::uint64_t const* size_array() const override { return nullptr; }

 private:
  lorb::TypeID code_;
};

struct GenericPair {
  explicit GenericPair(lorb::LORBElementType outputType) : input(true), output(true) {
    reference::shape(input, {4, 3, 2}, lorb::elementInt8);
    reference::shape(output, {4, 3, 2}, outputType);
    reference::forEachVoxel({4, 3, 2},
                            [&](auto const& p, std::size_t) { output.setElement<float>(p, 99.0F); });
  }
  float first() { return output.getElement<float>({0, 0, 0, 0, 0}); }

  Dataset input;
  Dataset output;
};

TEST(EntryPointsTest, GenericWholeVolumeIgnoresNullQuietly) {
  GenericPair pair(lorb::elementFloat);
  Dataset* const none = nullptr;
  EXPECT_EQ(printedBy([&] {
              Transform transform;
              transform.computeTwoSided(none, &pair.output);
              transform.computeTwoSided(&pair.input, none);
              transform.computeTwoSided(none, none);
            }),
            "");
  EXPECT_EQ(pair.first(), 99.0F);
}

TEST(EntryPointsTest, GenericWholeVolumeRefusesOutputsThatAreNotFloatingPoint) {
  for (auto const type : {lorb::elementBool, lorb::elementInt8, lorb::elementUInt32, lorb::elementUInt64}) {
    GenericPair pair(type);
    float const before = pair.first();
    EXPECT_EQ(printedBy([&] { Transform().computeTwoSided(&pair.input, &pair.output); }), message);
    EXPECT_EQ(pair.first(), before);
  }
  Dataset unshaped(true);
  GenericPair pair(lorb::elementFloat);
  EXPECT_EQ(printedBy([&] { Transform().computeTwoSided(&pair.input, &unshaped); }), message);
}

TEST(EntryPointsTest, GenericWholeVolumeWritesOutputsOfBothFloatingPointTypes) {
  for (auto const type : {lorb::elementFloat, lorb::elementDouble}) {
    GenericPair pair(type);
    EXPECT_EQ(printedBy([&] { Transform().computeTwoSided(&pair.input, &pair.output); }), "");
    EXPECT_EQ(pair.first(), 25.0F);
  }
}

TEST(EntryPointsTest, TheTypeIsCheckedBeforeThePlane) {
  for (int const plane : {3, -1}) {
    Transform transform;
    transform.setPlane(static_cast<Transform::PlaneOrientationE>(plane));
    GenericPair integer(lorb::elementInt16);
    EXPECT_EQ(printedBy([&] { transform.computeTwoSided(&integer.input, &integer.output); }), message);
    GenericPair pair(lorb::elementFloat);
    EXPECT_EQ(printedBy([&] {
                transform.computeTwoSided(&pair.input, &pair.output);
                transform.computeTwoSided(static_cast<Dataset const*>(&pair.input), &pair.output, 0);
              }),
              "");
    EXPECT_EQ(pair.first(), 99.0F);
  }
}

TEST(EntryPointsTest, GenericSliceExtentsFollowThePlane) {
  float const expected[] = {9.0F + 4.0F, 16.0F + 4.0F, 16.0F + 9.0F};  // YZ, XZ, XY of 4 x 3 x 2
  for (int const plane : {0, 1, 2}) {
    GenericPair pair(lorb::elementFloat);
    Transform transform;
    transform.setPlane(static_cast<Transform::PlaneOrientationE>(plane));
    transform.computeTwoSided(&pair.input, &pair.output);
    reference::forEachVoxel({4, 3, 2}, [&](auto const& position, std::size_t) {
      EXPECT_EQ(pair.output.getElement<float>(position), expected[plane]);
    });
  }
}

TEST(EntryPointsTest, GenericOneSliceComputesThatSliceAlone) {
  for (int const plane : {0, 1, 2}) {
    GenericPair pair(lorb::elementFloat);
    Transform transform;
    transform.setPlane(static_cast<Transform::PlaneOrientationE>(plane));
    transform.computeTwoSided(static_cast<Dataset const*>(&pair.input), &pair.output, 1);
    reference::forEachVoxel({4, 3, 2}, [&](auto const& position, std::size_t) {
      EXPECT_EQ(pair.output.getElement<float>(position) != 99.0F, position[plane] == 1);
    });
  }
}

TEST(EntryPointsTest, NoSlicesLeaveTheGenericOutputAlone) {
  Dataset input(true);
  reference::shape(input, {4, 3, 0}, lorb::elementFloat);
  GenericPair pair(lorb::elementFloat);
  Transform().computeTwoSided(&input, &pair.output);
  EXPECT_EQ(pair.first(), 99.0F);
}

TEST(EntryPointsTest, UnknownElementTypesAreIgnoredQuietly) {
  auto output = untouchedOutput({4, 3, 2});
  for (std::uint32_t const code : {0U, 12U, 0xFFFFFFFFU}) {
    ClaimedType const input(code);
    EXPECT_EQ(printedBy([&] {
                Transform().computeTwoSided(&input, &output);
                Transform().computeTwoSided(&input, &output, 0);
              }),
              "");
    EXPECT_TRUE(reference::sameBits(output, untouchedOutput({4, 3, 2})));
  }
}

TEST(EntryPointsTest, TypedWholeVolumeIgnoresNullQuietly) {
  auto output = untouchedOutput({4, 3, 2});
  TImageDataset<short, 3> const input({4, 3, 2});
  EXPECT_EQ(printedBy([&] {
              Transform().computeTwoSided(static_cast<ImageDataset const*>(nullptr), &output);
              Transform().computeTwoSided(&input, static_cast<TImageDataset<float, 3>*>(nullptr));
            }),
            "");
  EXPECT_TRUE(reference::sameBits(output, untouchedOutput({4, 3, 2})));
}

TEST(EntryPointsTest, TypedUnknownPlanesAreIgnoredQuietly) {
  TImageDataset<short, 3> const input({4, 3, 2});
  auto output = untouchedOutput({4, 3, 2});
  Transform transform;
  transform.setPlane(static_cast<Transform::PlaneOrientationE>(3));
  EXPECT_EQ(printedBy([&] {
              transform.computeTwoSided(&input, &output);
              transform.computeTwoSided(&input, &output, 1);
            }),
            "");
  EXPECT_TRUE(reference::sameBits(output, untouchedOutput({4, 3, 2})));
}

}  // namespace
