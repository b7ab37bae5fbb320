#include "tools/ItkVolumeFile.h"

#include "tools/SilencedStreams.h"
#include "tools/compressedData.h"
#include "tools/errors.h"
#include "tools/imageHeader.h"
#include "tools/itkCompiler.h"
#include "tools/niftiHeader.h"
#include "tools/parseNumber.h"

#include <lorb/dataset/dump.h>

#include <itkMetaDataObject.h>
#include <itkMetaImageIO.h>
#include <itkNiftiImageIO.h>
#include <itkNrrdImageIO.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <fstream>
#include <limits>
#include <string_view>
#include <system_error>
#include <type_traits>

namespace lorb::tools {
namespace fs = std::filesystem;
namespace {

/// ITK speaks of its objects by address and over several lines. The last says most, unless it is the
/// system's word on something else.
std::string reasonOf(itk::ExceptionObject const& error) {
  std::string text = error.GetDescription();
  text.erase(text.find_last_not_of(" \r\n") + 1);
  auto const last = text.rfind("\n");
  if (text.find("\nReason: ") == std::string::npos) {
    text.erase(0, last + 1);
  } else {
    text.erase(last);
  }
  for (std::string_view const prefix : {"): ", "ITK ERROR: "}) {
    auto const position = text.find(prefix);
    if (position != std::string::npos) text.erase(0, position + prefix.size());
  }
  return text;
}

[[noreturn]] void refuse(fs::path const& path, std::string const& what) {
  throw InputError("input " + path.string() + ": " + what);
}

itk::ImageIOBase::Pointer makeImageIO(FileFormat format) {
  switch (format) {
    case FileFormat::nifti:
      return itk::NiftiImageIO::New().GetPointer();
    case FileFormat::metaImage:
      return itk::MetaImageIO::New().GetPointer();
    case FileFormat::nrrd:
      return itk::NrrdImageIO::New().GetPointer();
    case FileFormat::vti:
      break;
  }
  throw std::logic_error("ITK reads no files of this format");
}

/// ITK's name for an element type, in integers of 64 bits a matter of the platform, in the type's own
/// words.
itk::IOComponentEnum componentOf(TypeID type) {
  auto component = itk::IOComponentEnum::UNKNOWNCOMPONENTTYPE;
  visitElementType(type, [&]<class T>(std::type_identity<T>) {
    if constexpr (!std::is_same_v<T, bool>) component = itk::ImageIOBase::MapPixelType<T>::CType;
  });
  return component;
}

TypeID typeOf(itk::IOComponentEnum component) {
  // ITK's `char` and `long long` types have the layout of types that are in the list.
  if (component == itk::IOComponentEnum::CHAR) return typeInt8;
  if (component == itk::IOComponentEnum::LONGLONG) return typeInt64;
  if (component == itk::IOComponentEnum::ULONGLONG) return typeUInt64;
  if (component == itk::IOComponentEnum::UNKNOWNCOMPONENTTYPE) return typeNone;  // as for bool
#define LORB_MATCH(code, element, T, name) \
  if (componentOf(type##name) == component) return type##name;
  LORB_FOR_EACH_ELEMENT_TYPE(LORB_MATCH)
#undef LORB_MATCH
  return typeNone;
}

void readHeader(itk::ImageIOBase& io, fs::path const& path, FileFormat format) {
  SilencedStreams const silenced;
  try {
    if (!io.CanReadFile(path.c_str())) refuse(path, "is no " + nameOf(format) + " file, or a damaged one");
    io.SetFileName(path.string());
    io.ReadImageInformation();
  } catch (itk::ExceptionObject const& error) {
    refuse(path, "can't be read as " + nameOf(format) + ": " + reasonOf(error));
  }
}

void requireScalars(itk::ImageIOBase const& io, fs::path const& path) {
  if (io.GetNumberOfComponents() != 1) {
    refuse(path, "holds " + std::to_string(io.GetNumberOfComponents()) + " values a voxel; expected 1");
  }
  if (typeOf(io.GetComponentType()) == typeNone) {
    refuse(path, "holds values of type " + itk::ImageIOBase::GetComponentTypeAsString(io.GetComponentType()) +
                     "; expected integers of up to 64 bits, float or double");
  }
}

void requireThreeDimensions(itk::ImageIOBase const& io, fs::path const& path, FileFormat format) {
  unsigned const dimensions = io.GetNumberOfDimensions();
  // A two-dimensional NIfTI file is placed in space, but ITK gives only the part within its plane.
  if (dimensions < 2 || (dimensions == 2 && format == FileFormat::nifti)) {
    refuse(path, "has " + std::to_string(dimensions) + " dimensions; expected 3");
  }
  for (unsigned d = 3; d < dimensions; ++d) {
    if (io.GetDimensions(d) != 1) {
      refuse(path, "has " + std::to_string(dimensions) + " dimensions, " +
                       std::to_string(io.GetDimensions(d)) + " elements along number " +
                       std::to_string(d + 1) + "; expected one volume of 3");
    }
  }
}

Extents extentsIn(itk::ImageIOBase const& io, fs::path const& path) {
  Extents extents = {1, 1, 1};
  std::uint64_t bytes = 8;  // of the largest element, so that no later product can wrap around
  for (unsigned d = 0; d < std::min(3U, io.GetNumberOfDimensions()); ++d) {
    extents[d] = io.GetDimensions(d);
    bool const sensible = extents[d] > 0 && extents[d] <= std::uint64_t(std::numeric_limits<int>::max());
    if (!sensible || bytes > std::uint64_t(std::numeric_limits<std::int64_t>::max()) / extents[d]) {
      refuse(path, "claims an impossible size of " + std::to_string(extents[d]) + " voxels along axis " +
                       std::to_string(d));
    }
    bytes *= extents[d];
  }
  return extents;
}

Geometry geometryIn(itk::ImageIOBase const& io, fs::path const& path) {
  Geometry geometry;
  unsigned const dimensions = std::min(3U, io.GetNumberOfDimensions());
  for (unsigned axis = 0; axis < dimensions; ++axis) {
    geometry.origin[axis] = io.GetOrigin(axis);
    geometry.spacing[axis] = io.GetSpacing(axis);
    if (!std::isfinite(geometry.origin[axis]) || !std::isfinite(geometry.spacing[axis]) ||
        geometry.spacing[axis] <= 0.0) {
      refuse(path, "has spacing " + toText(geometry.spacing) + "; expected finite numbers above 0");
    }
    auto const column = io.GetDirection(axis);
    for (unsigned row = 0; row < dimensions; ++row) geometry.direction[row][axis] = column[row];
  }
  return geometry;
}

std::string textIn(itk::ImageIOBase const& io, char const* key) {
  std::string text;
  itk::ExposeMetaData(io.GetMetaDataDictionary(), key, text);
  return text;
}

/// Bytes that a NIfTI file must unfold to.
std::uint64_t niftiSize(itk::ImageIOBase const& io, std::uint64_t voxels) {
  auto const number = [](std::string const& text) {
    return static_cast<std::uint64_t>(std::max<ExactNumber>(0, parseNumber(text).value_or(0)));
  };
  return number(textIn(io, "vox_offset")) + voxels * number(textIn(io, "bitpix")) / 8;
}

/// ITK takes what it gets of short or damaged compressed data and reports success.
void requireWhole(fs::path const& data, std::uint64_t offset, bool compressed, std::uint64_t expected,
                  fs::path const& path) {
  std::ifstream stream(data, std::ios::binary);
  if (!stream) refuse(path, "its data file " + data.string() + " can't be opened");
  std::error_code error;
  std::uint64_t const length = fs::file_size(data, error);
  if (error) refuse(path, "its data file " + data.string() + ": " + error.message());
  stream.seekg(static_cast<std::streamoff>(offset));
  std::uint64_t found = length > offset ? length - offset : 0;
  if (compressed) {
    auto const size = inflatedSize(stream);
    if (!size) refuse(path, "is damaged or incomplete: its compressed data is not whole");
    found = *size;
  }
  if (found < expected) {
    refuse(path, "is incomplete: holds " + std::to_string(found) + " bytes of data; expected " +
                     std::to_string(expected));
  }
}

void requireWholeFile(itk::ImageIOBase const& io, fs::path const& path, FileFormat format,
                      Extents const& extents) {
  std::uint64_t const voxels = voxelCount(extents);
  if (format == FileFormat::nifti) {
    requireWhole(path, 0, path.extension() == ".gz", niftiSize(io, voxels), path);
  } else {
    auto const data = format == FileFormat::nrrd ? nrrdData(path) : metaImageData(path);
    if (!data) refuse(path, "keeps its voxels in several files; expected one");
    if (data->plain) {
      requireWhole(data->file, data->offset, data->compressed, voxels * io.GetComponentSize(), path);
    }
  }
}

std::unique_ptr<std::byte[]> readVoxels(itk::ImageIOBase& io, fs::path const& path, std::uint64_t bytes) {
  // Left unset, so that a header that promises too much costs addresses and no memory.
  auto buffer = std::make_unique_for_overwrite<std::byte[]>(bytes);
  unsigned const dimensions = io.GetNumberOfDimensions();
  itk::ImageIORegion region(dimensions);
  for (unsigned d = 0; d < dimensions; ++d) region.SetSize(d, io.GetDimensions(d));
  io.SetIORegion(region);  // compressed files come back as zeros without
  SilencedStreams const silenced;
  try {
    io.Read(buffer.get());
  } catch (itk::ExceptionObject const& error) {
    refuse(path, "is damaged or incomplete: " + reasonOf(error));
  }
  return buffer;
}

void describe(itk::ImageIOBase& io, Volume const& volume, TypeID type) {
  Extents const extents = extentsOf(*volume.voxels);
  Vector3 const origin = volume.geometry.firstVoxel();
  itk::ImageIORegion region(3);
  io.SetNumberOfDimensions(3);
  for (unsigned axis = 0; axis < 3; ++axis) {
    io.SetDimensions(axis, extents[axis]);
    region.SetSize(axis, extents[axis]);
    io.SetOrigin(axis, origin[axis]);
    io.SetSpacing(axis, volume.geometry.spacing[axis]);
    auto const& rows = volume.geometry.direction;
    io.SetDirection(axis, {rows[0][axis], rows[1][axis], rows[2][axis]});
  }
  io.SetIORegion(region);
  io.SetPixelType(itk::IOPixelEnum::SCALAR);
  io.SetNumberOfComponents(1);
  io.SetComponentType(componentOf(type));
}

void const* voxelsOf(ImageDataset const& volume) {
  void const* voxels = nullptr;
  visitElementType(volume.type_id(), [&]<class T>(std::type_identity<T>) {
    if constexpr (!std::is_same_v<T, bool>) {
      voxels = static_cast<TImageDataset<T, 3> const&>(volume).voxels().data();
    }
  });
  return voxels;
}

void writeWithItk(Volume const& volume, fs::path const& path, FileFormat format) {
  TypeID const type = volume.voxels->type_id();
  if (componentOf(type) == itk::IOComponentEnum::UNKNOWNCOMPONENTTYPE) {
    throw OutputError("no file format stores elements of type " + nameOf(type));
  }
  auto const io = makeImageIO(format);
  describe(*io, volume, type);
  SilencedStreams const silenced;
  try {
    io->SetFileName(path.string());
    io->WriteImageInformation();
    io->Write(voxelsOf(*volume.voxels));
  } catch (itk::ExceptionObject const& error) {
    throw OutputError(reasonOf(error));
  }
}

/// What ITK leaves out is filled in before compression.
void writeNifti(Volume const& volume, fs::path const& path) {
  bool const compressed = path.extension() == ".gz";
  fs::path const plain = compressed ? fs::path(path).replace_extension() : path;
  writeWithItk(volume, plain, FileFormat::nifti);
  if (volume.notes) setNiftiNotes(plain, *volume.notes);
  if (!compressed) return;
  gzip(plain, path);
  fs::remove(plain);
}

}  // namespace

Volume readItkVolume(fs::path const& path, FileFormat format) {
  auto const io = makeImageIO(format);
  readHeader(*io, path, format);
  requireScalars(*io, path);
  requireThreeDimensions(*io, path, format);
  Extents const extents = extentsIn(*io, path);
  requireWholeFile(*io, path, format, extents);

  TypeID const type = typeOf(io->GetComponentType());
  auto const buffer = readVoxels(*io, path, voxelCount(extents) * io->GetComponentSize());
  Volume volume;
  volume.geometry = geometryIn(*io, path);
  if (format == FileFormat::nifti) volume.notes = niftiNotes(path);
  volume.voxels = makeVoxels(type, extents);
  dump(buffer.get(), type, volume.voxels.get());
  return volume;
}

void writeItkVolume(Volume const& volume, fs::path const& path, FileFormat format) {
  if (format == FileFormat::nifti) return writeNifti(volume, path);
  writeWithItk(volume, path, format);
}

}  // namespace lorb::tools
