#include "tools/volume/ItkVolumeWriter.h"

#include "tools/base/SilencedStreams.h"
#include "tools/base/errors.h"
#include "tools/volume/itkImageIO.h"

#include <cstdint>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace lorb::tools {
namespace fs = std::filesystem;
namespace {

void describe(itk::ImageIOBase& io, VolumeHeader const& header) {
  Vector3 const origin = header.geometry.firstVoxel();
  io.SetNumberOfDimensions(3);
  itk::ImageIORegion voxel(3);
  for (unsigned axis = 0; axis < 3; ++axis) {
    voxel.SetSize(axis, 1);
    io.SetDimensions(axis, 1);
    io.SetOrigin(axis, origin[axis]);
    io.SetSpacing(axis, header.geometry.spacing[axis]);
    auto const& rows = header.geometry.direction;
    io.SetDirection(axis, {rows[0][axis], rows[1][axis], rows[2][axis]});
  }
  io.SetIORegion(voxel);
  io.SetPixelType(itk::IOPixelEnum::SCALAR);
  io.SetNumberOfComponents(1);
  io.SetComponentType(componentOf(header.type));
  io.SetFileType(itk::IOFileEnum::Binary);
  io.SetUseCompression(false);
}

}  // namespace

std::string itkHeadOfOneVoxel(fs::path const& path, VolumeHeader const& header, ItkFormat const& format) {
  auto const io = format.makeImageIO();
  describe(*io, header);
  try {
    SilencedStreams const silenced;
    std::uint64_t const voxel = 0;
    io->SetFileName(path.string());
    io->WriteImageInformation();
    io->Write(&voxel);
  } catch (itk::ExceptionObject const& error) {
    throw OutputError(reasonOf(error));
  }
  std::ifstream file(path, std::ios::binary);
  std::string head(std::istreambuf_iterator<char>(file), {});
  std::uint64_t const voxelBytes = bytesOf(header.type);
  if (head.size() <= voxelBytes) throw OutputError("its header could not be written; is the disk full?");
  head.resize(head.size() - voxelBytes);
  return head;
}

void replaceLine(std::string& head, std::string_view line, std::string const& by) {
  std::string const whole = "\n" + std::string(line) + "\n";
  std::size_t const place = head.find(whole);
  if (place == std::string::npos) throw std::logic_error("a header without the line " + std::string(line));
  head.replace(place, whole.size(), "\n" + by + "\n");
}

std::string withBlanks(Extents const& extents) {
  return std::to_string(extents[0]) + " " + std::to_string(extents[1]) + " " + std::to_string(extents[2]);
}

}  // namespace lorb::tools
