#include "tools/volume/itkData.h"

#include "tools/base/errors.h"
#include "tools/base/parseNumber.h"

#include <bit>
#include <cstdint>
#include <string>
#include <system_error>

namespace lorb::tools {
namespace fs = std::filesystem;
namespace {

std::uint64_t voxelCountIn(itk::ImageIOBase const& io) {
  std::uint64_t count = 1;
  for (unsigned d = 0; d < io.GetNumberOfDimensions(); ++d) count *= io.GetDimensions(d);
  return count;
}

/// Bytes of data from where they begin to the end of the file.
std::uint64_t bytesIn(ImageData const& data, fs::path const& path) {
  std::error_code error;
  std::uint64_t const length = fs::file_size(data.file, error);
  if (error) refuseInput(path, "its data file " + data.file.string() + ": " + error.message());
  return length > data.offset ? length - data.offset : 0;
}

/// The reader takes the header's word for the number of compressed bytes.
void requireCompressedSize(ImageData const& data, fs::path const& path) {
  std::uint64_t const bytes = bytesIn(data, path);
  auto const number = parseNumber(*data.compressedSize);
  if (number && *number == static_cast<ExactNumber>(bytes)) return;
  refuseInput(path, "has " + *data.compressedSize + " as its CompressedDataSize; expected " +
                        std::to_string(bytes) + ", as many bytes as follow");
}

/// Throws `InputError` when the data is shorter than `bytes` bytes, as far as its size in the file tells.
void requireWhole(ImageData const& data, std::uint64_t bytes, fs::path const& path) {
  if (data.compressedSize) requireCompressedSize(data, path);
  if (data.coding != Coding::plain) return;
  std::uint64_t const found = bytesIn(data, path);
  if (found >= bytes) return;
  refuseInput(path, "is incomplete: holds " + std::to_string(found) + " bytes of data; expected " +
                        std::to_string(bytes));
}

/// Where a file keeps its voxels: in a file that can be opened, and without waiting.
ImageData dataOf(fs::path const& path, ItkFormat const& format) {
  auto const data = format.imageData(path);
  if (!data) refuseInput(path, "keeps its voxels in several files; expected one");
  std::string const name = "its data file " + data->file.string();
  std::error_code ignored;
  if (auto const reason = whyClosed(data->file)) refuseInput(path, name + " can't be opened: " + *reason);
  if (!fs::is_regular_file(data->file, ignored))
    refuseInput(path, name + " is no regular file; expected one");
  return *data;
}

}  // namespace

void requireSaneHeader(fs::path const& path, ItkFormat const& format) {
  if (format.headerError != nullptr) {
    if (auto const error = format.headerError(path)) refuseInput(path, *error);
  }
  if (format.imageData != nullptr) dataOf(path, format);
}

std::optional<StoredVoxels> storedVoxels(itk::ImageIOBase const& io, fs::path const& path,
                                         ItkFormat const& format) {
  if (format.imageData == nullptr) return std::nullopt;
  ImageData const data = dataOf(path, format);
  std::uint64_t const bytes = voxelCountIn(io) * io.GetComponentSize() * io.GetNumberOfComponents();
  requireWhole(data, bytes, path);
  if (data.coding == Coding::other || (data.atEnd && data.coding != Coding::plain)) return std::nullopt;
  StoredVoxels voxels;
  voxels.input = path;
  voxels.file = data.file;
  voxels.offset = data.atEnd ? bytesIn(data, path) - bytes : data.offset;
  voxels.coding = data.coding;
  voxels.type = typeOf(io.GetComponentType());
  voxels.swapped = data.bigEndian != (std::endian::native == std::endian::big);
  return voxels;
}

std::vector<fs::path> filesOf(fs::path const& path, ItkFormat const& format) {
  if (format.imageData == nullptr) return {path};
  fs::path const data = dataOf(path, format).file;
  return data == path ? std::vector{path} : std::vector{path, data};
}

}  // namespace lorb::tools
