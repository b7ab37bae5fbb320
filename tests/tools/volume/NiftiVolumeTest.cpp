#include "tests/tools/TemporaryFolder.h"
#include "tests/tools/sampleVolumes.h"
#include "tools/base/errors.h"
#include "tools/volume/VolumeFile.h"
#include "tools/volume/formatTable.h"
#include "tools/volume/niftiHeader.h"

#include <gtest/gtest.h>
#include <nifti/nifti1.h>
#include <nifti/nifti2.h>

#include <cstring>
#include <functional>
#include <limits>

namespace lorb::tools {
namespace {

namespace fs = std::filesystem;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

/// A file of 3 × 2 × 2 voxels of Int16 that count up from 0, its header as changed by `change`.
template <class Raw>
std::string niftiFile(std::function<void(Raw&)> const& change, bool isPair = false) {
  std::vector<char> head = niftiFileHead(typeInt16, {3, 2, 2}, {});
  if (std::is_same_v<Raw, nifti_2_header>) {
    NiftiNotes notes;
    notes.isVersion2 = true;
    head = niftiFileHead(typeInt16, {3, 2, 2}, notes);
  }
  Raw raw;
  std::memcpy(&raw, head.data(), sizeof raw);
  for (int k = 1; k < 4; ++k) raw.pixdim[k] = 1;
  if (isPair) {
    raw.magic[1] = 'i';
    raw.vox_offset = 0;
  }
  change(raw);
  std::memcpy(head.data(), &raw, sizeof raw);
  std::string content(head.begin(), head.end());
  if (isPair) return content.substr(0, sizeof raw);
  for (short k = 0; k < 12; ++k) content.append(reinterpret_cast<char const*>(&k), sizeof k);
  return content;
}

std::string niftiFile(std::function<void(nifti_1_header&)> const& change) {
  return niftiFile<nifti_1_header>(change);
}

class NiftiVolume : public testing::Test {
 protected:
  std::unique_ptr<VolumeSource> open(std::string const& content, std::string const& name = "a.nii") const {
    writeContent(folder / name, content);
    return openVolume(folder / name);
  }

  /// The line with which a file is refused.
  std::string complaint(std::string const& content) const try {
    auto const source = open(content);
    source->read(wholeRegion(source->header().extents));
    return "read without complaint";
  } catch (InputError const& error) {
    return error.what();
  }

  void expectComplaint(std::function<void(nifti_1_header&)> const& change, std::string const& part) const {
    std::string const line = complaint(niftiFile(change));
    EXPECT_NE(line.find(part), std::string::npos) << line;
  }

