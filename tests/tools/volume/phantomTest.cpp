#include "tools/volume/phantom.h"

#include <gtest/gtest.h>

#include <set>

namespace lorb::tools {
namespace {

TEST(Phantom, IsAHeadWithHollowVentricles) {
  Volume const phantom = headPhantom();
  ASSERT_EQ(phantom.voxels->type_id(), typeInt16);
  ASSERT_EQ(extentsOf(*phantom.voxels), (Extents{256, 256, 64}));
  auto const& head = static_cast<TImageDataset<short, 3> const&>(*phantom.voxels);
  EXPECT_EQ(head(0, 0, 0), 0) << "air";
  EXPECT_EQ(head(40, 128, 32), 100) << "skull, at the left";
  EXPECT_EQ(head(60, 128, 32), 20) << "brain";
  EXPECT_EQ(head(156, 128, 32), 0) << "ventricle";
  EXPECT_EQ(head(100, 128, 32), 0) << "ventricle";
  EXPECT_EQ(head(128, 173, 32), 30) << "lesion";
  auto const voxels = head.voxels();
  EXPECT_EQ(std::set<short>(voxels.begin(), voxels.end()), (std::set<short>{0, 10, 20, 30, 40, 100}));
}

TEST(Phantom, IsCentredOnTheOrigin) {
  Geometry const geometry = headPhantom().geometry;
  EXPECT_EQ(geometry.spacing, (Vector3{0.9, 0.9, 2.5}));
  for (double const coordinate : geometry.position({127.5, 127.5, 31.5})) EXPECT_NEAR(coordinate, 0.0, 1e-9);
}

}  // namespace
}  // namespace lorb::tools
