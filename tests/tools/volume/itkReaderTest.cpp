// Maps as programs that are made with ITK read them, by its own pipeline.

#include "tests/tools/TemporaryFolder.h"
#include "tests/tools/sampleVolumes.h"
#include "tools/volume/VolumeFile.h"
#include "tools/volume/itkCompiler.h"

#include <gtest/gtest.h>
#include <itkImage.h>
#include <itkImageFileReader.h>
#include <itkMetaImageIO.h>
#include <itkNiftiImageIO.h>
#include <itkNrrdImageIO.h>

#include <cstring>

namespace lorb::tools {
namespace {

using Image = itk::Image<float, 3>;

Image::Pointer readWithItk(std::filesystem::path const& path, itk::ImageIOBase* io) {
  auto const reader = itk::ImageFileReader<Image>::New();
  reader->SetImageIO(io);
  reader->SetFileName(path.string());
  reader->Update();
  return reader->GetOutput();
}

/// Writes a volume of three spacings and oblique axes; ITK finds the same numbers in the same place, within
/// `allowed` in each number of it.
void expectTheSame(std::string const& name, itk::ImageIOBase* io, double allowed) {
  TemporaryFolder const folder;
  Volume volume = sampleVolume(typeFloat);
  volume.geometry.origin = {0.1, -100.0 / 3.0, 1e-3};
  volume.geometry.spacing = {0.7, 1.0 / 3.0, 2.1};
  writeVolume(volume, folder / name, false);
  auto const image = readWithItk(folder / name, io);
  Extents const extents = extentsOf(*volume.voxels);
  for (unsigned axis = 0; axis < 3; ++axis) {
    ASSERT_EQ(image->GetLargestPossibleRegion().GetSize(axis), extents[axis]);
    EXPECT_NEAR(image->GetOrigin()[axis], volume.geometry.origin[axis], 40.0 * allowed) << name;
    EXPECT_NEAR(image->GetSpacing()[axis], volume.geometry.spacing[axis], 2.0 * allowed) << name;
    for (unsigned row = 0; row < 3; ++row) {
      EXPECT_NEAR(image->GetDirection()(row, axis), volume.geometry.direction[row][axis], allowed) << name;
    }
  }
  EXPECT_EQ(
      std::memcmp(image->GetBufferPointer(), dataOf(*volume.voxels), voxelCount(extents) * sizeof(float)), 0)
      << name;
}

TEST(ItkReader, FindsMapsWhereTheirInputWas) {
  expectTheSame("a.mha", itk::MetaImageIO::New(), 0.0);
  expectTheSame("a.mhd", itk::MetaImageIO::New(), 0.0);
  expectTheSame("a.nrrd", itk::NrrdImageIO::New(), 3e-16);  // keeps directions times spacing
  expectTheSame("a.nii", itk::NiftiImageIO::New(), 1e-6);   // single precision
  expectTheSame("a.nii.gz", itk::NiftiImageIO::New(), 1e-6);
}

}  // namespace
}  // namespace lorb::tools
