#include "tools/volume/VolumeFile.h"

#include "tools/base/errors.h"
#include "tools/volume/DicomSeries.h"
#include "tools/volume/ItkVolumeSource.h"
#include "tools/volume/ItkVolumeWriter.h"
#include "tools/volume/NiftiVolume.h"
#include "tools/volume/TiffVolumeSource.h"
#include "tools/volume/TiffVolumeWriter.h"
#include "tools/volume/standardStreams.h"
#ifdef LORB_TOOLS_WITH_VTI
#include "tools/volume/VtiVolumeFile.h"
#endif

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

FileFormat formatOfFile(fs::path const& path) {
  if (auto const format = formatOf(path)) return *format;
  // DICOM files often have no extension.
  if (isDicomFile(path)) return FileFormat::dicom;
  refuseInput(path, "unknown extension; expected one of " + readableExtensions());
}

void requireNoSeries(fs::path const& path, InputChoice const& choice) {
  if (choice.series) refuseInput(path, "is no DICOM series; expected no --series '" + *choice.series + "'");
}

void writeAs(FileFormat format, Volume const& volume, fs::path const& path) {
#ifdef LORB_TOOLS_WITH_VTI
  if (format == FileFormat::vti) return writeVtiVolume(volume, path);
#endif
  if (format == FileFormat::nifti) return writeNiftiVolume(volume, path);
  if (format == FileFormat::tiff) return writeTiffVolume(volume, path);
  writeItkVolume(volume, path, format);
}

[[noreturn]] void refusePlace(fs::path const& target, FileFormat format) {
  throw OutputError("output " + target.string() + ": " + nameOf(format) +
                    " can't hold the volume's origin, spacing and direction; expected another format");
}

/// What is left of a place in a file of the format.
Geometry placeIn(FileFormat format, Geometry geometry) {
  if (format == FileFormat::vtk) geometry.direction = Geometry().direction;
  if (format != FileFormat::tiff) return geometry;
  Geometry flat;
  flat.spacing = geometry.spacing;
  return flat;
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
  std::error_code error;
  if (fs::is_directory(path, error)) return openDicomSeries(path, choice);
  if (!isStandardStream(path)) requireFile(path);
  auto const format = isStandardStream(path) ? FileFormat::nrrd : formatOfFile(path);
  if (format == FileFormat::dicom) return openDicomSeries(path, choice);
  requireNoSeries(path, choice);
  if (isStandardStream(path)) return openStandardInput(choice);
#ifdef LORB_TOOLS_WITH_VTI
  if (format == FileFormat::vti) {
    chosenVolume(1, choice, path);
    return openVtiVolume(path);
  }
#endif
  if (format == FileFormat::tiff) return openTiffVolume(path, choice);
  if (format == FileFormat::nifti) return openNiftiVolume(path, choice);
  return openItkVolume(path, format, choice);
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
  if (isStandardStream(target) || isWritable(target)) return;
  auto const format = formatOf(target);
  std::string const reason = !format ? "unknown extension"
                             : *format == FileFormat::nifti
                                 ? "header and voxels are written in one file alone"
                                 : nameOf(*format) + " files are not written";
  throw OutputError("output " + target.string() + ": " + reason + "; expected one of " +
                    writableExtensions());
}

void requireRoomForPlace(fs::path const& target, Geometry const& geometry, Extents const& extents) {
  if (isStandardStream(target)) return;
  FileFormat const format = *formatOf(target);
  if (!samePlace(geometry, placeIn(format, geometry), extents)) refusePlace(target, format);
}

void writeVolume(Volume const& volume, StagedFile const& file) {
  try {
    writeAs(*formatOf(file.path), volume, file.path);
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
