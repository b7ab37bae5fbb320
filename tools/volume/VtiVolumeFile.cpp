#include "tools/volume/VtiVolumeFile.h"

#include "tools/base/SilencedStreams.h"
#include "tools/base/errors.h"
#include "tools/base/parseNumber.h"
#include "tools/volume/formatTable.h"

#include <lorb/vtk/toImageData.h>
#include <lorb/vtk/toImageDataset.h>

#include <vtkDataArray.h>
#include <vtkImageData.h>
#include <vtkInformation.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkSmartPointer.h>
#include <vtkStreamingDemandDrivenPipeline.h>
#include <vtkStringOutputWindow.h>
#include <vtkXMLImageDataReader.h>
#include <vtkXMLImageDataWriter.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <ios>
#include <iterator>
#include <sstream>
#include <string_view>

namespace lorb::tools {
namespace fs = std::filesystem;
namespace {

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

/// VTK takes what is no number in these attributes of the image for another one.
void requireNumbers(fs::path const& path) {
  std::ifstream file(path, std::ios::binary);
  std::string head(4096, '\0');
  file.read(head.data(), static_cast<std::streamsize>(head.size()));
  std::size_t const image = head.find("<ImageData"), end = head.find('>', image);
  for (char const* name : {"Origin", "Spacing", "Direction"}) {
    std::size_t const attribute = head.find(std::string(name) + "=\"", image);
    if (attribute >= end) continue;
    std::size_t const begin = head.find('"', attribute) + 1;
    std::istringstream words(head.substr(begin, head.find('"', begin) - begin));
    for (std::string word; words >> word;) {
      if (!parseNumber(word)) {
        refuseInput(path, "has '" + word + "' in " + name + "; expected finite numbers");
      }
    }
  }
}

Extents extentsIn(vtkInformation& information, fs::path const& path) {
  int extent[6] = {0, -1, 0, -1, 0, -1};
  if (information.Has(vtkStreamingDemandDrivenPipeline::WHOLE_EXTENT())) {
    information.Get(vtkStreamingDemandDrivenPipeline::WHOLE_EXTENT(), extent);
  }
  std::array<std::int64_t, 3> sizes;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    sizes[axis] = std::int64_t(extent[2 * axis + 1]) - extent[2 * axis] + 1;
  }
  requirePossibleSizes(sizes, path);
  Extents extents;
  std::copy(sizes.begin(), sizes.end(), extents.begin());
  return extents;
}

vtkDataArray* scalarsOf(vtkImageData& image, fs::path const& path) {
  vtkPointData& points = *image.GetPointData();
  vtkDataArray* scalars = points.GetScalars();
  if (scalars == nullptr && points.GetNumberOfArrays() == 1) scalars = points.GetArray(0);
  if (scalars == nullptr) refuseInput(path, "has no scalars at its points; expected one array");
  if (scalars->GetNumberOfComponents() != 1) {
    refuseInput(path,
                "holds " + std::to_string(scalars->GetNumberOfComponents()) + " values a voxel; expected 1");
  }
  if (scalars->GetNumberOfTuples() != image.GetNumberOfPoints()) {
    refuseInput(path, "is incomplete: holds " + std::to_string(scalars->GetNumberOfTuples()) +
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

Geometry geometryIn(vtkInformation& information, fs::path const& path) {
  Geometry geometry;
  int extent[6];
  information.Get(vtkStreamingDemandDrivenPipeline::WHOLE_EXTENT(), extent);
  if (information.Has(vtkDataObject::ORIGIN())) {
    information.Get(vtkDataObject::ORIGIN(), geometry.origin.data());
  }
  if (information.Has(vtkDataObject::SPACING())) {
    information.Get(vtkDataObject::SPACING(), geometry.spacing.data());
  }
  double const* const direction = information.Get(vtkDataObject::DIRECTION());
  for (std::size_t axis = 0; axis < 3; ++axis) {
    geometry.firstIndex[axis] = extent[2 * axis];
    for (std::size_t row = 0; direction != nullptr && row < 3; ++row) {
      geometry.direction[row][axis] = direction[3 * row + axis];
    }
  }
  requirePlace(geometry, path);
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

class VtiVolumeSource : public VolumeSource {
 public:
  explicit VtiVolumeSource(fs::path path) : path_(std::move(path)) {
    files = {path_};
    SilencedStreams const silenced;
    Messages const messages;
    if (reader_->CanReadFile(path_.c_str()) == 0) {
      refuseInput(path_, "is no VTK image file, or a damaged one");
    }
    reader_->SetFileName(path_.c_str());
    reader_->UpdateInformation();
    vtkInformation* const information = reader_->GetOutputInformation(0);
    if (failed(messages) || information == nullptr || !endsAsXml(path_)) {
      refuseInput(path_, "is damaged or incomplete");
    }
    requireNumbers(path_);
    header_.extents = extentsIn(*information, path_);
    header_.geometry = geometryIn(*information, path_);
  }

  VolumeHeader const& header() const override { return header_; }
  bool readsParts() const override { return false; }
  std::uint64_t workBytes(Region const& region) const override { return voxelCount(region.size) * 8; }

  std::unique_ptr<ImageDataset> read(Region const&) override try {
    vtkSmartPointer<vtkImageData> const image = readImage();
    vtkDataArray* const scalars = scalarsOf(*image, path_);
    std::unique_ptr<ImageDataset> voxels(toImageDataset(forBridge(*image, *scalars)));
    if (voxels == nullptr) {
      refuseInput(path_, std::string("holds values of type ") + scalars->GetDataTypeAsString() +
                             "; expected integers, float or double");
    }
    return voxels;
  } catch (std::ios_base::failure const&) {  // of VTK's stream buffers, past its own checks
    refuseInput(path_, "can't be read to its end");
  }

 private:
  bool failed(Messages const& messages) { return reader_->GetErrorCode() != 0 || messages.reportError(); }

  vtkSmartPointer<vtkImageData> readImage() {
    SilencedStreams const silenced;
    Messages const messages;
    reader_->Update();
    if (failed(messages)) refuseInput(path_, "is damaged or incomplete");
    auto image = vtkSmartPointer<vtkImageData>::New();
    image->ShallowCopy(reader_->GetOutput());
    reader_->GetOutput()->Initialize();  // or the reader keeps the voxels
    return image;
  }

  fs::path path_;
  vtkNew<vtkXMLImageDataReader> reader_;
  VolumeHeader header_;
};

}  // namespace

std::unique_ptr<VolumeSource> openVtiVolume(fs::path const& path) try {
  return std::make_unique<VtiVolumeSource>(path);
} catch (std::ios_base::failure const&) {
  refuseInput(path, "can't be read to its end");
}

void writeVtiVolume(Volume const& volume, fs::path const& path, int compression) {
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
  if (compression == 0) {
    writer->SetCompressorTypeToNone();
  } else {
    writer->SetCompressionLevel(compression);
  }
  bool const written = writer->Write() != 0 && writer->GetErrorCode() == 0 && !messages.reportError();
  if (!written) throw OutputError("VTK could not write it; is the disk full?");
}

namespace {

constexpr Extension extensions[] = {{".vti", ".vti"}};

std::unique_ptr<VolumeSource> open(fs::path const& path, InputChoice const& choice) {
  chosenVolume(1, choice, path);
  return openVtiVolume(path);
}

}  // namespace

constinit VolumeFormat const vtiFormat = {
    .name = "VTK image", .extensions = extensions, .open = open, .write = writeVtiVolume};

}  // namespace lorb::tools
