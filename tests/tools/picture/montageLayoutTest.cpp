#include "tools/picture/montageLayout.h"

#include <gtest/gtest.h>

namespace lorb::tools {
namespace {

TEST(MontageLayout, FillsTheRoomWithTheRatioKept) {
  for (int const count : {1, 2, 3, 5, 8, 12, 30, 60}) {
    for (double const ratio : {0.1, 0.5, 0.83, 1.0, 2.0, 11.0}) {
      MontageLayout const layout = montageLayout(count, ratio, 1400, 1100);
      EXPECT_LE(layout.width(), 1400);
      EXPECT_LE(layout.height(), 1100);
      EXPECT_GE(layout.rows * layout.columns, count);
      EXPECT_LT(layout.rows * layout.columns - layout.columns, count) << "no empty row";
      EXPECT_NEAR(double(layout.panelHeight) * ratio, layout.panelWidth, ratio + 1.0);
      EXPECT_GE(layout.cellWidth, layout.panelWidth);
      EXPECT_TRUE(layout.toScale);
    }
  }
}

TEST(MontageLayout, ChoosesTheColumnsThatMakePanelsLargest) {
  EXPECT_EQ(montageLayout(8, 0.83, 1400, 1100).columns, 4);
  EXPECT_EQ(montageLayout(2, 1.0, 1400, 1100).columns, 2);
  EXPECT_EQ(montageLayout(2, 10.0, 1400, 1100).columns, 1);
}

TEST(MontageLayout, BringsExtremeSidesCloserAndSaysSo) {
  for (double const ratio : {1e-6, 1e6}) {
    MontageLayout const layout = montageLayout(6, ratio, 1400, 1100);
    EXPECT_FALSE(layout.toScale);
    EXPECT_GE(layout.panelWidth, 20);
    EXPECT_GE(layout.panelHeight, 20);
  }
}

}  // namespace
}  // namespace lorb::tools
