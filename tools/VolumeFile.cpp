#include "tools/VolumeFile.h"

#include "tools/ItkVolumeFile.h"
#include "tools/StagingFolder.h"
#include "tools/errors.h"
#ifdef LORB_TOOLS_WITH_VTI
#include "tools/VtiVolumeFile.h"
#endif

#include <string_view>
#include <system_error>

namespace lorb::tools {
namespace fs = std::filesystem;
namespace {

struct Extension {
  std::string_view name;
  FileFormat format;
  std::string_view oneFile;  ///< the extension with which the format's writer keeps all in one file
};

constexpr Extension extensions[] = {
    {".nii", FileFormat::nifti, ".nii"},     {".nii.gz", FileFormat::nifti, ".nii.gz"},
    {".mha", FileFormat::metaImage, ".mha"}, {".mhd", FileFormat::metaImage, ".mha"},
    {".nrrd", FileFormat::nrrd, ".nrrd"},    {".nhdr", FileFormat::nrrd, ".nrrd"},
#ifdef LORB_TOOLS_WITH_VTI
    {".vti", FileFormat::vti, ".vti"},
#endif
};

Extension const* extensionOf(fs::path const& path) {
  std::string const name = path.filename().string();
  for (Extension const& extension : extensions) {
    if (name.size() > extension.name.size() && name.ends_with(extension.name)) return &extension;
  }
  return nullptr;
}

std::string unknownExtension(fs::path const& path) {
  return path.string() + ": unknown extension; expected one of " + supportedExtensions();
}

void requireFile(fs::path const& path) {
  std::error_code error;
  fs::file_status const status = fs::status(path, error);
  if (status.type() == fs::file_type::not_found)
    throw InputError("input " + path.string() + ": no such file");
  if (fs::is_directory(status)) {
    throw InputError("input " + path.string() + ": is a folder; expected a file");
  }
  if (!fs::is_regular_file(status)) {
    throw InputError("input " + path.string() + ": is no regular file; expected one");
  }
  if (fs::file_size(path, error) == 0 && !error) {
    throw InputError("input " + path.string() + ": is empty; expected a volume");
  }
}

void writeAs(FileFormat format, Volume const& volume, fs::path const& path) {
#ifdef LORB_TOOLS_WITH_VTI
  if (format == FileFormat::vti) return writeVtiVolume(volume, path);
#endif
  writeItkVolume(volume, path, format);
}

void requireWritten(Volume const& volume, fs::path const& staged, fs::path const& target) try {
  Volume const written = readVolume(staged);
  if (!equalVoxels(*written.voxels, *volume.voxels)) {
    throw OutputError("output " + target.string() + ": the written voxels are not the computed ones");
  }
  if (!samePlace(volume.geometry, written.geometry, extentsOf(*volume.voxels))) {
    throw OutputError("output " + target.string() + ": " + nameOf(*formatOf(target)) +
                      " can't hold the volume's origin, spacing and direction; expected another format");
  }
} catch (InputError const&) {
  throw OutputError("output " + target.string() + ": could not be written in full; is the disk full?");
}

}  // namespace

std::string nameOf(FileFormat format) {
  switch (format) {
    case FileFormat::nifti:
      return "NIfTI";
    case FileFormat::metaImage:
      return "MetaImage";
    case FileFormat::nrrd:
      return "NRRD";
    case FileFormat::vti:
      return "VTK image";
  }
  return "unknown";
}

std::optional<FileFormat> formatOf(fs::path const& path) {
  Extension const* const extension = extensionOf(path);
  return extension == nullptr ? std::nullopt : std::optional(extension->format);
}

std::string supportedExtensions() {
  std::string list;
  for (Extension const& extension : extensions) {
    list += (list.empty() ? "" : ", ") + std::string(extension.name);
  }
  return list;
}

Volume readVolume(fs::path const& path) {
  requireFile(path);
  auto const format = formatOf(path);
  if (!format) throw InputError("input " + unknownExtension(path));
#ifdef LORB_TOOLS_WITH_VTI
  if (*format == FileFormat::vti) return readVtiVolume(path);
#endif
  return readItkVolume(path, *format);
}

void requireTarget(fs::path const& target, bool replace, std::optional<fs::path> const& input) {
  if (!formatOf(target)) throw OutputError("output " + unknownExtension(target));
  std::error_code error;
  if (fs::is_directory(target, error)) {
    throw OutputError("output " + target.string() + ": is a folder; expected a file name");
  }
  fs::path const folder = target.has_parent_path() ? target.parent_path() : fs::path(".");
  if (!fs::is_directory(folder, error)) {
    throw OutputError("output " + target.string() + ": there is no folder " + folder.string());
  }
  if (input && fs::equivalent(*input, target, error)) {
    throw OutputError("output " + target.string() + ": is the input; expected another file");
  }
  if (!replace && fs::exists(target, error)) {
    throw OutputError("output " + target.string() + ": exists; expected a new name or --force");
  }
}

void writeVolume(Volume const& volume, fs::path const& target, bool replace) {
  requireTarget(target, replace);
  StagingFolder const staging(target);
  fs::path const staged = staging.path() / ("map" + std::string(extensionOf(target)->oneFile));
  try {
    writeAs(*formatOf(target), volume, staged);
  } catch (OutputError const& error) {
    throw OutputError("output " + target.string() + ": " + error.what());
  }
  requireWritten(volume, staged, target);
  requireTarget(target, replace);  // somebody else may have written it meanwhile
  staging.moveToTarget(staged);
}

}  // namespace lorb::tools