  TemporaryFolder folder;
};

template <class Raw>
void setRow(Raw& row, double x, double y, double z, double offset) {
  row[0] = static_cast<float>(x);
  row[1] = static_cast<float>(y);
  row[2] = static_cast<float>(z);
  row[3] = static_cast<float>(offset);
}

/// Axes to the left, anterior and superior by the matrix, and to the right, anterior and superior by the
/// quaternion.
void placeTwice(nifti_1_header& raw) {
  setRow(raw.srow_x, -2, 0, 0, 10);
  setRow(raw.srow_y, 0, 2, 0, 20);
  setRow(raw.srow_z, 0, 0, 2, 30);
  for (int k = 1; k < 4; ++k) raw.pixdim[k] = 2;
  raw.pixdim[0] = 1;
  raw.qoffset_x = 10;
  raw.qoffset_y = 20;
  raw.qoffset_z = 30;
  raw.sform_code = 4;
  raw.qform_code = 1;
}

TEST_F(NiftiVolume, IsPlacedByItsMatrixWhereThatHasACode) {
  auto const source = open(niftiFile(placeTwice));
  EXPECT_EQ(source->header().geometry.direction[0], (Vector3{1, 0, 0}));
  EXPECT_EQ(source->header().geometry.origin, (Vector3{-10, -20, 30}));
  ASSERT_EQ(source->notices.size(), 1U);
  EXPECT_EQ(source->notices[0],
            "input " + (folder / "a.nii").string() +
                ": places its voxels twice, up to 8 mm apart; took the sform (code 4), not "
                "the qform (code 1)");
}

TEST_F(NiftiVolume, IsPlacedByItsQuaternionWhereTheMatrixHasNoCode) {
  auto const source = open(niftiFile([](nifti_1_header& raw) {
    placeTwice(raw);
    raw.sform_code = 0;
  }));
  EXPECT_EQ(source->header().geometry.direction[0], (Vector3{-1, 0, 0}));
  EXPECT_TRUE(source->header().inPatient);
  EXPECT_TRUE(source->notices.empty());
}

TEST_F(NiftiVolume, SaysNothingOfPlacementsThatDifferByRounding) {
  Volume volume = sampleVolume(typeInt16);
  writeVolume(volume, folder / "a.nii", false);
  auto const source = openVolume(folder / "a.nii");
  EXPECT_EQ(source->header().notes->qformCode, 1);
  EXPECT_EQ(source->header().notes->sformCode, 1);
  EXPECT_TRUE(source->notices.empty());
}

TEST_F(NiftiVolume, SaysThatItsMatrixHasOtherVoxelsThanItsHeader) {
  auto const source = open(niftiFile([](nifti_1_header& raw) {
    placeTwice(raw);
    raw.qform_code = 0;
    raw.pixdim[3] = 5;
  }));
  ASSERT_EQ(source->notices.size(), 1U);
  EXPECT_NE(
      source->notices[0].find("has voxels of 2 × 2 × 2 mm by its sform, which was taken, and of 2 × 2 × 5"),
      std::string::npos);
}

TEST_F(NiftiVolume, WithoutPlacementHasItsSpacingAndNoDirectionsInAPatient) {
  auto const source = open(niftiFile([](nifti_1_header& raw) {
    placeTwice(raw);
    raw.qform_code = raw.sform_code = 0;
  }));
  EXPECT_FALSE(source->header().inPatient);
  EXPECT_EQ(source->header().geometry.position({1, 1, 1}), (Vector3{-2, -2, 2}));
  ASSERT_EQ(source->notices.size(), 1U);
  EXPECT_NE(source->notices[0].find("says no directions"), std::string::npos);
}

TEST_F(NiftiVolume, IsMeasuredInItsUnits) {
  for (auto const& [unit, millimetres] : {std::pair{1, 2000.0}, {2, 2.0}, {3, 0.002}, {0, 2.0}}) {
    auto const source = open(niftiFile([unit = unit](nifti_1_header& raw) {
      placeTwice(raw);
      raw.xyzt_units = static_cast<char>(unit);
    }));
    EXPECT_DOUBLE_EQ(source->header().geometry.spacing[0], millimetres);
    EXPECT_DOUBLE_EQ(source->header().geometry.origin[2], 15 * millimetres);
  }
}

TEST_F(NiftiVolume, RefusesPlacesThatAreNone) {
  auto const withPlace = [](auto change) {
    return [change](nifti_1_header& raw) {
      placeTwice(raw);
      change(raw);
    };
  };
  auto const spoilt = "is placed by numbers that are not finite";
  expectComplaint(withPlace([](auto& raw) { raw.pixdim[2] = float(nan); }), "has spacing 2 × nan × 2");
  expectComplaint(withPlace([](auto& raw) { raw.quatern_c = float(nan); }), spoilt);
  expectComplaint(withPlace([](auto& raw) { raw.srow_y[3] = float(nan); }), spoilt);
  expectComplaint(withPlace([](auto& raw) { setRow(raw.srow_y, 0, 0, 0, 0); }), "has spacing 2 × 0 × 2");
  expectComplaint(withPlace([](auto& raw) {
                    raw.sform_code = 0;
                    raw.quatern_c = 2;
                  }),
                  "is placed by the quaternion 0 × 2 × 0; expected one no longer than 1");
}

TEST_F(NiftiVolume, ThatIsTooShortIsRefusedBeforeItIsRead) {
  std::string const whole = niftiFile([](nifti_1_header&) {});
  EXPECT_THROW(open(whole.substr(0, whole.size() - 1)), InputError);
  EXPECT_THROW(open(niftiFile([](nifti_1_header& raw) { raw.dim[1] = raw.dim[2] = raw.dim[3] = 30000; })),
               InputError);
}

TEST_F(NiftiVolume, BeginsBehindItsHeader) {
  for (double const offset : {0.0, 351.0, -352.0, nan, 352.5, 1e30}) {
    expectComplaint(
        [&](nifti_1_header& raw) { raw.vox_offset = static_cast<float>(offset); },
        "has vox_offset " + toText(static_cast<float>(offset)) + "; expected a whole number from 352");
  }
  expectComplaint([](nifti_1_header& raw) { raw.vox_offset = 353; }, "is incomplete");
  expectComplaint([](nifti_1_header& raw) { raw.vox_offset = 1e6F; }, "is incomplete: holds 0 bytes of data");
  EXPECT_NE(complaint(niftiFile<nifti_2_header>([](auto& raw) {
              raw.vox_offset = 543;
            })).find("has vox_offset 543; expected a whole number from 544"),
            std::string::npos);
}

template <class T>
std::vector<T> valuesOf(VolumeSource& source) {
  auto const voxels = source.read(wholeRegion(source.header().extents));
  EXPECT_EQ(voxels->type_id(), (TImageDataset<T, 3>({1, 1, 1}).type_id()));
  auto const values = static_cast<TImageDataset<T, 3>&>(*voxels).voxels();
  return {values.begin(), values.end()};
}

TEST_F(NiftiVolume, IsScaledByASlopeAboveAllButNot0) {
  auto const scaled = [&](float slope, float intercept) {
    return open(niftiFile([&](nifti_1_header& raw) {
      raw.scl_slope = slope;
      raw.scl_inter = intercept;
    }));
  };
  EXPECT_EQ(valuesOf<double>(*scaled(-0.5F, 3.0F))[11], -2.5);
  EXPECT_EQ(valuesOf<double>(*scaled(0.1F, 0.0F))[11], 11 * static_cast<double>(0.1F));
  for (float const slope : {0.0F, -0.0F, float(nan)}) {
    for (float const intercept : {7.0F, float(nan)}) {
      EXPECT_EQ(valuesOf<short>(*scaled(slope, intercept))[11], 11);
    }
  }
  expectComplaint(
      [](nifti_1_header& raw) {
        raw.scl_slope = 2;
        raw.scl_inter = float(nan);
      },
      "has scl_slope 2 and scl_inter nan; expected a finite scl_inter");
}

TEST_F(NiftiVolume, MayBeOfTheSecondVersion) {
  auto const source = open(niftiFile<nifti_2_header>([](nifti_2_header& raw) {
    raw.srow_x[0] = raw.srow_y[1] = raw.srow_z[2] = 1;
    raw.srow_x[3] = -0.1;
    raw.sform_code = 1;
  }));
  EXPECT_EQ(source->header().geometry.origin[0], 0.1) << "not by way of single precision";
  EXPECT_EQ(valuesOf<short>(*source)[11], 11);
  Volume volume = readVolume(folder / "a.nii");
  writeVolume(volume, folder / "b.nii", false);
  EXPECT_EQ(readVolume(folder / "b.nii").notes, volume.notes);
}

TEST_F(NiftiVolume, IsOfTheSecondVersionWhereTheFirstHasNoRoom) {
  Volume const volume = sampleVolume(typeUInt8, {40000, 1, 1});
  writeVolume(volume, folder / "a.nii.gz", false);
  EXPECT_EQ(readNiftiHeader(folder / "a.nii.gz").kind, NiftiKind::nifti2);
  EXPECT_TRUE(equalVoxels(*readVolume(folder / "a.nii.gz").voxels, *volume.voxels));
}

TEST_F(NiftiVolume, MayBeAPairNamedByEither) {
  std::string const voxels = niftiFile([](nifti_1_header&) {}).substr(352);
  writeContent(folder / "A.HDR", niftiFile<nifti_1_header>([](nifti_1_header&) {}, true));
  EXPECT_THROW(openVolume(folder / "A.HDR"), InputError);
  writeContent(folder / "A.IMG", voxels);
  for (char const* name : {"A.HDR", "A.IMG"}) {
    auto const source = openVolume(folder / name);
    EXPECT_EQ(valuesOf<short>(*source)[11], 11);
    EXPECT_EQ(std::set<fs::path>(source->files.begin(), source->files.end()),
              (std::set<fs::path>{folder / "A.HDR", folder / "A.IMG"}));
  }
  EXPECT_THROW(writeVolume(sampleVolume(typeFloat), folder / "b.hdr", false), OutputError);
}

TEST_F(NiftiVolume, OfTwoDimensionsIsOneSliceAndStaysFlat) {
  auto const flat = [](nifti_1_header& raw) {
    placeTwice(raw);
    raw.dim[0] = 2;
    raw.dim[2] = 4;
    raw.dim[3] = 0;
    raw.pixdim[3] = 0;
    raw.qform_code = 0;
    setRow(raw.srow_z, 0, 0, 0, 30);
  };
  auto const source = open(niftiFile(flat));
  EXPECT_EQ(source->header().extents, (Extents{3, 4, 1}));
  EXPECT_EQ(source->header().geometry.position({0, 0, 1})[2], 29.0) << "upright on the slice";
  Volume const volume = readVolume(folder / "a.nii");
  writeVolume(volume, folder / "b.nii", false);
  EXPECT_EQ(readVolume(folder / "b.nii").notes, volume.notes);
  nifti_1_header raw;
  std::memcpy(&raw, contentOf(folder / "b.nii").data(), sizeof raw);
  EXPECT_EQ(raw.dim[0], 2);
}

TEST_F(NiftiVolume, HoldsAsManyVolumesAsItsDimensionsSay) {
  auto const several = [](nifti_1_header& raw) {
    raw.dim[0] = 5;
    raw.dim[3] = 1;
    raw.dim[4] = 0;  // of a writer that left it out
    raw.dim[5] = 2;
  };
  writeContent(folder / "a.nii", niftiFile(several));
  EXPECT_EQ(valuesOf<short>(*openVolume(folder / "a.nii", {1}))[5], 11);
  expectComplaint(several, "holds 2 volumes");
}

TEST_F(NiftiVolume, NotesSurvive) {
  Volume volume = sampleVolume(typeFloat);
  writeVolume(volume, folder / "plain.nii", false);
  volume.notes = readVolume(folder / "plain.nii").notes;
  volume.notes->qformCode = 2;
  volume.notes->sformCode = 4;
  volume.notes->description = "a head";
  volume.notes->auxiliaryFile = "colours.lut";
  for (char const* name : {"a.nii", "a.nii.gz"}) {
    writeVolume(volume, folder / name, false);
    EXPECT_EQ(readVolume(folder / name).notes, volume.notes) << name;
  }
  volume.notes->description = std::string(200, 'x');
  writeVolume(volume, folder / "a.nii", true);
  Volume const read = readVolume(folder / "a.nii");
  EXPECT_EQ(read.notes->description, std::string(79, 'x'));
  EXPECT_EQ(read.notes->auxiliaryFile, "colours.lut");
}

TEST_F(NiftiVolume, OfAxesThatAreNotUprightHasNoQform) {
  Volume volume = sampleVolume(typeFloat);
  volume.geometry.direction[0] = {1.0, 0.5, 0.0};
  writeVolume(volume, folder / "a.nii", false);
  auto const notes = readVolume(folder / "a.nii").notes;
  EXPECT_EQ(notes->qformCode, 0);
  EXPECT_EQ(notes->sformCode, 1);
}

}  // namespace
}  // namespace lorb::tools
