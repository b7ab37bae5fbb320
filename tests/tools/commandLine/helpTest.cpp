// The answers that the tool gives about itself hang together with its options and with each other.

#include "tools/commandLine/help.h"

#include "tests/tools/TemporaryFolder.h"
#include "tools/commandLine/optionTable.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>
#include <string>

namespace lorb::tools {
namespace {

std::string const tool = "'" LORB_DISTANCE "' ";

std::string outputOf(std::string const& command) {
  TemporaryFolder const folder;
  EXPECT_EQ(std::system(("( " + command + " ) >'" + (folder / "out").string() + "' 2>&1").c_str()), 0)
      << command;
  return contentOf(folder / "out");
}

TEST(Help, FitsAScreen) {
  std::string const help = outputOf(tool + "--help");
  EXPECT_EQ(help, helpText());
  int lines = 0;
  std::istringstream stream(help);
  for (std::string line; std::getline(stream, line); ++lines) EXPECT_LE(line.size(), 80U) << line;
  EXPECT_LE(lines, 50);
  EXPECT_GT(help.find("Examples:"), help.find("Exit codes:"));
}

TEST(Help, NamesEveryOption) {
  for (OptionRow const& row : optionTable()) {
    EXPECT_NE(helpText().find(longNameOf(row)), std::string::npos) << row.names;
  }
}

TEST(ManualPage, IsWhatManTakesWithoutComplaint) {
  if (std::system("command -v man >/dev/null 2>&1") != 0) GTEST_SKIP() << "no man here";
  TemporaryFolder const folder;
  std::string const path = (folder / "page.1").string();
  std::string const page =
      outputOf(tool + "--man >" + path + "; MANWIDTH=90 man --warnings -E UTF-8 -l " + path);
  EXPECT_EQ(page.find("warning:"), std::string::npos) << page;
  for (char const* part : {"EXIT STATUS", "The input can't be read or holds no usable volume.",
                           "--each-label", "130", "EXAMPLES", "--between A B"}) {
    EXPECT_NE(page.find(part), std::string::npos) << part;
  }
}

/// What bash offers for the last word of a line.
std::string completionsOf(std::string const& line, std::string const& what = "${COMPREPLY[@]}") {
  TemporaryFolder const folder;
  std::string const script = (folder / "completion").string();
  // Outside of completion there are no options of it to set.
  return outputOf(tool + "--completion >" + script + "; cd /usr; bash -c '. " + script +
                  "; compopt() { :; }; COMP_WORDS=(" + line +
                  "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _lorb_distance; echo " + what + "'");
}

TEST(Completion, OffersOptionsWordsAndFiles) {
  EXPECT_EQ(completionsOf("lorb-distance --pla"), "--plane\n");
  EXPECT_EQ(completionsOf("lorb-distance --ma"), "--man\n");
  EXPECT_EQ(completionsOf("lorb-distance --plane \"\""), "xy xz yz\n");
  EXPECT_EQ(completionsOf("lorb-distance --no-boundary d"), "diagonal\n");
  EXPECT_EQ(completionsOf("lorb-distance --label \"\""), "\n");
  EXPECT_EQ(completionsOf("lorb-distance shar"), "share\n");
  EXPECT_EQ(completionsOf("lorb-distance -o shar"), "share\n");
  EXPECT_EQ(completionsOf("lorb-distance --preview-over inpu"), "input\n");
  EXPECT_EQ(completionsOf("lorb-distance --preview-over shar"), "share\n");
}

TEST(Completion, KeepsNamesWithBlanksTogether) {
  TemporaryFolder const folder;
  writeContent(folder / "my scan.nii", "");
  writeContent(folder / "my mask.nii", "");
  std::string const line = "lorb-distance \"" + folder.path().string() + "/my\"";
  EXPECT_EQ(completionsOf(line, "${#COMPREPLY[@]}"), "2\n");
}

TEST(Version, NamesTheLibraryAndTheBuild) {
  EXPECT_EQ(outputOf(tool + "--version"), versionText() + "\n");
  EXPECT_TRUE(versionText().starts_with("lorb-distance 2.1")) << versionText();
  EXPECT_NE(versionText().find("ITK 5"), std::string::npos);
}

}  // namespace
}  // namespace lorb::tools
