#include "tools/volume/ItkVolumeWriter.h"

#include "tools/base/SilencedStreams.h"
#include "tools/base/errors.h"
#include "tools/volume/itkImageIO.h"

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

}  // namespace

void writeItkVolume(Volume const& volume, fs::path const& path, ItkFormat const& format) {
  TypeID const type = volume.voxels->type_id();
  if (componentOf(type) == itk::IOComponentEnum::UNKNOWNCOMPONENTTYPE) {
    throw OutputError("no file format stores elements of type " + nameOf(type));
  }
  auto const io = format.makeImageIO();
  Extents const extents = extentsOf(*volume.voxels);
  describe(*io, type, extents, volume.geometry);
  io->SetFileType(itk::IOFileEnum::Binary);
  io->SetUseCompression(true);
  write(*io, dataOf(*volume.voxels), wholeRegion(extents), path);
}

void writeItkRegion(TImageDataset<float, 3> const& voxels, Region const& region, VolumeHeader const& whole,
                    fs::path const& path, ItkFormat const& format) {
  auto const io = format.makeImageIO();
  describe(*io, typeFloat, whole.extents, whole.geometry);
  io->SetUseCompression(false);
  write(*io, voxels.voxels().data(), region, path);
}

}  // namespace lorb::tools
