// The built tool as people run it: exit codes, what it prints, what it leaves behind.

#include "tests/sanitized.h"
#include "tests/tools/TemporaryFolder.h"
#include "tests/tools/sampleVolumes.h"
#include "tools/map/distanceMap.h"
#include "tools/volume/VolumeFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <system_error>
#include <utility>

namespace lorb::tools {
namespace {

namespace fs = std::filesystem;

struct Outcome {
  int exitCode;
  std::string out, err;
};

/// Runs the tool in `folder` with the given arguments, as the shell reads them. `before` is a shell command,
/// `by` one that runs what follows it.
Outcome runTool(fs::path const& folder, std::string const& arguments, std::string const& before = "true",
                std::string const& by = "") {
  TemporaryFolder const prints;
  std::string const command = "cd '" + folder.string() + "' && " + before + " && >'" +
                              (prints / "out").string() + "' 2>'" + (prints / "err").string() + "' " + by +
                              " '" LORB_DISTANCE "' " + arguments;
  int const status = std::system(command.c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contentOf(prints / "out"), contentOf(prints / "err")};
}

/// What runs a command as somebody whom permissions bind; nothing when the tool does not run well that way,
/// for instance because it may not write the counts of a coverage build.
std::optional<std::string> byNobody() {
  std::string const command = geteuid() == 0 ? "setpriv --reuid=65534 --regid=65534 --clear-groups" : "";
  std::string const complaints = "$(" + command + " '" LORB_DISTANCE "' --version 2>&1 >/dev/null)";
  bool const works = std::system(("test -z \"" + complaints + "\"").c_str()) == 0;
  return works ? std::optional(command) : std::nullopt;
}

/// All files of a folder and what they hold.
std::map<std::string, std::string> contentsOf(TemporaryFolder const& folder) {
  std::map<std::string, std::string> contents;
  for (std::string const& name : folder.names()) {
    std::error_code ignored;  // of links that lead nowhere
    contents[name] = fs::is_regular_file(folder / name, ignored) ? contentOf(folder / name) : "";
  }
  return contents;
}

/// A folder with a good volume and several bad ones.
class Tool : public testing::Test {
 protected:
  Tool() {
    writeVolume(sampleVolume(typeInt16, {20, 18, 6}), folder / "good.nii.gz", false);
    Volume elsewhere = sampleVolume(typeInt16, {20, 18, 6});
    elsewhere.geometry.spacing[2] = 3.0;
    elsewhere.geometry.origin[0] += 5.0;
    writeVolume(elsewhere, folder / "elsewhere.mha", false);
    writeContent(folder / "empty.nii", "");
    std::string const whole = contentOf(folder / "good.nii.gz");
    writeContent(folder / "cut.nii.gz", whole.substr(0, whole.size() / 2));
    writeContent(folder / "notes.txt", "no volume");
    writeContent(folder / "letter.nrrd", "Dear all");
    writeContent(folder / "old.mha", "an older map");
    writeContent(folder / "old.png", "an older picture");
    writeContent(
        folder / "four.mha",
        "ObjectType = Image\nNDims = 4\nBinaryData = True\nDimSize = 2 2 2 2\nElementType = MET_UCHAR\n"
        "ElementDataFile = LOCAL\n0123456789abcdef");
    Volume plain = sampleVolume(typeUInt8, {4, 3, 2});
    plain.geometry = {};
    writeVolume(plain, folder / "one.tif", false);
#ifdef LORB_TOOLS_WITH_VTI
    writeVolume(plain, folder / "one.vti", false);
#endif
    fs::create_directory(folder / "inner.mha");
    mkfifo((folder / "pipe").c_str(), 0600);
    fs::create_symlink("pipe", folder / "toPipe");
    fs::create_symlink("loop.mha", folder / "loop.mha");
    writeContent(
        folder / "detached.mhd",
        "ObjectType = Image\nNDims = 3\nBinaryData = True\nDimSize = 1 1 3\nElementType = MET_UCHAR\n"
        "ElementDataFile = detached.raw\n");
    writeContent(
        folder / "detached.nhdr",
        "NRRD0004\ntype: uchar\ndimension: 3\nsizes: 1 1 3\nencoding: raw\ndata file: detached.raw\n");
    writeContent(folder / "detached.raw", "abc");
    for (char const* name : {"detached.mhd", "detached.nhdr"}) {
      std::string header = contentOf(folder / name);
      header.replace(header.find("detached.raw"), std::string("detached.raw").size(), "pipe");
      writeContent(folder / (std::string("waiting.") + name), header);
    }
    auto const metaImage = [&](char const* name, std::string const& fields, std::string const& data) {
      writeContent(folder / name, "ObjectType = Image\nNDims = 3\nBinaryData = True\n" + fields +
                                      "\nElementDataFile = LOCAL\n" + data);
    };
    metaImage("zeros.mha", "DimSize = 1 1 3\nElementType = MET_UCHAR", std::string(3, '\0'));
    float const halves[3] = {0.5F, 1.0F, 2.0F};
    metaImage("halves.mha", "DimSize = 1 1 3\nElementType = MET_FLOAT",
              std::string(reinterpret_cast<char const*>(halves), sizeof halves));
    metaImage("vectors.mha", "DimSize = 1 1 1\nElementNumberOfChannels = 3\nElementType = MET_UCHAR", "abc");
    metaImage("infinite.mha", "DimSize = 1 1 3\nElementSpacing = 1 1 inf\nElementType = MET_UCHAR", "abc");
    metaImage("huge.mha", "DimSize = 2147483647 1 1\nElementType = MET_UCHAR", "abc");
    metaImage("negative.mha", "DimSize = 1 -4 3\nElementType = MET_UCHAR", "abc");
    writeVolume(sampleVolume(typeInt64, {4, 3, 2}), folder / "complex.nii", false);
    std::fstream complex(folder / "complex.nii", std::ios::in | std::ios::out | std::ios::binary);
    complex.seekp(70).put(32).put(0).put(64).put(0);  // the code of complex numbers, and their bits
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
        BadCase{"UnknownOption", "good.nii.gz -o a.mha --colour", 2,
                "--colour is no option; see lorb-distance --help"},
        BadCase{"MistypedOption", "good.nii.gz --abvoe 300 -o a.mha", 2,
                "--abvoe is no option; did you mean --above?"},
        BadCase{"MistypedOptionWithEquals", "good.nii.gz -o a.mha --lable=3", 2,
                "--lable is no option; did you mean --label?"},
        BadCase{"MistypedShortOption", "good.nii.gz -O a.mha", 2, "-O is no option"},
        BadCase{"UnknownPlane", "good.nii.gz -o a.mha --plane zx", 2, "--plane: zx not in {xy,xz,yz}"},
        BadCase{"EmptyPlane", "good.nii.gz -o a.mha --plane ''", 2, "not in {xy,xz,yz}"},
        BadCase{"AboveNaN", "good.nii.gz -o a.mha --above nan", 2, "--above 'nan' is no finite number"},
        BadCase{"AboveWord", "good.nii.gz -o a.mha --above 6O", 2, "--above '6O'"},
        BadCase{"AboveInfinity", "good.nii.gz -o a.mha --above=-inf", 2, "--above '-inf'"},
        BadCase{"LabelNaN", "good.nii.gz -o a.mha --label nan", 2, "--label 'nan'"},
        BadCase{"LabelEmpty", "good.nii.gz -o a.mha --label ''", 2, "--label ''"},
        BadCase{"BetweenOneNumber", "good.nii.gz -o a.mha --between 1", 2, "--between"},
        BadCase{"BetweenReversed", "good.nii.gz -o a.mha --between 5 1", 2, "--between 5 1 holds no number"},
        BadCase{"BelowWord", "good.nii.gz -o a.mha --below x", 2, "--below 'x' is no finite number"},
        BadCase{"EachLabelAndAbove", "good.nii.gz -o a.mha --above 1 --each-label", 2, "exclude each other"},
        BadCase{"SegmentAndAbove", "good.nii.gz -o a.mha --above 1 --segment liver", 2,
                "--segment and --above exclude each other"},
        BadCase{"SegmentAndVolume", "good.nii.gz -o a.mha --volume 1 --segment liver", 2,
                "--segment and --volume exclude each other"},
        BadCase{"SegmentOfNone", "good.nii.gz -o a.mha --segment liver", 3,
                "good.nii.gz: has no segments; expected no --segment 'liver'"},
        BadCase{"EachLabelOfNone", "zeros.mha -o a.mha --each-label", 3, "zeros.mha: holds 0 alone"},
        BadCase{"EachLabelOfFractions", "halves.mha -o a.mha --each-label", 3, "holds 0.5 and so is no map"},
        BadCase{"EachLabelToStandardOutput", "good.nii.gz -o - --each-label", 2, "--each-label"},
        BadCase{"UnknownUnits", "good.nii.gz -o a.mha --units cm", 2, "--units: cm not in {voxels,mm}"},
        BadCase{"MillimetresOfOblongVoxels", "good.nii.gz -o a.mha --units mm", 3,
                "has voxels of 0.75 × 1.25 mm in plane xy"},
        BadCase{"UnknownFilling", "good.nii.gz -o a.mha --no-boundary 0", 2,
                "--no-boundary: 0 not in {diagonal,constant,nan}"},
        BadCase{"NoThreads", "good.nii.gz -o a.mha --threads 0", 2, "--threads '0'"},
        BadCase{"ManyThreads", "good.nii.gz -o a.mha --threads 100000", 2, "expected 1 to 1024"},
        BadCase{"NoMemory", "good.nii.gz -o a.mha --memory lots", 2, "--memory 'lots' is no size"},
        BadCase{"LittleMemory", "good.nii.gz -o a.mha --memory 10M", 5, "slab by slab"},
        BadCase{"QuietAndVerbose", "good.nii.gz -o a.mha -q -v", 2, "exclude each other"},
        BadCase{"PreviewOfOtherName", "good.nii.gz -o a.mha --preview a.jpg", 2, "'a.jpg' is no picture"},
        BadCase{"PreviewOverWithoutPreview", "good.nii.gz -o a.mha --preview-over input", 2,
                "needs --preview"},
        BadCase{"PreviewOverOtherSize", "good.nii.gz -o a.mha --preview a.png --preview-over zeros.mha", 3,
                "zeros.mha: has 1 × 1 × 3 voxels; expected those of the map, 20 × 18 × 6"},
        BadCase{
            "PreviewOverOtherPlace", "good.nii.gz -o a.mha --preview a.png --preview-over elsewhere.mha", 3,
            "elsewhere.mha: lies elsewhere than the input: spacing 0.75 × 1.25 × 3, not 0.75 × 1.25 × 2.5; "
            "first voxel at "},
        BadCase{"ExistingPreview", "good.nii.gz -o a.mha --preview old.png", 4, "old.png: exists"},
        BadCase{"TwoOutputs", "good.nii.gz -o - --json -", 2, "share standard output"},
        BadCase{"ExistingReport", "good.nii.gz -o a.mha --json notes.txt", 4, "notes.txt: exists"},
        BadCase{"ReportIsInput", "good.nii.gz -o a.mha --json good.nii.gz --force", 4, "is the input"},
        BadCase{"VolumeWord", "good.nii.gz -o a.mha --volume x", 2, "--volume 'x' is no volume number"},
        BadCase{"VolumeBeyond", "good.nii.gz -o a.mha --volume 1", 3, "has no volume 1"},
        BadCase{"SeriesOfNone", "good.nii.gz -o a.mha --series 1.2", 3, "is no DICOM series"},
        BadCase{"DicomAsOutput", "good.nii.gz -o a.dcm", 4, "DICOM files are not written; expected one of"},
        BadCase{"EmptyStandardInput", "- -o a.mha </dev/null", 3,
                "input -: is no NIfTI, MetaImage or NRRD data"},
        BadCase{"CutStandardInput", "- -o a.mha <cut.nii.gz", 3, "damaged or incomplete"},
        BadCase{"VectorVoxels", "vectors.mha -o a.mha", 3, "vectors.mha: holds 3 values a voxel; expected 1"},
        BadCase{"ComplexVoxels", "complex.nii -o a.mha", 3,
                "complex.nii: holds 2 values a voxel; expected 1"},
        BadCase{"InfiniteSpacing", "infinite.mha -o a.mha", 3, "'inf' in ElementSpacing"},
        BadCase{"TwoGigavoxels", "huge.mha -o a.mha", 3,
                "is incomplete: holds 3 bytes of data; expected 2147483647"},
        BadCase{"NegativeSize", "negative.mha -o a.mha", 3, "impossible size of -4"},
        BadCase{"AboveAndLabel", "good.nii.gz -o a.mha --above 1 --label 2", 2, "exclude each other"},
        BadCase{"SliceWord", "good.nii.gz -o a.mha --slice two", 2, "--slice 'two'"},
        BadCase{"SliceNegative", "good.nii.gz -o a.mha --slice -1", 2, "--slice '-1'"},
        BadCase{"SliceBeyond", "good.nii.gz -o a.mha --slice 6", 3,
                "slice 6 is not in the volume; expected 0 to 5"},
        BadCase{"SliceBeyondInYZ", "good.nii.gz -o a.mha --plane yz --slice 20", 3, "expected 0 to 19"},
        BadCase{"MissingInput", "none.nii -o a.mha", 3, "none.nii: no such file"},
        BadCase{"FolderAsInput", "inner.mha -o a.mha", 3, "inner.mha: is a folder"},
        BadCase{"PipeAsInput", "pipe -o a.mha", 3, "pipe: is no regular file"},
        BadCase{"EmptyInput", "empty.nii -o a.mha", 3, "empty.nii: is empty"},
        BadCase{"CutInput", "cut.nii.gz -o a.mha", 3, "cut.nii.gz: is damaged or incomplete"},
        BadCase{"UnknownInputExtension", "notes.txt -o a.mha", 3,
                "notes.txt: unknown extension; expected one of"},
        BadCase{"OtherContent", "letter.nrrd -o a.mha", 3, "letter.nrrd: is no NRRD file"},
        BadCase{"FourDimensions", "four.mha -o a.mha", 3, "four.mha: holds 2 volumes; expected --volume K"},
        BadCase{"UnknownOutputExtension", "good.nii.gz -o a.jpg", 4,
                "a.jpg: unknown extension; expected one of"},
        BadCase{"NoOutputFolder", "good.nii.gz -o none/a.mha", 4, "can't write in folder none: No such file"},
        BadCase{"FileAsOutputFolder", "good.nii.gz -o notes.txt/a.mha", 4, "notes.txt: Not a directory"},
        BadCase{"FolderAsOutput", "good.nii.gz -o inner.mha --force", 4, "inner.mha: is a folder"},
        BadCase{"ExistingOutput", "good.nii.gz -o old.mha", 4,
                "old.mha: exists; expected a new name or --force"},
        BadCase{"OutputIsInput", "good.nii.gz -o ./good.nii.gz --force", 4, "is the input"},
        BadCase{"ReportWithoutName", "good.nii.gz -o a.mha --json ''", 2, "--json '' is no file name"},
        BadCase{"OutputWithoutName", "good.nii.gz -o ''", 2, "--output '' is no file name"},
        BadCase{"NameInBrackets", "'[ct]' -o a.mha", 3, "input [ct]: no such file"},
        BadCase{"AboveTwice", "good.nii.gz -o a.mha --above 5 --above 6", 2,
                "--above is given twice, with '5' and '6'; expected it once"},
        BadCase{"BetweenTwice", "good.nii.gz -o a.mha --between 5 6 --between 7 8", 2, "with '5' and '7'"},
        BadCase{"PhantomAndVolume", "--phantom --volume 3 -o a.mha", 2, "--volume chooses"},
        BadCase{"PhantomAndSeries", "--phantom --series 9 -o a.mha", 2, "--series chooses"},
        BadCase{"PhantomAndUneven", "--phantom --uneven -o a.mha", 2, "--uneven chooses"},
        BadCase{"SelfTestAndMap", "--self-test -o zz.mha good.nii.gz", 2,
                "--self-test tests the library alone"},
        BadCase{"VolumeOfTiff", "one.tif -o a.mha --volume 7", 3,
                "one.tif: has no volume 7; expected --volume 0"},
#ifdef LORB_TOOLS_WITH_VTI
        BadCase{"VolumeOfVti", "one.vti -o a.mha --volume 7", 3,
                "one.vti: has no volume 7; expected --volume 0"},
#endif
        BadCase{"PlaceThatVtkHoldsNot", "good.nii.gz -o a.vtk --memory 10M", 4,
                "a.vtk: legacy VTK can't hold the volume's origin, spacing and direction"},
        BadCase{"PlaceThatTiffHoldsNot", "good.nii.gz -o a.tif --memory 10M", 4, "a.tif: TIFF can't hold"},
        BadCase{"PipeAsDataOfMetaImage", "waiting.detached.mhd -o a.mha", 3, "pipe is no regular file"},
        BadCase{"PipeAsDataOfNrrd", "waiting.detached.nhdr -o a.mha", 3, "pipe is no regular file"},
        BadCase{"ReportIsMap", "good.nii.gz -o a.mha --json ./a.mha", 4, "./a.mha: is written twice"},
        BadCase{"ReportIsPicture", "good.nii.gz -o a.mha --preview p.png --json p.png --force", 4,
                "p.png: is written twice"},
        BadCase{"ReportIsPipe", "good.nii.gz -o a.mha --json pipe --force", 4,
                "pipe: is no regular file; expected a file name or -"},
        BadCase{"ReportIsLinkToPipe", "good.nii.gz -o a.mha --json toPipe --force", 4, "is no regular file"},
        BadCase{"LinkToItself", "good.nii.gz -o loop.mha --force", 4, "is a link that leads nowhere"},
        BadCase{"ReportIsDataOfMetaImage", "detached.mhd -o a.mha --json detached.raw --force", 4,
                "detached.raw: is the input or a part of it; expected another file"},
        BadCase{"MapIsDataOfNrrd", "detached.nhdr -o a.mha --json ./detached.raw --force", 4, "is the input"},
        BadCase{"MapIsImageBeneath",
                "zeros.mha -o halves.mha --preview p.png --preview-over halves.mha --force", 4,
                "halves.mha: is the input"}),
    [](auto const& info) { return info.param.name; });

TEST_P(BadCall, EndsWithOneLineAndChangesNothing) {
  auto const before = contentsOf(folder);
  Outcome const outcome = runTool(folder.path(), GetParam().arguments);
  EXPECT_EQ(outcome.exitCode, GetParam().exitCode);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
  EXPECT_TRUE(outcome.err.starts_with("lorb-distance: ")) << outcome.err;
  EXPECT_NE(outcome.err.find(GetParam().says), std::string::npos) << outcome.err;
  EXPECT_TRUE(contentsOf(folder) == before) << "files have changed";
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
  Outcome const outcome = runTool(folder.path(), "good.nii.gz --force -o old." + GetParam(), "ulimit -f 1");
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

TEST_F(Tool, KeepsModeAndOwnerOfWhatItReplaces) {
  fs::path const old = folder / "old.mha";
  fs::permissions(old, fs::perms(0640));
  bool const mayGiveAway = chown(old.c_str(), 1234, 4321) == 0;
  EXPECT_EQ(runTool(folder.path(), "good.nii.gz -o old.mha --force").exitCode, 0);
  EXPECT_EQ(readVolume(old).voxels->type_id(), typeFloat);
  struct stat status;
  ASSERT_EQ(stat(old.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0640U);
  if (!mayGiveAway) return;
  EXPECT_EQ(status.st_uid, 1234U);
  EXPECT_EQ(status.st_gid, 4321U);
}

TEST_F(Tool, FollowsALinkToTheFileThatItReplaces) {
  fs::create_symlink("old.mha", folder / "link.mha");
  EXPECT_EQ(runTool(folder.path(), "good.nii.gz -o link.mha --force").exitCode, 0);
  EXPECT_TRUE(fs::is_symlink(folder / "link.mha"));
  EXPECT_EQ(readVolume(folder / "old.mha").voxels->type_id(), typeFloat);
}

TEST_F(Tool, MakesTheFileThatALinkPromises) {
  fs::create_symlink("new.mha", folder / "link.mha");
  EXPECT_EQ(runTool(folder.path(), "good.nii.gz -o link.mha --force").exitCode, 0);
  EXPECT_TRUE(fs::is_symlink(folder / "link.mha"));
  EXPECT_EQ(readVolume(folder / "new.mha").voxels->type_id(), typeFloat);
}

TEST_F(Tool, LeavesWhatSomebodyElseMakesMeanwhile) {
  auto const before = contentsOf(folder);
  Outcome const outcome = runTool(folder.path(), "- -o a.mha --json late.json <pipe",
                                  "{ (exec 3>pipe; until ls -d .lorb-distance-*; do sleep 0.01; done;"
                                  " echo mine >late.json; cat good.nii.gz >&3) >/dev/null 2>&1 & }");
  EXPECT_EQ(outcome.exitCode, 4);
  EXPECT_NE(outcome.err.find("late.json: exists; expected a new name or --force"), std::string::npos);
  auto after = contentsOf(folder);
  EXPECT_EQ(after["late.json"], "mine\n");
  after.erase("late.json");
  EXPECT_TRUE(after == before) << "files have changed";
}

TEST_F(Tool, ReplacesNothingWhenOneFileCannotBeWritten) {
  auto const byUser = byNobody();
  if (!byUser) GTEST_SKIP() << "nobody can't run it";
  fs::permissions(folder.path(), fs::perms::all);
  fs::create_directory(folder / "locked");
  fs::permissions(folder / "locked", fs::perms::owner_read | fs::perms::owner_exec | fs::perms::others_exec);
  auto const before = contentsOf(folder);
  for (std::string const file : {"--json locked/r.json", "--preview locked/p.png"}) {
    Outcome const outcome = runTool(folder.path(), "good.nii.gz -o old.mha --force " + file, "true", *byUser);
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_NE(outcome.err.find("locked: Permission denied"), std::string::npos) << outcome.err;
    EXPECT_TRUE(contentsOf(folder) == before) << "files have changed";
  }
}

TEST_F(Tool, SaysWhatMayNotBeRead) {
  auto const byUser = byNobody();
  if (!byUser) GTEST_SKIP() << "nobody can't run it";
  fs::permissions(folder.path(), fs::perms::all);
  for (char const* name : {"folder", "closed"}) fs::create_directory(folder / name);
  fs::copy(folder / "good.nii.gz", folder / "closed" / "good.nii.gz");
  writeContent(folder / "folder" / "1.dcm", "a slice");
  for (char const* name :
       {"u.nii", "u.mha", "u.nrrd", "u.tif", "u.vtk", "u.vti", "folder/1.dcm", "detached.raw"}) {
    std::ofstream(folder / name, std::ios::app) << "content";
    fs::permissions(folder / name, fs::perms::none);
  }
  fs::permissions(folder / "closed", fs::perms::none);
  fs::permissions(folder / "folder", fs::perms::owner_all | fs::perms::others_read | fs::perms::others_exec);
  auto const complaint = [&](std::string const& input) {
    Outcome const outcome = runTool(folder.path(), input + " -o a.mha", "true", *byUser);
    EXPECT_EQ(outcome.exitCode, 3) << input;
    return outcome.err;
  };
  for (std::string const name : {"u.nii", "u.mha", "u.nrrd", "u.tif", "u.vtk", "u.vti", "folder/1.dcm"}) {
    EXPECT_EQ(complaint(name), "lorb-distance: input " + name + ": can't be opened: Permission denied\n");
  }
  EXPECT_NE(complaint("closed/good.nii.gz").find("good.nii.gz: can't be reached: Permission denied"),
            std::string::npos);
  EXPECT_NE(complaint("closed").find("closed: can't be listed: Permission denied"), std::string::npos);
  EXPECT_NE(complaint("folder").find("its file 1.dcm can't be opened: Permission denied"), std::string::npos);
  EXPECT_NE(complaint("detached.mhd").find("detached.raw can't be opened: Permission denied"),
            std::string::npos);
  fs::permissions(folder / "closed", fs::perms::owner_all);
}

TEST_F(Tool, WarnsOfAnEmptyAndOfAFullObject) {
  auto const value = [&] {
    Volume const map = readVolume(folder / "map.mha");
    return static_cast<DistanceMap const&>(*map.voxels)(3, 4, 5);
  };
  Outcome const empty = runTool(folder.path(), "good.nii.gz -o map.mha --above 40000");
  EXPECT_EQ(empty.exitCode, 0);
  EXPECT_NE(empty.err.find("is empty; with no boundary"), std::string::npos) << empty.err;
  EXPECT_NE(empty.err.find("+26.907248"), std::string::npos) << empty.err;
  EXPECT_NE(empty.out.find("\nfilled: 6 of 6 slices without a boundary, with +26.907248: 0-5\n"),
            std::string::npos)
      << empty.out;
  EXPECT_EQ(value(), std::sqrt(724.0F));
  Outcome const full = runTool(folder.path(), "good.nii.gz -o map.mha --above -40000 --force");
  EXPECT_EQ(full.exitCode, 0);
  EXPECT_NE(full.err.find("fills everything"), std::string::npos) << full.err;
  EXPECT_EQ(value(), -std::sqrt(724.0F));
}

TEST_F(Tool, TakesNegativeNumbers) {
  EXPECT_EQ(runTool(folder.path(), "good.nii.gz -o a.mha --label -32768").exitCode, 0);
  EXPECT_EQ(runTool(folder.path(), "good.nii.gz -o b.mha --above -1.5").exitCode, 0);
  EXPECT_EQ(runTool(folder.path(), "good.nii.gz -o c.mha --above +5").exitCode, 0);
}

TEST_F(Tool, SaysThatThereIsNoFolderForTemporaryFiles) {
  for (auto const& [arguments, code] :
       {std::pair("good.nii.gz -o -", 4), std::pair("- -o a.mha <good.nii.gz", 3)}) {
    Outcome const outcome = runTool(folder.path(), arguments, "export TMPDIR=/nonexistent");
    EXPECT_EQ(outcome.exitCode, code) << outcome.err;
    EXPECT_NE(outcome.err.find("folder /nonexistent: No such file"), std::string::npos) << outcome.err;
  }
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
                           "--force", ".nii.gz", "Exit codes: 0 done, 2 usage, 3 input, 4 output"}) {
    EXPECT_NE(help.out.find(part), std::string::npos) << part;
  }
}

DistanceMap const& mapIn(Volume const& volume) {
  return static_cast<DistanceMap const&>(*volume.voxels);
}

/// The map that the tool makes with these arguments.
Volume mapOf(fs::path const& folder, std::string const& arguments) {
  Outcome const outcome = runTool(folder, arguments + " -o made.nii --force");
  EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
  return readVolume(folder / "made.nii");
}

/// Whole numbers from −3 to 3, in isotropic voxels of 0.5 mm.
Volume labelVolume() {
  Volume volume;
  volume.geometry.spacing = {0.5, 0.5, 2.0};
  auto voxels = std::make_unique<TImageDataset<short, 3>>(Extents{12, 10, 5});
  for (std::size_t k = 0; k < voxels->voxels().size(); ++k) {
    voxels->voxels()[k] = static_cast<short>(k * k * 7919 % 1009 % 7) - 3;
  }
  volume.voxels = std::move(voxels);
  return volume;
}

class ToolObject : public testing::TestWithParam<std::pair<char const*, bool (*)(short)>> {};
INSTANTIATE_TEST_SUITE_P(
    ChosenBy, ToolObject,
    testing::Values(std::pair(
                        "", +[](short v) { return v > 0; }),
                    std::pair(
                        "--above 1", +[](short v) { return v > 1; }),
                    std::pair(
                        "--below -1", +[](short v) { return v < -1; }),
                    std::pair(
                        "--between -1 2", +[](short v) { return v >= -1 && v <= 2; }),
                    std::pair(
                        "--label 2", +[](short v) { return v == 2; }),
                    std::pair(
                        "--label 2 --label -3", +[](short v) { return v == 2 || v == -3; }),
                    std::pair(
                        "--between -1 2 --invert", +[](short v) { return v < -1 || v > 2; })),
    [](auto const& info) { return "Rule" + std::to_string(info.index); });

TEST_P(ToolObject, IsWhatTheMapIsNegativeIn) {
  TemporaryFolder const folder;
  Volume const labels = labelVolume();
  writeVolume(labels, folder / "labels.nrrd", false);
  Volume const map = mapOf(folder.path(), std::string("labels.nrrd ") + GetParam().first);
  auto const& values = static_cast<TImageDataset<short, 3> const&>(*labels.voxels).pages[0].data;
  for (std::size_t k = 0; k < values.size(); ++k) {
    EXPECT_EQ(mapIn(map).pages[0].data[k] < 0.0F, GetParam().second(values[k])) << values[k];
  }
}

TEST(ToolMaps, EachLabelHasOneOfItsOwn) {
  TemporaryFolder const folder;
  writeVolume(labelVolume(), folder / "labels.nrrd", false);
  EXPECT_EQ(runTool(folder.path(), "labels.nrrd --each-label -o m.nii.gz").exitCode, 0);
  EXPECT_EQ(folder.names(), (std::set<std::string>{"labels.nrrd", "m--3.nii.gz", "m--2.nii.gz", "m--1.nii.gz",
                                                   "m-1.nii.gz", "m-2.nii.gz", "m-3.nii.gz"}));
  EXPECT_TRUE(equalVoxels(*readVolume(folder / "m-2.nii.gz").voxels,
                          *mapOf(folder.path(), "labels.nrrd --label 2").voxels));
  fs::remove(folder / "m--3.nii.gz");
  Outcome const again = runTool(folder.path(), "labels.nrrd --each-label -o m.nii.gz");
  EXPECT_EQ(again.exitCode, 4);
  EXPECT_NE(again.err.find("m--2.nii.gz: exists"), std::string::npos) << again.err;
  EXPECT_FALSE(fs::exists(folder / "m--3.nii.gz")) << "nothing is written when one can't be";
  auto const before = contentsOf(folder);
  Outcome const twice = runTool(folder.path(), "labels.nrrd --each-label -o m.mha --json m-1.mha --force");
  EXPECT_EQ(twice.exitCode, 4);
  EXPECT_NE(twice.err.find("m-1.mha: is written twice"), std::string::npos) << twice.err;
  EXPECT_TRUE(contentsOf(folder) == before) << "files have changed";
}

TEST(ToolMaps, EachLabelMayBeInvertedAndIsCounted) {
  TemporaryFolder const folder;
  Volume const volume = labelVolume();
  writeVolume(volume, folder / "labels.nrrd", false);
  Outcome const outcome = runTool(folder.path(), "labels.nrrd --each-label --invert -o m.nii");
  EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
  auto const& labels = static_cast<TImageDataset<short, 3> const&>(*volume.voxels).pages[0].data;
  for (int const label : {-3, -2, -1, 1, 2, 3}) {
    Volume const map = readVolume(folder / ("m-" + std::to_string(label) + ".nii"));
    int inside = 0;
    for (std::size_t k = 0; k < labels.size(); ++k) {
      EXPECT_EQ(mapIn(map).pages[0].data[k] < 0.0F, labels[k] != label);
      inside += labels[k] != label;
    }
    // 600 voxels: six of them are a per cent
    std::string const cents = std::to_string((inside * 10000 + 300) / 600 % 100);
    std::string const percent = std::to_string(inside / 6) + (cents.size() < 2 ? ".0" : ".") + cents;
    std::string const line = "object: all but label " + std::to_string(label) + ": " +
                             std::to_string(inside) + " of 600 voxels (" + percent + " %)\n";
    EXPECT_NE(outcome.out.find(line), std::string::npos) << outcome.out << " lacks " << line;
  }
}

TEST(ToolMaps, MillimetresAreVoxelsTimesTheSpacing) {
  TemporaryFolder const folder;
  writeVolume(labelVolume(), folder / "labels.nrrd", false);
  Volume const voxels = mapOf(folder.path(), "labels.nrrd"),
               mm = mapOf(folder.path(), "labels.nrrd --units mm");
  for (std::size_t k = 0; k < mapIn(mm).pages[0].data.size(); ++k) {
    EXPECT_EQ(mapIn(mm).pages[0].data[k], mapIn(voxels).pages[0].data[k] * 0.5F);
  }
  Outcome const oblong = runTool(folder.path(), "labels.nrrd --units mm --plane xz -o a.mha");
  EXPECT_EQ(oblong.exitCode, 3);
  EXPECT_NE(oblong.err.find("0.5 × 2 mm in plane xz"), std::string::npos) << oblong.err;
}

TEST(ToolMaps, SlicesWithoutABoundaryHoldWhatWasChosen) {
  TemporaryFolder const folder;
  writeVolume(labelVolume(), folder / "labels.nrrd", false);
  std::string const full = "labels.nrrd --above -9 ";
  EXPECT_EQ(mapIn(mapOf(folder.path(), full))(1, 2, 3), -std::sqrt(244.0F));
  EXPECT_EQ(mapIn(mapOf(folder.path(), full + "--units mm"))(1, 2, 3), -std::sqrt(244.0F) * 0.5F);
  EXPECT_EQ(mapIn(mapOf(folder.path(), full + "--no-boundary constant --units mm"))(1, 2, 3), -244.0F);
  EXPECT_EQ(mapIn(mapOf(folder.path(), full + "--no-boundary diagonal"))(1, 2, 3), -std::sqrt(244.0F));
  EXPECT_TRUE(std::isnan(mapIn(mapOf(folder.path(), full + "--no-boundary nan"))(1, 2, 3)));
  Outcome const warned = runTool(folder.path(), full + "--no-boundary nan -o a.mha");
  EXPECT_NE(warned.err.find("fills everything; with no boundary to measure to, the map holds NaN throughout"),
            std::string::npos)
      << warned.err;
}

TEST(ToolMaps, AreTheSameOnEveryNumberOfThreads) {
  TemporaryFolder const folder;
  for (char const* plane : {"xy", "xz", "yz"}) {
    for (char const* threads : {"1", "2", "5"}) {
      std::string const arguments = std::string("--phantom --plane ") + plane + " --threads " + threads;
      EXPECT_EQ(runTool(folder.path(), arguments + " --force -o " + threads + ".nii").exitCode, 0);
    }
    EXPECT_EQ(contentOf(folder / "1.nii"), contentOf(folder / "2.nii")) << plane;
    EXPECT_EQ(contentOf(folder / "1.nii"), contentOf(folder / "5.nii")) << plane;
  }
}

TEST(ToolMaps, GoThroughStandardStreams) {
  TemporaryFolder const folder;
  writeVolume(labelVolume(), folder / "labels.nrrd", false);
  writeVolume(labelVolume(), folder / "labels.mha", false);
  writeVolume(labelVolume(), folder / "labels.nii.gz", false);
  Volume const expected = mapOf(folder.path(), "labels.nrrd");
  for (char const* input : {"labels.nrrd", "labels.mha", "labels.nii.gz"}) {
    Outcome const outcome = runTool(folder.path(), std::string("- -o - <") + input);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_NE(outcome.err.find("object: values > 0"), std::string::npos) << outcome.err;
    writeContent(folder / "out.nrrd", outcome.out);
    EXPECT_TRUE(equalVoxels(*readVolume(folder / "out.nrrd").voxels, *expected.voxels)) << input;
  }
}

TEST(ToolMaps, MustArriveOnStandardOutput) {
  TemporaryFolder const folder;
  writeVolume(labelVolume(), folder / "labels.mha", false);
  for (char const* output : {" >/dev/full", " >&-"}) {
    for (std::string const arguments : {"labels.mha -o -", "labels.mha -o new.mha --json -", "--help",
                                        "--man", "--completion", "--version"}) {
      Outcome const outcome = runTool(folder.path(), arguments + output);
      EXPECT_EQ(outcome.exitCode, 4) << arguments << output;
      EXPECT_TRUE(outcome.err.starts_with("lorb-distance: output -: ")) << arguments << output << outcome.err;
      EXPECT_EQ(folder.names(), std::set<std::string>{"labels.mha"});
    }
    // Lines for people are no reason to lose a map, but to be told of.
    Outcome const told = runTool(folder.path(), std::string("labels.mha -o map.mha --force") + output);
    EXPECT_EQ(told.exitCode, 4);
    EXPECT_NE(told.err.find("standard output takes no text"), std::string::npos) << told.err;
    EXPECT_EQ(readVolume(folder / "map.mha").voxels->type_id(), typeFloat);
    fs::remove(folder / "map.mha");
    EXPECT_EQ(runTool(folder.path(), std::string("labels.mha -q -o map.mha") + output).exitCode, 0);
    fs::remove(folder / "map.mha");
  }
  EXPECT_EQ(runTool(folder.path(), "- -o a.mha <&-").exitCode, 3);
  EXPECT_EQ(runTool(folder.path(), "labels.mha -o - -q 2>&- >map.nrrd").exitCode, 0);
  EXPECT_EQ(readVolume(folder / "map.nrrd").voxels->type_id(), typeFloat);
}

TEST(ToolMaps, ArePicturedOnDemand) {
  TemporaryFolder const folder;
  writeVolume(labelVolume(), folder / "labels.nrrd", false);
  std::string const png = "\x89PNG\r\n";
  EXPECT_EQ(runTool(folder.path(), "labels.nrrd -o a.mha --preview a.png").exitCode, 0);
  EXPECT_EQ(runTool(folder.path(), "labels.nrrd -o b.mha --preview b.png").exitCode, 0);
  EXPECT_TRUE(contentOf(folder / "a.png").starts_with(png));
  EXPECT_EQ(contentOf(folder / "a.png"), contentOf(folder / "b.png"));
  EXPECT_EQ(runTool(folder.path(), "labels.nrrd -o c.mha --preview c.png --preview-over input").exitCode, 0);
  EXPECT_EQ(
      runTool(folder.path(), "labels.nrrd -o d.mha --preview d.png --preview-over labels.nrrd --units mm")
          .exitCode,
      0);
  EXPECT_NE(contentOf(folder / "a.png"), contentOf(folder / "c.png"));
  EXPECT_NE(contentOf(folder / "d.png"), contentOf(folder / "c.png")) << "by the unit";
  EXPECT_EQ(runTool(folder.path(), "labels.nrrd -o m.mha --each-label --preview m.png").exitCode, 0);
  EXPECT_TRUE(contentOf(folder / "m-2.png").starts_with(png));
  EXPECT_TRUE(contentOf(folder / "m--3.png").starts_with(png));
}

TEST(ToolMaps, LibraryIsTestedOnDemand) {
  TemporaryFolder const folder;
  Outcome const outcome = runTool(folder.path(), "--self-test");
  EXPECT_EQ(outcome.exitCode, 0);
  // a line for each instruction set, and the verdict
  EXPECT_GE(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 2) << outcome.out;
  EXPECT_TRUE(outcome.out.ends_with("self-test passed\n")) << outcome.out;
}

/// A volume that is not taken in at once with little memory, and is made in an instant.
void writeLargeVolume(fs::path const& path) {
  std::string const size = "200 200 400";
  writeContent(path, "ObjectType = Image\nNDims = 3\nBinaryData = True\nDimSize = " + size +
                         "\nElementSpacing = 0.5 0.5 2\nElementType = MET_UCHAR\nElementDataFile = LOCAL\n");
  std::ofstream file(path, std::ios::binary | std::ios::app);
  std::string slice(200 * 200, '\0');
  for (int z = 0; z < 400; ++z) {
    slice[static_cast<std::size_t>(z * 7919 % 40000)] = 1;
    file << slice;
  }
}

TEST(ToolMaps, FitIntoLittleMemory) {
  TemporaryFolder const folder;
  writeLargeVolume(folder / "large.mha");
  for (char const* plane : {"xy", "xz", "yz"}) {
    std::string const arguments = std::string("large.mha --force -v --threads 2 --plane ") + plane;
    Outcome const whole = runTool(folder.path(), arguments + " -o whole.nii --memory 2G");
    Outcome const slabs = runTool(
        folder.path(), arguments + " -o slabs.mha --memory 150M --json slabs.json --preview slabs.png");
    EXPECT_EQ(whole.exitCode, 0) << whole.err;
    EXPECT_EQ(slabs.exitCode, 0) << slabs.err;
    EXPECT_EQ(slabs.out.find(" of 400 slices at a time") != std::string::npos, std::string(plane) == "xy");
    EXPECT_EQ(slabs.out.find("400 of 400"), std::string::npos) << slabs.out;
    EXPECT_EQ(slabs.out.find("200 of 200"), std::string::npos) << slabs.out;
    EXPECT_TRUE(
        equalVoxels(*readVolume(folder / "slabs.mha").voxels, *readVolume(folder / "whole.nii").voxels))
        << plane;
    std::string const report = contentOf(folder / "slabs.json");
    auto const peak = std::stoull(report.substr(report.find("\"peakBytes\": ") + 13));
    EXPECT_TRUE(test::isSanitized || peak < (150U << 20)) << plane << ": " << peak;
    EXPECT_GT(peak, 1U << 20);
  }
  // Compressed data is written in the order of the voxels, which slabs of other planes are not in.
  EXPECT_EQ(runTool(folder.path(), "large.mha -o a.nii.gz --memory 150M").exitCode, 0);
  EXPECT_EQ(runTool(folder.path(), "a.nii.gz -o b.nrrd --memory 150M").exitCode, 0);
  Outcome const refused = runTool(folder.path(), "large.mha -o b.nii.gz --plane xz --memory 150M");
  EXPECT_EQ(refused.exitCode, 5);
  EXPECT_NE(refused.err.find("large.mha: its map takes about "), std::string::npos) << refused.err;
  EXPECT_NE(refused.err.find("and there are 150 MiB; expected more, or what is made slab by slab: "),
            std::string::npos)
      << refused.err;
  EXPECT_EQ(runTool(folder.path(), "large.mha -o a.mha --memory 20M").exitCode, 5);
}

TEST(ToolMaps, LeaveTheOlderFileOnAFullDisk) {
  if (std::system("unshare -m true 2>/dev/null") != 0) GTEST_SKIP() << "may not mount";
  TemporaryFolder const folder;
  fs::create_directory(folder / "small");
  std::string const mount = "mount -t tmpfs -o size=256k none small && echo older >small/old.mha";
  std::string const look = "; ls -A small; cat small/old.mha";
  for (std::string const& arguments : {std::string("--phantom"), std::string("large.mha --memory 150M")}) {
    writeLargeVolume(folder / "large.mha");
    std::string const command =
        mount + "; '" LORB_DISTANCE "' " + arguments + " -o small/old.mha --force 2>&1; echo \\$?" + look;
    std::string const out = (folder / "out").string();
    EXPECT_EQ(
        std::system(
            ("cd '" + folder.path().string() + "' && unshare -m sh -c \"" + command + "\" >" + out).c_str()),
        0);
    std::string const seen = contentOf(out);
    EXPECT_TRUE(seen.starts_with("lorb-distance: output small/old.mha: ")) << seen;
    EXPECT_TRUE(seen.ends_with("\n4\nold.mha\nolder\n")) << seen;
  }
}

TEST(ToolMaps, LeaveTheOlderFileOnAReadOnlyDisk) {
  if (std::system("unshare -m true 2>/dev/null") != 0) GTEST_SKIP() << "may not mount";
  TemporaryFolder const folder;
  fs::create_directory(folder / "small");
  std::string const command =
      "mount -t tmpfs none small && echo older >small/old.mha && mount -o remount,ro small;"
      " '" LORB_DISTANCE
      "' --phantom -o small/old.mha --force 2>&1; echo \\$?; ls -A small; cat small/old.mha";
  EXPECT_EQ(std::system(
                ("cd '" + folder.path().string() + "' && unshare -m sh -c \"" + command + "\" >out").c_str()),
            0);
  std::string const seen = contentOf(folder / "out");
  EXPECT_TRUE(seen.starts_with("lorb-distance: output small/old.mha: can't write in folder ")) << seen;
  EXPECT_TRUE(seen.ends_with("small: Read-only file system\n4\nold.mha\nolder\n")) << seen;
}

TEST(ToolMaps, QuietIsSilent) {
  TemporaryFolder const folder;
  Outcome const outcome = runTool(folder.path(), "--phantom -q -o a.mha");
  EXPECT_EQ(outcome.exitCode, 0);
  EXPECT_EQ(outcome.out + outcome.err, "");
  Outcome const verbose = runTool(folder.path(), "--phantom -v -o b.mha --threads 2");
  for (char const* part : {"compute ", " s on 2 threads", "memory: ", "64 of 64 slices at a time"}) {
    EXPECT_NE(verbose.out.find(part), std::string::npos) << verbose.out;
  }
}

}  // namespace
}  // namespace lorb::tools
