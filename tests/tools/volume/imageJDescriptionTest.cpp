#include "tools/volume/imageJDescription.h"

#include <gtest/gtest.h>

namespace lorb::tools {
namespace {

TEST(ImageJDescription, TellsSpacingAndArrangement) {
  auto const description = imageJDescription(
      "ImageJ=1.53t\nimages=24\nchannels=2\nslices=4\nframes=3\nhyperstack=true\nunit=mm\nspacing=2.5\n");
  ASSERT_TRUE(description);
  EXPECT_EQ(description->images, 24U);
  EXPECT_EQ(description->channels, 2U);
  EXPECT_EQ(description->frames, 3U);
  EXPECT_EQ(description->spacing, 2.5);
  EXPECT_EQ(description->unit, "mm");
  EXPECT_EQ(description->depthUnit, "mm");
  EXPECT_FALSE(description->calibratesValues);
}

TEST(ImageJDescription, IsNoneOfOtherTexts) {
  EXPECT_FALSE(imageJDescription(""));
  EXPECT_FALSE(imageJDescription("a stack of spacing=3"));
  EXPECT_FALSE(imageJDescription("{\"shape\": [3, 4, 5]}"));
}

TEST(ImageJDescription, LeavesOutWhatMakesNoSense) {
  for (char const* spacing : {"0", "nan", "inf", "x", ""}) {
    EXPECT_FALSE(imageJDescription(std::string("ImageJ=1.53t\nspacing=") + spacing + "\n")->spacing)
        << spacing;
  }
  EXPECT_EQ(imageJDescription("ImageJ=1.53t\nspacing=-3\r\n")->spacing, 3.0) << "slices counted downwards";
  EXPECT_EQ(imageJDescription("ImageJ=1.53t\nchannels=-2\nframes=many")->channels, 1U);
  EXPECT_EQ(imageJDescription("ImageJ=1.53t\nchannels=-2\nframes=many")->frames, 1U);
}

TEST(ImageJDescription, KnowsAnotherUnitOfDepthAndCalibratedValues) {
  auto const description =
      imageJDescription("ImageJ=1.53t\nunit=mm\nzunit=cm\nspacing=1\nc0=-32768.0\nc1=1.0\n");
  EXPECT_EQ(description->depthUnit, "cm");
  EXPECT_TRUE(description->calibratesValues);
}

TEST(ImageJDescription, ReadsWhatIsWritten) {
  auto const description = imageJDescription(imageJText(7, 0.25));
  EXPECT_EQ(description->images, 7U);
  EXPECT_EQ(description->spacing, 0.25);
  EXPECT_EQ(description->unit, "cm");
}

TEST(MillimetresIn, KnowsTheUnitsOfImageJ) {
  EXPECT_EQ(millimetresIn("mm"), 1.0);
  EXPECT_EQ(millimetresIn("cm"), 10.0);
  EXPECT_EQ(millimetresIn("inch"), 25.4);
  for (char const* micron : {"um", "micron", "µm", "\\u00B5m", "\xB5m"})
    EXPECT_EQ(millimetresIn(micron), 1e-3);
  for (char const* other : {"", "pixel", "sec", "MM"}) EXPECT_FALSE(millimetresIn(other)) << other;
}

}  // namespace
}  // namespace lorb::tools
