#include "tools/volume/itkImageIO.h"

#include "tools/base/SilencedStreams.h"
#include "tools/base/errors.h"

#include <algorithm>
#include <string_view>
#include <type_traits>
#include <vector>

namespace lorb::tools {
namespace fs = std::filesystem;

itk::IOComponentEnum componentOf(TypeID type) {
  // Which of ITK's names an integer of 64 bits has is a matter of the platform.
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

std::string reasonOf(itk::ExceptionObject const& error) {
  // ITK speaks of its objects by address and over several lines. The last says most, unless it is the
  // system's word on something else.
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

itk::ImageIOBase::Pointer openImageIO(fs::path const& path, ItkFormat const& format) {
  auto io = format.makeImageIO();
  SilencedStreams const silenced;
  try {
    if (format.asksItkFirst && !io->CanReadFile(path.c_str())) {
      refuseInput(path, "is no " + std::string(format.name) + " file, or a damaged one");
    }
    io->SetFileName(path.string());
    io->ReadImageInformation();
  } catch (itk::ExceptionObject const& error) {
    refuseInput(path, "can't be read as " + std::string(format.name) + ": " + reasonOf(error));
  }
  return io;
}

void readVoxels(itk::ImageIOBase& io, void* voxels, fs::path const& path) {
  SilencedStreams const silenced;
  try {
    io.Read(voxels);
  } catch (itk::ExceptionObject const& error) {
    refuseInput(path, "is damaged or incomplete: " + reasonOf(error));
  }
}

Extents extentsIn(itk::ImageIOBase const& io, fs::path const& path) {
  std::vector<std::int64_t> sizes;
  for (unsigned d = 0; d < io.GetNumberOfDimensions(); ++d) {
    sizes.push_back(static_cast<std::int64_t>(io.GetDimensions(d)));
  }
  requirePossibleSizes(sizes, path);
  Extents extents = {1, 1, 1};
  std::copy_n(sizes.begin(), std::min<std::size_t>(3, sizes.size()), extents.begin());
  return extents;
}

void requireScalars(itk::ImageIOBase const& io, fs::path const& path) {
  if (io.GetNumberOfComponents() != 1) {
    refuseInput(path, "holds " + std::to_string(io.GetNumberOfComponents()) + " values a voxel; expected 1");
  }
  if (typeOf(io.GetComponentType()) == typeNone) {
    refuseInput(path, "holds values of type " +
                          itk::ImageIOBase::GetComponentTypeAsString(io.GetComponentType()) +
                          "; expected integers of up to 64 bits, float or double");
  }
}

Geometry geometryIn(itk::ImageIOBase const& io) {
  Geometry geometry;
  unsigned const dimensions = std::min(3U, io.GetNumberOfDimensions());
  for (unsigned axis = 0; axis < dimensions; ++axis) {
    geometry.origin[axis] = io.GetOrigin(axis);
    geometry.spacing[axis] = io.GetSpacing(axis);
    auto const column = io.GetDirection(axis);
    for (unsigned row = 0; row < dimensions; ++row) geometry.direction[row][axis] = column[row];
  }
  return geometry;
}

}  // namespace lorb::tools
