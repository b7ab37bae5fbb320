// What all uses of ITK's readers and writers share: which class serves a format, names of types, errors.
#pragma once

#include "tools/volume/VolumeSource.h"
#include "tools/volume/imageData.h"
#include "tools/volume/itkCompiler.h"

#include <itkImageIOBase.h>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace lorb::tools {

/// A format that ITK reads or writes.
struct ItkFormat {
  std::string_view name;  ///< for people
  itk::ImageIOBase::Pointer (*makeImageIO)();
  bool asksItkFirst = true;  ///< whether ITK is asked first if it reads the file

  /// What is wrong with numbers of the header that ITK would rely on. Null where it notices itself.
  std::optional<std::string> (*headerError)(std::filesystem::path const& path) = nullptr;

  /// Where the voxels are; nothing when they are in several files. Null where only ITK knows.
  std::optional<ImageData> (*imageData)(std::filesystem::path const& path) = nullptr;

  /// Sets what ITK loses of a place. Null where it loses nothing.
  void (*completePlace)(Geometry& geometry, std::filesystem::path const& path) = nullptr;

  bool inPatient = true;  ///< whether directions are those of a patient
};

/// An object of one of ITK's classes for a format.
template <class ImageIO>
itk::ImageIOBase::Pointer makeImageIO() {
  return ImageIO::New().GetPointer();
}

/// ITK's name for an element type; `UNKNOWNCOMPONENTTYPE` for `bool`, which no file stores.
itk::IOComponentEnum componentOf(TypeID type);

/// The element type with the layout of ITK's; `typeNone` when there is none.
TypeID typeOf(itk::IOComponentEnum component);

/// The gist of ITK's several lines.
std::string reasonOf(itk::ExceptionObject const& error);

/// Opens a file and reads its header. Throws `InputError` for what is no file of that format.
itk::ImageIOBase::Pointer openImageIO(std::filesystem::path const& path, ItkFormat const& format);

/// Reads the region of voxels that is set in `io`. Throws `InputError` when the file does not hold them.
void readVoxels(itk::ImageIOBase& io, void* voxels, std::filesystem::path const& path);

/// Extents of the first three dimensions, 1 where there are fewer. Throws `InputError` for sizes that no
/// volume has.
Extents extentsIn(itk::ImageIOBase const& io, std::filesystem::path const& path);

/// Throws `InputError` unless voxels are single numbers of one of the element types.
void requireScalars(itk::ImageIOBase const& io, std::filesystem::path const& path);

/// Place of the voxels, as far as the file has dimensions.
Geometry geometryIn(itk::ImageIOBase const& io);

}  // namespace lorb::tools
