#include "tools/commandLine/nearestOption.h"

#include "tools/commandLine/optionTable.h"

#include <gtest/gtest.h>

namespace lorb::tools {
namespace {

TEST(NearestOption, IsAFewLettersAway) {
  EXPECT_EQ(nearestOption("--abvoe"), "--above");
  EXPECT_EQ(nearestOption("--labels"), "--label");
  EXPECT_EQ(nearestOption("--each_label"), "--each-label");
  EXPECT_EQ(nearestOption("--slise"), "--slice");
  EXPECT_EQ(nearestOption("-plane"), "--plane");
  EXPECT_EQ(nearestOption("--Units"), "--units");
}

TEST(NearestOption, IsTheShortestThatBeginsAlike) {
  EXPECT_EQ(nearestOption("--prev"), "--preview");
  EXPECT_EQ(nearestOption("--no-bound"), "--no-boundary");
  EXPECT_EQ(nearestOption("--out"), "--output");
}

TEST(NearestOption, IsNothingForOtherWords) {
  for (char const* word : {"--colour", "--", "-", "-x", "--zzz", ""}) {
    EXPECT_EQ(nearestOption(word), std::nullopt) << word;
  }
}

TEST(NearestOption, IsEveryOptionForItself) {
  for (OptionRow const& row : optionTable()) EXPECT_EQ(nearestOption(longNameOf(row)), longNameOf(row));
}

}  // namespace
}  // namespace lorb::tools
