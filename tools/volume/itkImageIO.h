// What all uses of ITK's readers and writers share: which class serves a format, names of types, complaints.
#pragma once

#include "tools/volume/FileFormat.h"
#include "tools/volume/VolumeSource.h"
#include "tools/volume/itkCompiler.h"

#include <itkImageIOBase.h>

#include <filesystem>
#include <string>

namespace lorb::tools {

itk::ImageIOBase::Pointer makeImageIO(FileFormat format);

/// ITK's name for an element type; `UNKNOWNCOMPONENTTYPE` for `bool`, which no file stores.
itk::IOComponentEnum componentOf(TypeID type);

/// The element type with the layout of ITK's; `typeNone` when there is none.
TypeID typeOf(itk::IOComponentEnum component);

/// The gist of ITK's several lines.
std::string reasonOf(itk::ExceptionObject const& error);

/// Opens a file and reads its header. Throws `InputError` for what is no file of that format.
itk::ImageIOBase::Pointer openImageIO(std::filesystem::path const& path, FileFormat format);

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
