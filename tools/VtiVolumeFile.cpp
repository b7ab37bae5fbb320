#include "tools/VtiVolumeFile.h"

#include "tools/SilencedStreams.h"
#include "tools/errors.h"

#include <lorb/vtk/toImageData.h>
#include <lorb/vtk/toImageDataset.h>

#include <vtkDataArray.h>
#include <vtkImageData.h>
#include <vtkInformation.h>
#include <vtkMatrix3x3.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkSmartPointer.h>
#include <vtkStreamingDemandDrivenPipeline.h>
#include <vtkStringOutputWindow.h>
#include <vtkXMLImageDataReader.h>
#include <vtkXMLImageDataWriter.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>
#include <string_view>

namespace lorb::tools {
namespace fs = std::filesystem;
namespace {

[[noreturn]] void refuse(fs::path const& path, std::string const& what) {
  throw InputError("input " + path.string() + ": " + what);
}

/// VTK's readers and writers report failure as messages in a window, some of them from helper objects
/// alone. This collects them.
class Messages {
 public:
  Messages() : previous_(vtkOutputWindow::GetInstance()) { vtkOutputWindow::SetInstance(window_); }
  ~Messages() { vtkOutputWindow::SetInstance(previous_); }
  Messages(Messages const&) = delete;
  Messages& operator=(Messages const&) = delete;

  bool reportError() const { return window_->GetOutput().find("ERROR") != std::string::npos; }

