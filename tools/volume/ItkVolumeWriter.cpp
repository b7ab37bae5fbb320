#include "tools/volume/ItkVolumeWriter.h"

#include "tools/base/SilencedStreams.h"
#include "tools/base/errors.h"
#include "tools/volume/itkImageIO.h"
#include "tools/volume/niftiHeader.h"

namespace lorb::tools {
namespace fs = std::filesystem;
namespace {

void describe(itk::ImageIOBase& io, TypeID type, Extents const& extents, Geometry const& geometry) {
  Vector3 const origin = geometry.firstVoxel();
  io.SetNumberOfDimensions(3);
  for (unsigned axis = 0; axis < 3; ++axis) {
    io.SetDimensions(axis, extents[axis]);
    io.SetOrigin(axis, origin[axis]);
    io.SetSpacing(axis, geometry.spacing[axis]);
    auto const& rows = geometry.direction;
    io.SetDirection(axis, {rows[0][axis], rows[1][axis], rows[2][axis]});
  }
  io.SetPixelType(itk::IOPixelEnum::SCALAR);
  io.SetNumberOfComponents(1);
  io.SetComponentType(componentOf(type));
}

itk::ImageIORegion ioRegion(Region const& region) {
  itk::ImageIORegion result(3);
  for (unsigned axis = 0; axis < 3; ++axis) {
    result.SetIndex(axis, static_cast<itk::ImageIORegion::IndexValueType>(region.begin[axis]));
    result.SetSize(axis, region.size[axis]);
  }
  return result;
}

void write(itk::ImageIOBase& io, void const* voxels, Region const& region, fs::path const& path) {
  io.SetIORegion(ioRegion(region));
  SilencedStreams const silenced;
  try {
    io.SetFileName(path.string());
    io.WriteImageInformation();
    io.Write(voxels);
  } catch (itk::ExceptionObject const& error) {
    throw OutputError(reasonOf(error));
  }
}

void writeWithItk(Volume const& volume, fs::path const& path, FileFormat format, bool compressed) {
  TypeID const type = volume.voxels->type_id();
  if (componentOf(type) == itk::IOComponentEnum::UNKNOWNCOMPONENTTYPE) {
    throw OutputError("no file format stores elements of type " + nameOf(type));
  }
  auto const io = makeImageIO(format);
  Extents const extents = extentsOf(*volume.voxels);
  describe(*io, type, extents, volume.geometry);
  io->SetFileType(itk::IOFileEnum::Binary);
  io->SetUseCompression(compressed);
  write(*io, dataOf(*volume.voxels), wholeRegion(extents), path);
}

/// ITK makes the affine matrix from the quaternion, which costs it bits.
void setExactMatrix(Geometry const& geometry, fs::path const& plain) {
  auto notes = niftiNotes(plain);
  if (!notes) throw OutputError("its header was not written; is the disk full?");
  constexpr std::size_t matrix = 6;  // where its rows begin among the placements
  Vector3 const origin = geometry.firstVoxel();
  for (std::size_t row = 0; row < 3; ++row) {
    double const sign = row < 2 ? -1.0 : 1.0;  // from left and posterior to right and anterior
    for (std::size_t axis = 0; axis < 3; ++axis) {
      notes->placements[matrix + 4 * row + axis] =
          static_cast<float>(sign * geometry.direction[row][axis] * geometry.spacing[axis]);
    }
    notes->placements[matrix + 4 * row + 3] = static_cast<float>(sign * origin[row]);
  }
  setNiftiNotes(plain, *notes);
}

/// What ITK leaves out is filled in before compression.
void writeNifti(Volume const& volume, fs::path const& path) {
  bool const compressed = path.extension() == ".gz";
  fs::path const plain = compressed ? fs::path(path).replace_extension() : path;
  writeWithItk(volume, plain, FileFormat::nifti, false);
  if (volume.notes) {
    setNiftiNotes(plain, *volume.notes);
  } else {
    setExactMatrix(volume.geometry, plain);
  }
  if (!compressed) return;
  gzip(plain, path);
  fs::remove(plain);
}

}  // namespace

void writeItkVolume(Volume const& volume, fs::path const& path, FileFormat format) {
  if (format == FileFormat::nifti) return writeNifti(volume, path);
  writeWithItk(volume, path, format, true);
}

void writeItkRegion(TImageDataset<float, 3> const& voxels, Region const& region, VolumeHeader const& whole,
                    fs::path const& path) {
  auto const io = makeImageIO(FileFormat::metaImage);
  describe(*io, typeFloat, whole.extents, whole.geometry);
  io->SetUseCompression(false);
  write(*io, voxels.voxels().data(), region, path);
}

}  // namespace lorb::tools
