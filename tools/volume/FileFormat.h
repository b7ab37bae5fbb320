// Kinds of files, and the names by which they are known.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace lorb::tools {

enum class FileFormat { nifti, metaImage, nrrd, vtk, tiff, dicom, vti };

/// Name of a format for people, such as "MetaImage".
std::string nameOf(FileFormat format);

/// The format that the name's extension stands for, in capital letters or not; nothing for all others.
std::optional<FileFormat> formatOf(std::filesystem::path const& path);

/// The extension that names the format, ".nii.gz" for one; empty when the name has none of the known ones.
std::string extensionOf(std::filesystem::path const& path);

/// The extension with which the format's writer keeps all in one file: ".mha" for ".mhd".
std::string oneFileExtensionOf(std::filesystem::path const& path);

/// The known extensions in one line: ".nii, .nii.gz, …"; of those alone that can be written, or of all.
std::string readableExtensions();
std::string writableExtensions();

/// Whether maps are written in files of this name.
bool isWritable(std::filesystem::path const& path);

}  // namespace lorb::tools
