#include <lorb/algorithm/module.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <regex>
#include <string>

namespace lorb {
namespace {

std::string banner() {
  testing::internal::CaptureStderr();
  lorb_load_algorithm_message();
  return testing::internal::GetCapturedStderr();
}

TEST(ModuleTest, PrintsABannerOfFixedForm) {
  std::regex const form(
      R"(Torvane \(LORB\), Version 2\.1\.0, [^\n]+, Library support:)" LORB_SUPPORT
      R"(, built on (Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) ( [1-9]|[12]\d|3[01]) \d{4})"
      R"( at ([01]\d|2[0-3]):[0-5]\d:[0-5]\d\n\n([^\n]+\n){4}\n)");
  std::string const text = banner();
  EXPECT_TRUE(std::regex_match(text, form)) << text;
  EXPECT_EQ(text.find(" VTK") != std::string::npos, LORB_WITH_VTK == 1) << text;
}

TEST(ModuleTest, PrintsTheWholeBannerEachTime) {
  std::string const once = banner();
  testing::internal::CaptureStderr();
  lorb_load_algorithm_message();
  lorb_load_algorithm_message();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), once + once);
}

TEST(ModuleTest, PrintsNothingOnStandardOutput) {
  testing::internal::CaptureStdout();
  banner();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(ModuleTest, HasAHookThatAlwaysReturnsZeroAndPrintsNothing) {
  testing::internal::CaptureStderr();
  for (int call = 0; call < 3; ++call) EXPECT_EQ(lorb_init_algorithm(), 0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(ModuleTest, PrintsNothingWhenLoaded) {
  // This program once more: it loads the library and only lists its tests, on standard output.
  std::string const program = std::filesystem::read_symlink("/proc/self/exe");
  FILE* const run = popen(("'" + program + "' --gtest_list_tests 2>&1 >/dev/null").c_str(), "r");
  ASSERT_NE(run, nullptr);
  std::array<char, 4096> text;
  std::size_t const length = std::fread(text.data(), 1, text.size(), run);
  EXPECT_EQ(std::string(text.data(), length), "");
  EXPECT_EQ(pclose(run), 0);
}

}  // namespace
}  // namespace lorb
