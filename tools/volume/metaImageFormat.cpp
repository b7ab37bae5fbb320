// MetaImage files, read by their header.

#include "tools/base/parseNumber.h"
#include "tools/volume/ItkVolumeSource.h"
#include "tools/volume/ItkVolumeWriter.h"
#include "tools/volume/formatTable.h"
#include "tools/volume/textHeader.h"

#include <itkMetaImageIO.h>

#include <fstream>
#include <string>

namespace lorb::tools {
namespace fs = std::filesystem;
namespace {

Fields metaImageFields(std::istream& header) {
  return readFields(header, '=', "ElementDataFile");
}

constexpr int mostDimensions = 10;

/// Fields of a finite number an axis, by all the names they have.
constexpr char const* perAxis[] = {"Offset", "Position", "Origin", "ElementSpacing", "ElementSize"};

/// ITK's reader relies on all numbers.
std::optional<std::string> headerError(fs::path const& path) {
  std::ifstream header(path, std::ios::binary);
  Fields const fields = metaImageFields(header);
  std::string const text = valueOf(fields, "NDims", "none");
  int const dimensions = parseInteger(text).value_or(0);
  if (dimensions < 1 || dimensions > mostDimensions) {
    return "has NDims = " + text + "; expected a number from 1 to " + std::to_string(mostDimensions);
  }
  if (fields.count("DimSize") == 0) return "has no DimSize; expected a number of voxels for each axis";
  auto const sizes = wordsIn(fields.at("DimSize"));
  if (sizes.size() != static_cast<std::size_t>(dimensions)) {
    return "has " + std::to_string(sizes.size()) + " numbers in DimSize; expected " + text;
  }
  for (std::string const& size : sizes) {
    if (parseInteger(size).value_or(0) < 1)
      return "claims an impossible size of " + size + " voxels in DimSize";
  }
  std::string const channels = valueOf(fields, "ElementNumberOfChannels", "1");
  if (channels != "1") return "holds " + channels + " values a voxel; expected 1";
  for (char const* name : perAxis) {
    if (auto error = numbersError(fields, name, dimensions)) return error;
  }
  int const skipped = parseInteger(valueOf(fields, "HeaderSize", "0")).value_or(-2);
  if (skipped < -1) {
    return "has HeaderSize = " + fields.at("HeaderSize") + "; expected a whole number of bytes, or -1";
  }
  bool const isLocal = inSmallLetters(valueOf(fields, "ElementDataFile", "")) == "local";
  if (isLocal && skipped > 0 && static_cast<std::uint64_t>(skipped) < positionOf(header)) {
    return "has HeaderSize = " + fields.at("HeaderSize") + ", within its header; expected " +
           std::to_string(positionOf(header)) + " or more, or 0";
  }
  for (char const* name : {"TransformMatrix", "Rotation", "Orientation"}) {
    if (auto error = numbersError(fields, name, dimensions * dimensions)) return error;
  }
  return std::nullopt;
}

std::optional<ImageData> imageData(fs::path const& path) {
  std::ifstream header(path, std::ios::binary);
  Fields const fields = metaImageFields(header);
  std::string const file = valueOf(fields, "ElementDataFile", "LIST");
  if (file.starts_with("LIST") || file.find('%') != std::string::npos) return std::nullopt;
  ImageData data;
  bool const compressed = isTrue(valueOf(fields, "CompressedData", "False"));
  bool const binary = isTrue(valueOf(fields, "BinaryData", "False"));
  data.coding = compressed ? Coding::compressed : binary ? Coding::plain : Coding::text;
  for (char const* name : {"ElementByteOrderMSB", "BinaryDataByteOrderMSB"}) {
    if (fields.count(name) > 0) data.bigEndian = isTrue(fields.at(name));
  }
  if (compressed) data.compressedSize = valueOf(fields, "CompressedDataSize", "nothing");
  if (file == "LOCAL" || file == "Local" || file == "local") {
    data.file = path;
    data.offset = positionOf(header);
  } else {
    data.file = path.parent_path() / file;
  }
  int const skipped = parseInteger(valueOf(fields, "HeaderSize", "0")).value_or(0);
  if (skipped > 0) data.offset = static_cast<std::uint64_t>(skipped);
  data.atEnd = skipped < 0;
  return data;
}

constexpr ItkFormat itkFormat = {.name = "MetaImage",
                                 .makeImageIO = [] { return makeImageIO<itk::MetaImageIO>(); },
                                 // It asks for NDims, as the check of the header does, and for an extension
                                 // in small letters.
                                 .asksItkFirst = false,
                                 .headerError = headerError,
                                 .imageData = imageData};

constexpr Extension extensions[] = {{".mha", ".mha", Compressed::ifWanted},
                                    {".mhd", ".mha", Compressed::ifWanted}};

std::string_view extensionFor(std::string_view head) {
  return head.substr(0, 400).find("NDims") != std::string_view::npos ? ".mha" : "";
}

FileHead head(fs::path const& path, VolumeHeader const& header, bool compressed) {
  FileHead head;
  head.bytes = itkHeadOfOneVoxel(path, header, itkFormat);
  replaceLine(head.bytes, "DimSize = 1 1 1", "DimSize = " + withBlanks(header.extents));
  if (!compressed) return head;
  head.compressed = true;
  head.wrapping = Wrapping::zlib;
  std::string const lines = "CompressedData = True\nCompressedDataSize = ";
  constexpr std::size_t digits = 20;
  replaceLine(head.bytes, "CompressedData = False", lines + std::string(digits, ' '));
  head.sizePlace = head.bytes.find(lines) + lines.size();
  return head;
}

}  // namespace

constinit VolumeFormat const metaImageFormat = {.name = itkFormat.name,
                                                .extensions = extensions,
                                                .open = openItkVolume<itkFormat>,
                                                .extensionFor = extensionFor,
                                                .head = head};

}  // namespace lorb::tools
