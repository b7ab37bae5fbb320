// NRRD files, read by their header.

#include "tools/base/parseNumber.h"
#include "tools/volume/ItkVolumeSource.h"
#include "tools/volume/ItkVolumeWriter.h"
#include "tools/volume/formatTable.h"
#include "tools/volume/segments.h"
#include "tools/volume/textHeader.h"

#include <itkNrrdImageIO.h>

#include <fstream>
#include <string>
#include <vector>

namespace lorb::tools {
namespace fs = std::filesystem;
namespace {

/// ITK's reader takes a spacing that is no number for 1.
std::optional<std::string> headerError(fs::path const& path) {
  std::ifstream header(path, std::ios::binary);
  Fields const fields = readFields(header, ':', "");
  if (fields.count("spacings") == 0) return std::nullopt;
  auto words = wordsIn(fields.at("spacings"));
  constexpr std::size_t axes = 3;  // those beyond have no place in space, which NaN says of them
  if (words.size() > axes) words.resize(axes);
  for (std::string const& word : words) {
    if (!parseNumber(word)) return "has '" + word + "' in spacings; expected finite numbers above 0";
  }
  return std::nullopt;
}

std::optional<ImageData> imageData(fs::path const& path) {
  std::ifstream header(path, std::ios::binary);
  Fields const fields = readFields(header, ':', "");
  std::string const encoding = valueOf(fields, "encoding", "");
  ImageData data;
  data.file = path;
  data.offset = positionOf(header);
  data.bigEndian = valueOf(fields, "endian", "little") == "big";
  std::string const elsewhere = valueOf(fields, "data file", valueOf(fields, "datafile", ""));
  bool const skips = fields.count("byte skip") + fields.count("byteskip") + fields.count("line skip") +
                         fields.count("lineskip") >
                     0;
  if (!skips && encoding == "raw") data.coding = Coding::plain;
  if (!skips && (encoding == "gzip" || encoding == "gz")) data.coding = Coding::compressed;
  if (!skips && (encoding == "ascii" || encoding == "text" || encoding == "txt")) data.coding = Coding::text;
  if (elsewhere.empty()) return data;
  if (elsewhere.starts_with("LIST") || elsewhere.find('%') != std::string::npos) return std::nullopt;
  data.file = path.parent_path() / elsewhere;
  data.offset = 0;
  return data;
}

constexpr ItkFormat itkFormat = {.name = "NRRD",
                                 .makeImageIO = [] { return makeImageIO<itk::NrrdImageIO>(); },
                                 .headerError = headerError,
                                 .imageData = imageData};

/// Files of 3D Slicer hold segments, which may lie in several layers.
std::unique_ptr<VolumeSource> open(fs::path const& path, InputChoice const& choice) {
  std::vector<Segment> const segments = segmentsIn(path);
  if (!segments.empty()) {
    auto const io = openAfterTrial(path, itkFormat);
    if (io->GetNumberOfComponents() > 1 || !choice.segments.empty()) {
      return openSegmentation(*io, path, segments, choice, itkFormat);
    }
  }
  return openItkVolume(path, choice, itkFormat);
}

constexpr Extension extensions[] = {{".nrrd", ".nrrd", Compressed::ifWanted},
                                    {".nhdr", ".nrrd", Compressed::ifWanted}};

std::string_view extensionFor(std::string_view head) {
  return head.starts_with("NRRD") ? ".nrrd" : "";
}

FileHead head(fs::path const& path, VolumeHeader const& header, bool compressed) {
  FileHead head;
  head.bytes = itkHeadOfOneVoxel(path, header, itkFormat);
  head.compressed = compressed;
  replaceLine(head.bytes, "sizes: 1 1 1", "sizes: " + withBlanks(header.extents));
  if (compressed) replaceLine(head.bytes, "encoding: raw", "encoding: gzip");
  return head;
}

}  // namespace

constinit VolumeFormat const nrrdFormat = {.name = itkFormat.name,
                                           .extensions = extensions,
                                           .open = open,
                                           .extensionFor = extensionFor,
                                           .head = head};

}  // namespace lorb::tools
