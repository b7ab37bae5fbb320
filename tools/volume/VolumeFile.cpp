#include "tools/volume/VolumeFile.h"

#include "tools/base/errors.h"
#include "tools/volume/formatTable.h"
#include "tools/volume/standardStreams.h"

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

[[noreturn]] void refusePlace(fs::path const& target, VolumeFormat const& format) {
  throw OutputError("output " + target.string() + ": " + std::string(format.name) +
                    " can't hold the volume's origin, spacing and direction; expected another format");
}

void requireWritten(Volume const& volume, StagedFile const& file) try {
  Volume const written = readVolume(file.path);
  if (!equalVoxels(*written.voxels, *volume.voxels)) {
    throw OutputError("output " + file.target.string() + ": the written voxels are not the computed ones");
  }
  if (!samePlace(volume.geometry, written.geometry, extentsOf(*volume.voxels))) {
    refusePlace(file.target, *formatOf(file.path));
  }
} catch (InputError const&) {
  throw OutputError("output " + file.target.string() + ": could not be written in full; is the disk full?");
}

}  // namespace

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
  std::string const reason = format == nullptr          ? "unknown extension"
                             : format->write == nullptr ? std::string(format->name) + " files are not written"
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

void writeVolume(Volume const& volume, StagedFile const& file) {
  try {
    formatOf(file.path)->write(volume, file.path);
  } catch (OutputError const& error) {
    throw OutputError("output " + file.target.string() + ": " + error.what());
  }
  requireWritten(volume, file);
}

void writeVolume(Volume const& volume, fs::path const& target, bool replace) {
  requireWritableName(target);
  Targets targets(replace);
  writeVolume(volume, targets.add(target));
  targets.putInPlace();
}

}  // namespace lorb::tools
