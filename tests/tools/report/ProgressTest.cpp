#include "tools/report/Progress.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace lorb::tools {
namespace {

using namespace std::chrono_literals;

/// A clock that stands still and a screen.
struct Scene {
  Progress::Clock::time_point now{};
  std::vector<std::string> shown;

  Progress::Show show() {
    return [this](std::string const& text) { shown.push_back(text); };
  }
  Progress::Now clock() {
    return [this] { return now; };
  }
};

TEST(ProgressLine, WaitsASecondAndTellsRateAndTimeLeft) {
  Scene scene;
  {
    Progress progress(300, scene.show(), 100, scene.clock());
    scene.now += 900ms;
    progress.advance(50);
    EXPECT_TRUE(scene.shown.empty());
    scene.now += 1100ms;
    progress.advance(50);
    ASSERT_EQ(scene.shown.size(), 1U);
    EXPECT_EQ(scene.shown[0],
              "\r\x1b[K[##########....................] 100 of 300 slices, 50 a second, 4 s left");
    scene.now += 50ms;
    progress.advance(1);
    EXPECT_EQ(scene.shown.size(), 1U) << "too soon";
  }
  EXPECT_EQ(scene.shown.back(), "\r\x1b[K");
}

TEST(ProgressLine, MakesRoomForOtherLines) {
  Scene scene;
  Progress progress(30, scene.show(), 100, scene.clock(), "inputs");
  scene.now += 10s;
  progress.advance(10);
  EXPECT_TRUE(scene.shown.back().ends_with("10 of 30 inputs, 1.0 a second, 20 s left")) << scene.shown.back();
  progress.hide();
  EXPECT_EQ(scene.shown.back(), "\r\x1b[K");
  progress.hide();
  EXPECT_EQ(scene.shown.size(), 2U) << "there is nothing to remove";
}

TEST(ProgressLine, SpeaksOfMinutes) {
  Scene scene;
  Progress progress(1000, scene.show(), 100, scene.clock());
  scene.now += 10s;
  progress.advance(25);
  EXPECT_TRUE(scene.shown.at(0).ends_with("25 of 1000 slices, 2.5 a second, 6 min 30 s left"))
      << scene.shown[0];
}

TEST(ProgressLine, FitsTheTerminal) {
  constexpr std::size_t control = 4;  // characters that erase the line before
  for (std::uint64_t const total : {30ULL, 123456ULL, 4000000000ULL}) {
    for (std::size_t const width : {0U, 1U, 20U, 60U, 80U, 200U}) {
      Scene scene;
      Progress progress(total, scene.show(), width, scene.clock());
      scene.now += 10s;
      progress.advance(17);
      ASSERT_EQ(scene.shown.size(), 1U);
      EXPECT_LT(scene.shown[0].size() - control, std::max<std::size_t>(width, 1)) << scene.shown[0];
      EXPECT_TRUE(width < 80 || scene.shown[0].ends_with(" left")) << scene.shown[0];
    }
  }
}

TEST(ProgressLine, LeavesNothingOfShortWork) {
  Scene scene;
  { Progress(10, scene.show(), 100, scene.clock()).advance(10); }
  EXPECT_TRUE(scene.shown.empty());
}

}  // namespace
}  // namespace lorb::tools
