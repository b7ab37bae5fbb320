#include "tools/picture/sliceOrientation.h"

#include "tests/tools/sampleVolumes.h"

#include <gtest/gtest.h>

#include <string>

namespace lorb::tools {
namespace {

constexpr Plane xy = EuclideanDistanceTransform2D::planeXY, xz = EuclideanDistanceTransform2D::planeXZ,
                yz = EuclideanDistanceTransform2D::planeYZ;

constexpr Directions leftPosteriorSuperior = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
constexpr Directions rightAnteriorSuperior = {{{-1, 0, 0}, {0, -1, 0}, {0, 0, 1}}};
/// Slices taken from the patient's right to the left: x to the posterior, y to the inferior, z to the left.
constexpr Directions sagittal = {{{0, 0, 1}, {1, 0, 0}, {0, -1, 0}}};

std::string sides(SliceOrientation const& o) {
  return {o.left, o.right, o.top, o.bottom};
}

TEST(SliceOrientation, StaysAsStoredWithoutDirections) {
  SliceOrientation const o = sliceOrientation(xz, std::nullopt);
  EXPECT_EQ(o.across, (DisplayAxis{0, false}));
  EXPECT_EQ(o.down, (DisplayAxis{2, false}));
  EXPECT_EQ(sides(o), std::string(4, '\0'));
}

TEST(SliceOrientation, LooksAtThePatientAsRadiologistsDo) {
  for (Directions const& directions : {leftPosteriorSuperior, rightAnteriorSuperior}) {
    EXPECT_EQ(sides(sliceOrientation(xy, directions)), "RLAP") << "axial";
    EXPECT_EQ(sides(sliceOrientation(xz, directions)), "RLSI") << "coronal";
    EXPECT_EQ(sides(sliceOrientation(yz, directions)), "APSI") << "sagittal";
  }
}

TEST(SliceOrientation, ReversesAxesThatRunTheOtherWay) {
  SliceOrientation const axial = sliceOrientation(xy, rightAnteriorSuperior);
  EXPECT_EQ(axial.across, (DisplayAxis{0, true}));
  EXPECT_EQ(axial.down, (DisplayAxis{1, true}));
  SliceOrientation const coronal = sliceOrientation(xz, leftPosteriorSuperior);
  EXPECT_EQ(coronal.across, (DisplayAxis{0, false}));
  EXPECT_EQ(coronal.down, (DisplayAxis{2, true})) << "the head is up";
}

TEST(SliceOrientation, TurnsVolumesThatLieOtherwise) {
  SliceOrientation const o = sliceOrientation(xy, sagittal);
  EXPECT_EQ(sides(o), "APSI");
  EXPECT_EQ(o.across, (DisplayAxis{0, false}));
  EXPECT_EQ(o.down, (DisplayAxis{1, false}));
  SliceOrientation const axial = sliceOrientation(xz, sagittal);
  EXPECT_EQ(sides(axial), "RLAP");
  EXPECT_EQ(axial.across, (DisplayAxis{2, false}));
  EXPECT_EQ(axial.down, (DisplayAxis{0, false}));
}

TEST(SliceOrientation, TakesTheClosestSidesOfObliqueVolumes) {
  EXPECT_EQ(sides(sliceOrientation(xy, obliqueGeometry().direction)), "RLAP");
}

}  // namespace
}  // namespace lorb::tools
