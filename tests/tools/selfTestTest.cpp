#include "tools/selfTest.h"

#include <hwy/targets.h>

#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

namespace lorb::tools {
namespace {

constexpr Plane xy = EuclideanDistanceTransform2D::planeXY, xz = EuclideanDistanceTransform2D::planeXZ;

std::vector<std::string> toldLines(SelfTestResult const& result) {
  std::stringstream report;
  tell(report, result);
  std::vector<std::string> lines;
  for (std::string line; std::getline(report, line);) lines.push_back(line);
  return lines;
}

TEST(SelfTest, PassesOnEveryInstructionSetOfThisMachine) {
  SelfTestResult const result = selfTest();
  EXPECT_TRUE(result.agrees());
  auto const targets = hwy::SupportedAndGeneratedTargets();
  ASSERT_EQ(result.targets.size(), targets.size());
  for (std::size_t k = 0; k < targets.size(); ++k) {
    EXPECT_EQ(result.targets[k].target, hwy::TargetName(targets[k]));
    EXPECT_TRUE(result.targets[k].agrees);
    EXPECT_GT(result.targets[k].volumes, 5000U);
    EXPECT_GT(result.targets[k].voxels, 5'000'000U);
  }
  auto const lines = toldLines(result);
  ASSERT_EQ(lines.size(), targets.size() + 1);
  EXPECT_EQ(lines.back(), "self-test passed");
}

TEST(SelfTest, AsksForEveryTypePlaneAndInstructionSetOnBothPaths) {
  std::set<std::tuple<std::int64_t, int, Plane>> typed, generic;
  MapMakers const library = libraryMaps();
  selfTest({[&](ImageDataset const& volume, DistanceMap& map, Plane plane) {
              typed.emplace(hwy::SupportedTargets(), volume.type_id(), plane);
              library.typed(volume, map, plane);
            },
            [&](Dataset& volume, Dataset& map, Plane plane) {
              generic.emplace(hwy::SupportedTargets(), volume.getElementType(), plane);
              library.generic(volume, map, plane);
            }});
  std::size_t const all = hwy::SupportedAndGeneratedTargets().size() * 11 * 3;
  EXPECT_EQ(typed.size(), all);
  EXPECT_EQ(generic.size(), all);
}

TEST(SelfTest, NamesTheFirstWrongVoxel) {
  MapMakers makers = libraryMaps();
  makers.typed = [library = makers.typed](ImageDataset const& volume, DistanceMap& map, Plane plane) {
    library(volume, map, plane);
    bool const chosen =
        volume.type_id() == typeInt16 && plane == xz && extentsOf(volume) == Extents{33, 31, 4};
    if (chosen) map(32, 5, 3) += 100;
  };
  SelfTestResult const result = selfTest(makers);
  EXPECT_FALSE(result.agrees());
  for (TargetResult const& target : result.targets) EXPECT_FALSE(target.agrees);
  Disagreement const& first = result.first.value();
  EXPECT_EQ(first.target, result.targets[0].target);
  EXPECT_EQ(first.type, "Int16");
  EXPECT_EQ(first.plane, "xz");
  EXPECT_FALSE(first.generic);
  EXPECT_EQ(first.extents, (Extents{33, 31, 4}));
  EXPECT_EQ(first.voxel, (Extents{32, 5, 3}));
  EXPECT_EQ(first.expected, 33 * 33 + 4 * 4) << "the first mask is empty";
  EXPECT_EQ(first.got, first.expected + 100);
  EXPECT_EQ(toldLines(result).back(), "self-test failed; first disagreement: " + first.target +
                                          ", typed Int16, plane xz, 33 × 31 × 4 voxels: voxel (32, 5, 3) is "
                                          "1205, not 1105");
}

TEST(SelfTest, NoticesOneBitOnTheGenericPathOfOneInstructionSet) {
  auto const targets = hwy::SupportedAndGeneratedTargets();
  MapMakers makers = libraryMaps();
  makers.generic = [&, library = makers.generic](Dataset& volume, Dataset& map, Plane plane) {
    library(volume, map, plane);
    DatasetCoordinates const last(16, 15, 4, 0, 0);
    bool const chosen = hwy::SupportedTargets() == targets.back() && plane == xy &&
                        volume.getElementType() == elementDouble && map.getSize()[0] == 17;
    if (chosen) map.setElement<float>(last, std::nextafter(map.getElement<float>(last), 0.0F));
  };
  SelfTestResult const result = selfTest(makers);
  for (std::size_t k = 0; k < targets.size(); ++k) {
    EXPECT_EQ(result.targets[k].agrees, k + 1 < targets.size());
  }
  ASSERT_TRUE(result.first);
  EXPECT_TRUE(result.first->generic);
  EXPECT_EQ(result.first->type, "Double");
  EXPECT_EQ(result.first->target, result.targets.back().target);
}

TEST(SelfTest, NoticesMapsThatAreNotWritten) {
  MapMakers makers = libraryMaps();
  makers.typed = [](ImageDataset const&, DistanceMap&, Plane) {};
  EXPECT_FALSE(selfTest(makers).agrees());
}

TEST(SelfTest, ChoosesTheBestInstructionSetAgain) {
  std::int64_t const before = hwy::SupportedTargets();
  selfTest();
  EXPECT_EQ(hwy::SupportedTargets(), before);
  MapMakers makers = libraryMaps();
  makers.typed = [](ImageDataset const&, DistanceMap&, Plane) { throw std::runtime_error("no"); };
  EXPECT_THROW(selfTest(makers), std::runtime_error);
  EXPECT_EQ(hwy::SupportedTargets(), before);
}

}  // namespace
}  // namespace lorb::tools