 private:
  vtkSmartPointer<vtkOutputWindow> previous_;
  vtkNew<vtkStringOutputWindow> window_;
};

/// VTK stops reading XML where raw data begins and does not miss what a shortened file lacks of it.
bool endsAsXml(fs::path const& path) {
  constexpr std::string_view end = "</VTKFile>";
  constexpr std::streamoff room = 256;  // for white space behind it
  std::ifstream file(path, std::ios::binary | std::ios::ate);
  file.seekg(-std::min<std::streamoff>(room, file.tellg()), std::ios::end);
  std::string tail(std::istreambuf_iterator<char>(file), {});
  tail.erase(tail.find_last_not_of(" \t\r\n") + 1);
  return tail.ends_with(end);
}

void requireSensibleExtents(vtkXMLImageDataReader& reader, fs::path const& path) {
  int extent[6] = {0, -1, 0, -1, 0, -1};
  if (auto* const information = reader.GetOutputInformation(0);
      information != nullptr && information->Has(vtkStreamingDemandDrivenPipeline::WHOLE_EXTENT())) {
    information->Get(vtkStreamingDemandDrivenPipeline::WHOLE_EXTENT(), extent);
  }
  std::int64_t bytes = 8;  // of the largest element, so that no later product can wrap around
  for (int axis = 0; axis < 3; ++axis) {
    std::int64_t const count = std::int64_t(extent[2 * axis + 1]) - extent[2 * axis] + 1;
    if (count < 1 || count > std::numeric_limits<int>::max() ||
        bytes > std::numeric_limits<std::int64_t>::max() / count) {
      refuse(path, "claims an impossible size of " + std::to_string(count) + " voxels along axis " +
                       std::to_string(axis));
    }
    bytes *= count;
  }
}

vtkSmartPointer<vtkImageData> readImage(fs::path const& path) {
  SilencedStreams const silenced;
  Messages const messages;
  vtkNew<vtkXMLImageDataReader> reader;
  if (reader->CanReadFile(path.c_str()) == 0) refuse(path, "is no VTK image file, or a damaged one");
  reader->SetFileName(path.c_str());
  auto const failed = [&] { return reader->GetErrorCode() != 0 || messages.reportError(); };
  reader->UpdateInformation();
  if (failed() || !endsAsXml(path)) refuse(path, "is damaged or incomplete");
  requireSensibleExtents(*reader, path);
  reader->Update();
  if (failed()) refuse(path, "is damaged or incomplete");
  return reader->GetOutput();
}

vtkDataArray* scalarsOf(vtkImageData& image, fs::path const& path) {
  vtkPointData& points = *image.GetPointData();
  vtkDataArray* scalars = points.GetScalars();
  if (scalars == nullptr && points.GetNumberOfArrays() == 1) scalars = points.GetArray(0);
  if (scalars == nullptr) refuse(path, "has no scalars at its points; expected one array");
  if (scalars->GetNumberOfComponents() != 1) {
    refuse(path, "holds " + std::to_string(scalars->GetNumberOfComponents()) + " values a voxel; expected 1");
  }
  if (scalars->GetNumberOfTuples() != image.GetNumberOfPoints()) {
    refuse(path, "is incomplete: holds " + std::to_string(scalars->GetNumberOfTuples()) +
                     " values; expected " + std::to_string(image.GetNumberOfPoints()));
  }
  return scalars;
}

/// The bridge takes one of two VTK types that share a layout; which of them the reader gives is a matter of
/// how VTK was built.
int bridgedType(int vtkScalarType) {
  switch (vtkScalarType) {
    case VTK_SIGNED_CHAR:
      return VTK_CHAR;
    case VTK_LONG:
      return VTK_LONG_LONG;
    case VTK_UNSIGNED_LONG:
      return VTK_UNSIGNED_LONG_LONG;
    default:
      return vtkScalarType;
  }
}

/// An image with these scalars, by another name of their type where the bridge wants one. It borrows
/// the values, and has place and extents of `image`.
vtkSmartPointer<vtkImageData> forBridge(vtkImageData& image, vtkDataArray& scalars) {
  int const type = bridgedType(scalars.GetDataType());
  auto const renamed = vtkSmartPointer<vtkDataArray>::Take(vtkDataArray::CreateDataArray(type));
  constexpr int borrowed = 1;
  renamed->SetVoidArray(scalars.GetVoidPointer(0), scalars.GetNumberOfValues(), borrowed);
  auto result = vtkSmartPointer<vtkImageData>::New();
  result->CopyStructure(&image);
  result->GetPointData()->SetScalars(renamed);
  return result;
}

Geometry geometryOf(vtkImageData& image, fs::path const& path) {
  Geometry geometry;
  for (int axis = 0; axis < 3; ++axis) {
    auto const a = static_cast<std::size_t>(axis);
    geometry.origin[a] = image.GetOrigin()[axis];
    geometry.spacing[a] = image.GetSpacing()[axis];
    geometry.firstIndex[a] = image.GetExtent()[2 * axis];
    if (!std::isfinite(geometry.origin[a]) || !std::isfinite(geometry.spacing[a]) ||
        geometry.spacing[a] <= 0.0) {
      refuse(path, "has spacing " + toText(geometry.spacing) + "; expected finite numbers above 0");
    }
    for (int row = 0; row < 3; ++row) {
      geometry.direction[static_cast<std::size_t>(row)][a] =
          image.GetDirectionMatrix()->GetElement(row, axis);
    }
  }
  return geometry;
}

void place(vtkImageData& image, Geometry const& geometry) {
  int extent[6];
  image.GetExtent(extent);
  for (std::size_t axis = 0; axis < 3; ++axis) {
    extent[2 * axis] += geometry.firstIndex[axis];
    extent[2 * axis + 1] += geometry.firstIndex[axis];
  }
  image.SetExtent(extent);
  image.SetOrigin(geometry.origin.data());
  image.SetSpacing(geometry.spacing.data());
  auto const& d = geometry.direction;
  image.SetDirectionMatrix(d[0][0], d[0][1], d[0][2], d[1][0], d[1][1], d[1][2], d[2][0], d[2][1], d[2][2]);
}

}  // namespace

Volume readVtiVolume(fs::path const& path) {
  auto const image = readImage(path);
  vtkDataArray* const scalars = scalarsOf(*image, path);
  Volume volume;
  volume.geometry = geometryOf(*image, path);
  volume.voxels.reset(toImageDataset(forBridge(*image, *scalars)));
  if (volume.voxels == nullptr) {
    refuse(path, std::string("holds values of type ") + scalars->GetDataTypeAsString() +
                     "; expected integers, float or double");
  }
  return volume;
}

void writeVtiVolume(Volume const& volume, fs::path const& path) {
  auto const image = vtkSmartPointer<vtkImageData>::Take(toImageData(volume.voxels.get()));
  if (image == nullptr) {
    throw OutputError("no .vti file stores elements of type " + nameOf(volume.voxels->type_id()));
  }
  place(*image, volume.geometry);
  image->GetPointData()->GetScalars()->SetName("Scalars_");
  SilencedStreams const silenced;
  Messages const messages;
  vtkNew<vtkXMLImageDataWriter> writer;
  writer->SetFileName(path.c_str());
  writer->SetInputData(image);
  bool const written = writer->Write() != 0 && writer->GetErrorCode() == 0 && !messages.reportError();
  if (!written) throw OutputError("VTK could not write it; is the disk full?");
}

}  // namespace lorb::tools
