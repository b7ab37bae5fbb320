#include "tools/output/namePattern.h"

#include "tests/tools/TemporaryFolder.h"
#include "tools/base/errors.h"

#include <gtest/gtest.h>

namespace lorb::tools {
namespace {

std::string nameOfMap(std::filesystem::path const& input, std::string const& pattern) {
  NameParts parts = namePartsOf(input);
  parts["label"] = "7";
  return nameFrom(pattern, parts, "--name", input);
}

std::string defaultName(std::filesystem::path const& input, bool withLabels) {
  return nameOfMap(input, defaultNamePattern(input, withLabels));
}

TEST(NamePattern, ReplacesWordsInBraces) {
  EXPECT_EQ(nameOfMap("a/b.nii.gz", "{stem}_desc-{label}_sdt{ext}"), "b_desc-7_sdt.nii.gz");
  EXPECT_EQ(nameOfMap("a/b.nii.gz", "{folder}/{stem}.mha"), "a/b.mha");
  EXPECT_EQ(nameOfMap("b.nrrd", "plain.nrrd"), "plain.nrrd");
}

TEST(NamePattern, EntitiesAreThoseOfBids) {
  std::filesystem::path const input = "sub-01_ses-2_desc-brain_mask.nii";
  EXPECT_EQ(nameOfMap(input, "sub-{sub}/ses-{ses}/{entities}_{suffix}{ext}"),
            "sub-01/ses-2/sub-01_ses-2_desc-brain_mask.nii");
  for (char const* other : {"sub-01.nii", "brain_mask.nii", "sub-01_ses_mask.nii", "sub-01_T1 w.nii"}) {
    EXPECT_EQ(namePartsOf(other).count("suffix"), 0U) << other;
    EXPECT_EQ(namePartsOf(other)["entities"], namePartsOf(other)["stem"]) << other;
  }
}

TEST(NamePattern, DefaultsKeepEntitiesInTheOrderOfBids) {
  EXPECT_EQ(defaultName("sub-01_desc-brain_mask.nii.gz", false), "sub-01_desc-brain_sdt.nii.gz");
  EXPECT_EQ(defaultName("sub-01_space-T1w_desc-brain_dseg.nii.gz", true),
            "sub-01_space-T1w_label-7_desc-brain_sdt.nii.gz");
  EXPECT_EQ(defaultName("sub-01_label-GM_probseg.nii.gz", true), "sub-01_label-7_sdt.nii.gz");
  EXPECT_EQ(defaultName("scan.v2.nrrd", false), "scan.v2_sdt.nrrd");
  EXPECT_EQ(defaultName("scan.nrrd", true), "scan_label-7_sdt.nrrd");
}

TEST(NamePattern, MapsOfOtherFilesAreNifti) {
  EXPECT_EQ(defaultName("slice.dcm", false), "slice_sdt.nii.gz");
  EXPECT_EQ(defaultName("1.2.840.1", false), "1.2.840.1_sdt.nii.gz");
  EXPECT_EQ(defaultName("a.mhd", false), "a_sdt.mha");
}

TEST(NamePattern, FoldersAreNamedWithoutTheirSlash) {
  TemporaryFolder const folder;
  std::filesystem::create_directory(folder / "ct.v1");
  EXPECT_EQ(defaultName(folder.path() / "ct.v1/", false), "ct.v1_sdt.nii.gz");
  EXPECT_EQ(defaultName(folder.path() / "ct.v1/.", false), "ct.v1_sdt.nii.gz");
}

TEST(NamePattern, RefusesWhatStandsForNothing) {
  for (char const* pattern : {"{ses}", "{", "{stem", "{}", "a{ext}{none}"}) {
    EXPECT_THROW(nameOfMap("a.nii", pattern), UsageError) << pattern;
  }
}

TEST(NamePattern, LabelsReplaceTheirWordOrComeLast) {
  EXPECT_EQ(withLabel("out/map.nii.gz", 77), "out/map-77.nii.gz");
  EXPECT_EQ(withLabel("map.png", -3), "map--3.png");
  EXPECT_EQ(withLabel("{label}/a_label-{label}_sdt.nii", 5), "5/a_label-5_sdt.nii");
  EXPECT_EQ(withExtension("out/map.v2.nii.gz", ".json"), "out/map.v2.json");
}

}  // namespace
}  // namespace lorb::tools
