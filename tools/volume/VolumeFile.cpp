#include "tools/volume/VolumeFile.h"

#include "tools/base/Workers.h"
#include "tools/base/errors.h"
#include "tools/volume/formatTable.h"
#include "tools/volume/standardStreams.h"

#include <span>
#include <string>
#include <system_error>

namespace lorb::tools {
namespace fs = std::filesystem;
namespace {

void requireFile(fs::path const& path) {
  std::error_code error;
  fs::file_status const status = fs::status(path, error);
  if (status.type() == fs::file_type::not_found) refuseInput(path, "no such file");
  if (!fs::status_known(status)) refuseInput(path, "can't be reached: " + error.message());
  if (!fs::is_regular_file(status)) refuseInput(path, "is no regular file; expected one");
  if (auto const reason = whyClosed(path)) refuseInput(path, "can't be opened: " + *reason);
  if (fs::file_size(path, error) == 0 && !error) refuseInput(path, "is empty; expected a volume");
}

VolumeFormat const& formatOfFolder(fs::path const& path) {
  for (VolumeFormat const* const format : formats()) {
    if (format->takesFolder != nullptr && format->takesFolder(path)) return *format;
  }
  for (VolumeFormat const* const format : formats()) {
    if (format->isSeries) return *format;
  }
  refuseInput(path, "is a folder; expected a file");
}

VolumeFormat const& formatOfFile(fs::path const& path) {
  requireFile(path);
  if (VolumeFormat const* const format = formatOf(path)) return *format;
  for (VolumeFormat const* const format : formats()) {
    if (format->isMarked != nullptr && format->isMarked(path)) return *format;
  }
  refuseInput(path, "unknown extension; expected one of " + readableExtensions());
}

void requireNoSeries(fs::path const& path, InputChoice const& choice) {
  if (choice.series) refuseInput(path, "is no DICOM series; expected no --series '" + *choice.series + "'");
}

bool isWritten(VolumeFormat const& format) {
  return format.head != nullptr || format.write != nullptr;
}

[[noreturn]] void refusePlace(fs::path const& target, VolumeFormat const& format) {
  throw OutputError("output " + target.string() + ": " + std::string(format.name) +
                    " can't hold the volume's origin, spacing and direction; expected another format");
}

void requireVoxels(Volume const& volume, StagedFile const& file) try {
  if (equalVoxels(*readVolume(file.path).voxels, *volume.voxels)) return;
  throw OutputError("output " + file.target.string() + ": the written voxels are not the computed ones");
} catch (InputError const&) {
  throw OutputError("output " + file.target.string() + ": could not be written in full; is the disk full?");
}

VolumeHeader headerOf(Volume const& volume) {
  VolumeHeader header;
  header.type = volume.voxels->type_id();
  header.extents = extentsOf(*volume.voxels);
  header.geometry = volume.geometry;
  header.notes = volume.notes;
  return header;
}

void writeInOnePiece(Volume const& volume, VoxelWriter& writer) {
  Extents const extents = extentsOf(*volume.voxels);
  std::uint64_t const bytes = voxelCount(extents) * bytesOf(volume.voxels->type_id());
  std::span const voxels(static_cast<std::byte const*>(dataOf(*volume.voxels)), bytes);
  Workers workers(1);
  workers.run([&] { writer.append(writer.prepare({{0, 0, 0}, extents}, voxels)); });
  writer.finish();
}

}  // namespace

std::unique_ptr<VoxelWriter> openVoxelWriter(StagedFile const& file, VolumeHeader const& header,
                                             bool compressed, int compression) try {
  if (header.type == typeBool) throw OutputError("no file format stores elements of type Bool");
  VolumeFormat const& format = *formatOf(file.path);
  if (format.head == nullptr) return nullptr;
  return std::make_unique<VoxelWriter>(file.path, format.head(file.path, header, compressed), header.extents,
                                       bytesOf(header.type), compression);
} catch (OutputError const& error) {
  throw OutputError("output " + file.target.string() + ": " + error.what());
}

void requireWrittenHeader(StagedFile const& file, VolumeHeader const& header) try {
  auto const written = openVolume(file.path);
  if (written->header().type != header.type && written->header().type != typeNone) {
    throw OutputError("output " + file.target.string() + ": holds " + nameOf(written->header().type) +
                      ", not the " + nameOf(header.type) + " that was written");
  }
  if (written->header().extents != header.extents ||
      !samePlace(header.geometry, written->header().geometry, header.extents)) {
    refusePlace(file.target, *formatOf(file.path));
  }
} catch (InputError const&) {
  throw OutputError("output " + file.target.string() + ": could not be written in full; is the disk full?");
}

std::unique_ptr<VolumeSource> openVolume(fs::path const& path, InputChoice const& choice) {
  if (isStandardStream(path)) {
    requireNoSeries(path, choice);
    return openStandardInput(choice);
  }
  std::error_code ignored;
  VolumeFormat const& format = fs::is_directory(path, ignored) ? formatOfFolder(path) : formatOfFile(path);
  if (!format.isSeries) requireNoSeries(path, choice);
  return format.open(path, choice);
}

Volume readVolume(fs::path const& path, InputChoice const& choice) {
  auto const source = openVolume(path, choice);
  Volume volume;
  volume.voxels = source->read(wholeRegion(source->header().extents));
  volume.geometry = source->header().geometry;
  volume.notes = source->header().notes;
  return volume;
}

void requireWritableName(fs::path const& target) {
  if (isStandardStream(target) || !oneFileExtensionOf(target).empty()) return;
  VolumeFormat const* const format = formatOf(target);
  std::string const reason = format == nullptr     ? "unknown extension"
                             : !isWritten(*format) ? std::string(format->name) + " files are not written"
                                                   : "header and voxels are written in one file alone";
  throw OutputError("output " + target.string() + ": " + reason + "; expected one of " +
                    writableExtensions());
}

void requireRoomForPlace(fs::path const& target, Geometry const& geometry, Extents const& extents) {
  if (isStandardStream(target)) return;
  VolumeFormat const& format = *formatOf(target);
  if (format.placeIn == nullptr || samePlace(geometry, format.placeIn(geometry), extents)) return;
  refusePlace(target, format);
}

void writeVolume(Volume const& volume, StagedFile const& file, int compression) {
  VolumeHeader const header = headerOf(volume);
  auto const writer = openVoxelWriter(file, header, isCompressed(file.path, compression), compression);
  try {
    if (writer) {
      writeInOnePiece(volume, *writer);
    } else {
      formatOf(file.path)->write(volume, file.path, compression);
    }
  } catch (OutputError const& error) {
    throw OutputError("output " + file.target.string() + ": " + error.what());
  }
  if (!writer) requireVoxels(volume, file);
  requireWrittenHeader(file, header);
}

void writeVolume(Volume const& volume, fs::path const& target, bool replace) {
  requireWritableName(target);
  Targets targets(replace);
  writeVolume(volume, targets.add(target), defaultCompression);
  targets.putInPlace();
}

}  // namespace lorb::tools
