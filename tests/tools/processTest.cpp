// The built tool as people run it: exit codes, what it prints, what it leaves behind.

#include "TemporaryFolder.h"
#include "sampleVolumes.h"
#include "tools/VolumeFile.h"
#include "tools/distanceMap.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>

namespace lorb::tools {
namespace {

namespace fs = std::filesystem;

struct Outcome {
  int exitCode;
  std::string out, err;
};

/// Runs the tool in `folder` with the given arguments, as the shell reads them. `before` is a shell command.
Outcome runTool(fs::path const& folder, std::string const& arguments, std::string const& before = "true") {
  TemporaryFolder const prints;
  std::string const command = "cd '" + folder.string() + "' && " + before + " && '" LORB_DISTANCE "' " +
                              arguments + " >'" + (prints / "out").string() + "' 2>'" +
                              (prints / "err").string() + "'";
  int const status = std::system(command.c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contentOf(prints / "out"), contentOf(prints / "err")};
}

/// A folder with a good volume and several bad ones.
class Tool : public testing::Test {
 protected:
  Tool() {
    writeVolume(sampleVolume(typeInt16, {20, 18, 6}), folder / "good.nii.gz", false);
    writeContent(folder / "empty.nii", "");
    std::string const whole = contentOf(folder / "good.nii.gz");
    writeContent(folder / "cut.nii.gz", whole.substr(0, whole.size() / 2));
    writeContent(folder / "notes.txt", "no volume");
    writeContent(folder / "letter.nrrd", "Dear all");
    writeContent(folder / "old.mha", "an older map");
    writeContent(
        folder / "four.mha",
        "ObjectType = Image\nNDims = 4\nBinaryData = True\nDimSize = 2 2 2 2\nElementType = MET_UCHAR\n"
        "ElementDataFile = LOCAL\n0123456789abcdef");
    fs::create_directory(folder / "inner.mha");
  }

