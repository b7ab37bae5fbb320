#include "tools/volume/FileFormat.h"

#include <string_view>

namespace lorb::tools {
namespace {

struct Extension {
  std::string_view name;
  FileFormat format;
  std::string_view oneFile;  ///< as the format's writer keeps all in one file; empty where it writes none
};

constexpr Extension extensions[] = {
    {".nii", FileFormat::nifti, ".nii"},     {".nii.gz", FileFormat::nifti, ".nii.gz"},
    {".hdr", FileFormat::nifti, ""},         {".img", FileFormat::nifti, ""},
    {".hdr.gz", FileFormat::nifti, ""},      {".img.gz", FileFormat::nifti, ""},
    {".mha", FileFormat::metaImage, ".mha"}, {".mhd", FileFormat::metaImage, ".mha"},
    {".nrrd", FileFormat::nrrd, ".nrrd"},    {".nhdr", FileFormat::nrrd, ".nrrd"},
    {".vtk", FileFormat::vtk, ".vtk"},
#ifdef LORB_TOOLS_WITH_VTI
    {".vti", FileFormat::vti, ".vti"},
#endif
    {".tif", FileFormat::tiff, ".tif"},      {".tiff", FileFormat::tiff, ".tiff"},
    {".dcm", FileFormat::dicom, ""},         {".ima", FileFormat::dicom, ""},
};

Extension const* find(std::filesystem::path const& path) {
  std::string name = path.filename().string();
  for (char& c : name) c = 'A' <= c && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  for (Extension const& extension : extensions) {
    if (name.size() > extension.name.size() && name.ends_with(extension.name)) return &extension;
  }
  return nullptr;
}

template <class Belongs>
std::string listed(Belongs belongs) {
  std::string list;
  for (Extension const& extension : extensions) {
    if (belongs(extension)) list += (list.empty() ? "" : ", ") + std::string(extension.name);
  }
  return list;
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
    case FileFormat::vtk:
      return "legacy VTK";
    case FileFormat::tiff:
      return "TIFF";
    case FileFormat::dicom:
      return "DICOM";
    case FileFormat::vti:
      return "VTK image";
  }
  return "unknown";
}

std::optional<FileFormat> formatOf(std::filesystem::path const& path) {
  Extension const* const extension = find(path);
  return extension == nullptr ? std::nullopt : std::optional(extension->format);
}

std::string extensionOf(std::filesystem::path const& path) {
  Extension const* const extension = find(path);
  return extension == nullptr ? std::string() : std::string(extension->name);
}

std::string oneFileExtensionOf(std::filesystem::path const& path) {
  Extension const* const extension = find(path);
  return extension == nullptr ? std::string() : std::string(extension->oneFile);
}

std::string readableExtensions() {
  return listed([](Extension const&) { return true; });
}

std::string writableExtensions() {
  return listed([](Extension const& extension) { return !extension.oneFile.empty(); });
}

bool isWritable(std::filesystem::path const& path) {
  Extension const* const extension = find(path);
  return extension != nullptr && !extension->oneFile.empty();
}

}  // namespace lorb::tools
