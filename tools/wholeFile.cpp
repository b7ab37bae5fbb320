#include "tools/wholeFile.h"

#include "tools/compressedData.h"
#include "tools/errors.h"
#include "tools/imageHeader.h"
#include "tools/niftiHeader.h"
#include "tools/parseNumber.h"

#include <itkMetaDataObject.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <string>
#include <system_error>

namespace lorb::tools {
namespace fs = std::filesystem;
namespace {

std::string textIn(itk::ImageIOBase const& io, char const* key) {
  std::string text;
  itk::ExposeMetaData(io.GetMetaDataDictionary(), key, text);
  return text;
}

std::uint64_t voxelCountIn(itk::ImageIOBase const& io) {
  std::uint64_t count = 1;
  for (unsigned d = 0; d < io.GetNumberOfDimensions(); ++d) count *= io.GetDimensions(d);
  return count;
}

/// Bytes that a NIfTI file must unfold to.
std::uint64_t niftiSize(itk::ImageIOBase const& io) {
  auto const number = [](std::string const& text) {
    return static_cast<std::uint64_t>(std::max<ExactNumber>(0, parseNumber(text).value_or(0)));
  };
  return number(textIn(io, "vox_offset")) + voxelCountIn(io) * number(textIn(io, "bitpix")) / 8;
}

void requireBytes(ImageData const& data, std::uint64_t expected, fs::path const& path) {
  std::ifstream stream(data.file, std::ios::binary);
  if (!stream) refuseInput(path, "its data file " + data.file.string() + " can't be opened");
  std::error_code error;
  std::uint64_t const length = fs::file_size(data.file, error);
  if (error) refuseInput(path, "its data file " + data.file.string() + ": " + error.message());
  stream.seekg(static_cast<std::streamoff>(data.offset));
  std::uint64_t found = length > data.offset ? length - data.offset : 0;
  if (data.compressed) {
    auto const size = inflatedSize(stream);
    if (!size) refuseInput(path, "is damaged or incomplete: its compressed data is not whole");
    found = *size;
  }
  if (found < expected) {
    refuseInput(path, "is incomplete: holds " + std::to_string(found) + " bytes of data; expected " +
                          std::to_string(expected));
  }
}

/// Where a MetaImage or NRRD file keeps its voxels.
ImageData dataOf(fs::path const& path, FileFormat format) {
  auto const data = format == FileFormat::nrrd ? nrrdData(path) : metaImageData(path);
  if (!data) refuseInput(path, "keeps its voxels in several files; expected one");
  return *data;
}

/// Numbers as text take a digit and a separator at the least.
void requireText(fs::path const& path, std::uint64_t voxels) {
  std::error_code error;
  std::uint64_t const length = fs::file_size(path, error);
  if (length + 1 < 2 * voxels) {
    refuseInput(path, "is incomplete: its " + std::to_string(length) + " bytes can't hold " +
                          std::to_string(voxels) + " voxels");
  }
}

}  // namespace

void requireSaneHeader(fs::path const& path, FileFormat format) {
  std::optional<std::string> complaint;
  if (format == FileFormat::metaImage) complaint = complaintAboutMetaImage(path);
  if (format == FileFormat::nifti) complaint = complaintAboutNifti(path);
  if (complaint) refuseInput(path, *complaint);
}

void requireWholeFile(itk::ImageIOBase const& io, fs::path const& path, FileFormat format) {
  std::uint64_t const voxels = voxelCountIn(io);
  std::uint64_t const bytes = voxels * io.GetComponentSize();
  switch (format) {
    case FileFormat::nifti: {
      ImageData const data = {path, 0, path.extension() == ".gz", true};
      return requireBytes(data, niftiSize(io), path);
    }
    case FileFormat::metaImage:
    case FileFormat::nrrd: {
      ImageData const data = dataOf(path, format);
      if (data.plain) requireBytes(data, bytes, path);
      return;
    }
    case FileFormat::vtk:
      if (io.GetFileType() == itk::IOFileEnum::ASCII) return requireText(path, voxels);
      return requireBytes(vtkData(path), bytes, path);
    case FileFormat::tiff:
    case FileFormat::dicom:
    case FileFormat::vti:
      return;  // their readers notice
  }
}

std::vector<fs::path> filesOf(fs::path const& path, FileFormat format) {
  bool const mayBeTwo = format == FileFormat::metaImage || format == FileFormat::nrrd;
  if (!mayBeTwo) return {path};
  return {path, dataOf(path, format).file};
}

}  // namespace lorb::tools