  TemporaryFolder folder;
};

struct BadCase {
  char const* name;
  char const* arguments;
  int exitCode;
  char const* says;
};

void PrintTo(BadCase const& bad, std::ostream* out) {
  *out << bad.arguments;
}

class BadCall : public Tool, public testing::WithParamInterface<BadCase> {};

INSTANTIATE_TEST_SUITE_P(
    Of, BadCall,
    testing::Values(
        BadCase{"NoArguments", "", 2, "--output is required"}, BadCase{"NoInput", "-o a.mha", 2, "--phantom"},
        BadCase{"NoOutput", "good.nii.gz", 2, "--output is required"},
        BadCase{"TwoInputs", "good.nii.gz old.mha -o a.mha", 2, "old.mha"},
        BadCase{"InputAndPhantom", "good.nii.gz --phantom -o a.mha", 2, "good.nii.gz"},
        BadCase{"UnknownOption", "good.nii.gz -o a.mha --colour", 2, "--colour"},
        BadCase{"UnknownPlane", "good.nii.gz -o a.mha --plane zx", 2,
                "'zx' names no plane; expected xy, xz or yz"},
        BadCase{"EmptyPlane", "good.nii.gz -o a.mha --plane ''", 2, "expected xy, xz or yz"},
        BadCase{"AboveNaN", "good.nii.gz -o a.mha --above nan", 2, "--above 'nan' is no finite number"},
        BadCase{"AboveWord", "good.nii.gz -o a.mha --above 6O", 2, "--above '6O'"},
        BadCase{"AboveInfinity", "good.nii.gz -o a.mha --above=-inf", 2, "--above '-inf'"},
        BadCase{"LabelNaN", "good.nii.gz -o a.mha --label nan", 2, "--label 'nan'"},
        BadCase{"LabelEmpty", "good.nii.gz -o a.mha --label ''", 2, "--label ''"},
        BadCase{"AboveAndLabel", "good.nii.gz -o a.mha --above 1 --label 2", 2, "exclude each other"},
        BadCase{"SliceWord", "good.nii.gz -o a.mha --slice two", 2, "--slice 'two'"},
        BadCase{"SliceNegative", "good.nii.gz -o a.mha --slice -1", 2, "--slice '-1'"},
        BadCase{"SliceBeyond", "good.nii.gz -o a.mha --slice 6", 3,
                "slice 6 is not in the volume; expected 0 to 5"},
        BadCase{"SliceBeyondInYZ", "good.nii.gz -o a.mha --plane yz --slice 20", 3, "expected 0 to 19"},
        BadCase{"MissingInput", "none.nii -o a.mha", 3, "none.nii: no such file"},
        BadCase{"FolderAsInput", "inner.mha -o a.mha", 3, "inner.mha: is a folder"},
        BadCase{"DeviceAsInput", "/dev/null -o a.mha", 3, "/dev/null: is no regular file"},
        BadCase{"EmptyInput", "empty.nii -o a.mha", 3, "empty.nii: is empty"},
        BadCase{"CutInput", "cut.nii.gz -o a.mha", 3, "cut.nii.gz: is damaged or incomplete"},
        BadCase{"UnknownInputExtension", "notes.txt -o a.mha", 3,
                "notes.txt: unknown extension; expected one of"},
        BadCase{"OtherContent", "letter.nrrd -o a.mha", 3, "letter.nrrd: is no NRRD file"},
        BadCase{"FourDimensions", "four.mha -o a.mha", 3, "four.mha: holds 2 volumes; expected --volume K"},
        BadCase{"UnknownOutputExtension", "good.nii.gz -o a.jpg", 4,
                "a.jpg: unknown extension; expected one of"},
        BadCase{"NoOutputFolder", "good.nii.gz -o none/a.mha", 4, "no folder none"},
        BadCase{"FileAsOutputFolder", "good.nii.gz -o notes.txt/a.mha", 4, "no folder notes.txt"},
        BadCase{"UnwritableFolder", "good.nii.gz -o /proc/a.mha", 4, "can't write in folder /proc"},
        BadCase{"FolderAsOutput", "good.nii.gz -o inner.mha --force", 4, "inner.mha: is a folder"},
        BadCase{"ExistingOutput", "good.nii.gz -o old.mha", 4,
                "old.mha: exists; expected a new name or --force"},
        BadCase{"OutputIsInput", "good.nii.gz -o ./good.nii.gz --force", 4, "is the input"}),
    [](auto const& info) { return info.param.name; });

TEST_P(BadCall, EndsWithOneLineAndChangesNothing) {
  auto const namesBefore = folder.names();
  std::string const goodBefore = contentOf(folder / "good.nii.gz");
  Outcome const outcome = runTool(folder.path(), GetParam().arguments);
  EXPECT_EQ(outcome.exitCode, GetParam().exitCode);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
  EXPECT_TRUE(outcome.err.starts_with("lorb-distance: ")) << outcome.err;
  EXPECT_NE(outcome.err.find(GetParam().says), std::string::npos) << outcome.err;
  EXPECT_EQ(folder.names(), namesBefore);
  EXPECT_EQ(contentOf(folder / "good.nii.gz"), goodBefore);
  EXPECT_EQ(contentOf(folder / "old.mha"), "an older map");
}

class FullDisk : public Tool, public testing::WithParamInterface<std::string> {};
INSTANTIATE_TEST_SUITE_P(Of, FullDisk,
                         testing::Values("nii", "nii.gz", "mha", "nrrd"
#ifdef LORB_TOOLS_WITH_VTI
                                         ,
                                         "vti"
#endif
                                         ),
                         [](auto const& info) { return "As" + std::to_string(info.index); });

TEST_P(FullDisk, LeavesTheOlderFile) {
  writeContent(folder / ("old." + GetParam()), "an older map");
  auto const namesBefore = folder.names();
  // Files may not grow beyond 1 KiB, and trying to is an error, not the end of the process.
  Outcome const outcome =
      runTool(folder.path(), "good.nii.gz --force -o old." + GetParam(), "trap '' XFSZ && ulimit -f 1");
  EXPECT_EQ(outcome.exitCode, 4);
  EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
  EXPECT_EQ(folder.names(), namesBefore);
  EXPECT_EQ(contentOf(folder / ("old." + GetParam())), "an older map");
}

TEST_F(Tool, ReportsWhatItDid) {
  Outcome const outcome = runTool(folder.path(), "good.nii.gz -o map.nrrd --above 0 --plane xz");
  EXPECT_EQ(outcome.exitCode, 0);
  EXPECT_EQ(outcome.err, "");
  for (char const* part : {"good.nii.gz", "20 × 18 × 6 voxels of Int16", "0.75 × 1.25 × 2.5", "xz, 18 slices",
                           " of 2160 voxels (", "map.nrrd"}) {
    EXPECT_NE(outcome.out.find(part), std::string::npos) << outcome.out << " lacks " << part;
  }
  Volume const map = readVolume(folder / "map.nrrd");
  EXPECT_EQ(map.voxels->type_id(), typeFloat);
  EXPECT_TRUE(samePlace(map.geometry, obliqueGeometry(), {20, 18, 6}));
}

TEST_F(Tool, ReplacesOnDemand) {
  EXPECT_EQ(runTool(folder.path(), "good.nii.gz -o old.mha --force").exitCode, 0);
  EXPECT_EQ(readVolume(folder / "old.mha").voxels->type_id(), typeFloat);
}

TEST_F(Tool, FollowsALinkToTheFileThatItReplaces) {
  fs::create_symlink("old.mha", folder / "link.mha");
  EXPECT_EQ(runTool(folder.path(), "good.nii.gz -o link.mha --force").exitCode, 0);
  EXPECT_TRUE(fs::is_symlink(folder / "link.mha"));
  EXPECT_EQ(readVolume(folder / "old.mha").voxels->type_id(), typeFloat);
}

TEST_F(Tool, WarnsOfAnEmptyAndOfAFullObject) {
  auto const value = [&] {
    Volume const map = readVolume(folder / "map.mha");
    return static_cast<DistanceMap const&>(*map.voxels)(3, 4, 5);
  };
  Outcome const empty = runTool(folder.path(), "good.nii.gz -o map.mha --above 40000");
  EXPECT_EQ(empty.exitCode, 0);
  EXPECT_NE(empty.err.find("the object is empty"), std::string::npos) << empty.err;
  EXPECT_NE(empty.err.find("+724"), std::string::npos) << empty.err;
  EXPECT_EQ(value(), 724.0F);
  Outcome const full = runTool(folder.path(), "good.nii.gz -o map.mha --above -40000 --force");
  EXPECT_EQ(full.exitCode, 0);
  EXPECT_NE(full.err.find("fills everything"), std::string::npos) << full.err;
  EXPECT_EQ(value(), -724.0F);
}

TEST_F(Tool, TakesNegativeNumbers) {
  EXPECT_EQ(runTool(folder.path(), "good.nii.gz -o a.mha --label -32768").exitCode, 0);
  EXPECT_EQ(runTool(folder.path(), "good.nii.gz -o b.mha --above -1.5").exitCode, 0);
}

TEST_F(Tool, NeedsNoFile) {
  Outcome const outcome = runTool(folder.path(), "--phantom -o map.nii.gz --slice 32");
  EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
  EXPECT_NE(outcome.out.find("slice 32 of 64"), std::string::npos) << outcome.out;
  EXPECT_EQ(extentsOf(*readVolume(folder / "map.nii.gz").voxels), (Extents{256, 256, 64}));
}

TEST_F(Tool, SaysWhoItIsAndHow) {
  EXPECT_TRUE(runTool(folder.path(), "--version").out.starts_with("lorb-distance "));
  Outcome const help = runTool(folder.path(), "--help");
  EXPECT_EQ(help.exitCode, 0);
  for (char const* part : {"--plane", "--above", "--label", "--slice", "all others hold 0", "--phantom",
                           "--force", ".nii.gz", ".nrrd", "LPS"}) {
    EXPECT_NE(help.out.find(part), std::string::npos) << part;
  }
}

}  // namespace
}  // namespace lorb::tools
