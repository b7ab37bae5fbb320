#include <lorb/dataset/Coordinates.h>

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <type_traits>

namespace lorb {
namespace {

/// Component `k` of an object whose components follow the virtual-table pointer.
template <class T, class Object>
T componentInPlace(Object const& object, int k) {
  T component;
  std::memcpy(&component, reinterpret_cast<char const*>(&object) + 8 + k * static_cast<int>(sizeof(T)),
              sizeof(T));
  return component;
}

TEST(CoordinatesTest, HoldFiveIntegersOrFourDoublesBehindTheVirtualTablePointer) {
  EXPECT_EQ(sizeof(Coordinates<int>), 32U);
  EXPECT_EQ(sizeof(Coordinates<double>), 40U);
  EXPECT_EQ(sizeof(DatasetCoordinates), 32U);
  EXPECT_EQ(sizeof(WorldCoordinates), 40U);
  DatasetCoordinates const position(1, -2, 3, 4, 5);
  WorldCoordinates const point(1.5, -2.5, 3.5, 4.5);
  for (int k = 0; k < 5; ++k) EXPECT_EQ(componentInPlace<int>(position, k), position[k]) << k;
  for (int k = 0; k < 4; ++k) EXPECT_EQ(componentInPlace<double>(point, k), point[k]) << k;
  EXPECT_EQ(componentInPlace<int>(position, 1), -2);
  EXPECT_EQ(componentInPlace<double>(point, 3), 4.5);
}

TEST(CoordinatesTest, HaveVirtualDestructors) {
  EXPECT_TRUE(std::has_virtual_destructor_v<Coordinates<int>>);
  EXPECT_TRUE(std::has_virtual_destructor_v<Coordinates<double>>);
  std::unique_ptr<Coordinates<int>> const position = std::make_unique<DatasetCoordinates>(1, 2, 3, 4, 5);
  EXPECT_NE(dynamic_cast<DatasetCoordinates*>(position.get()), nullptr);
}

TEST(CoordinatesTest, AreZeroUnlessGiven) {
  DatasetCoordinates const position;
  WorldCoordinates const point;
  for (int k = 0; k < 5; ++k) EXPECT_EQ(position[k], 0) << k;
  for (int k = 0; k < 4; ++k) EXPECT_EQ(point[k], 0.0) << k;
}

TEST(CoordinatesTest, AreWrittenThroughTheIndex) {
  DatasetCoordinates position;
  for (int k = 0; k < 5; ++k) position[k] = 10 + k;
  EXPECT_EQ(position, DatasetCoordinates(10, 11, 12, 13, 14));
}

TEST(CoordinatesTest, CopyEveryComponent) {
  DatasetCoordinates const position(1, 2, 3, 4, 5);
  DatasetCoordinates assigned;
  EXPECT_EQ(&(assigned = position), &assigned);
  EXPECT_EQ(assigned, position);
  EXPECT_EQ(DatasetCoordinates(position), position);
  WorldCoordinates const point(1, 2, 3, 4);
  WorldCoordinates other;
  other = point;
  EXPECT_EQ(other, point);
}

TEST(CoordinatesTest, DifferWhenOneComponentDiffers) {
  for (int k = 0; k < 5; ++k) {
    DatasetCoordinates position(1, 2, 3, 4, 5);
    position[k] = 9;
    EXPECT_FALSE(position == DatasetCoordinates(1, 2, 3, 4, 5)) << k;
  }
  for (int k = 0; k < 4; ++k) {
    WorldCoordinates point(1, 2, 3, 4);
    point[k] = 9;
    EXPECT_FALSE(point == WorldCoordinates(1, 2, 3, 4)) << k;
  }
}

}  // namespace
}  // namespace lorb
