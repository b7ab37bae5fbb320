// Legacy VTK files of structured points, read by their header.

#include "tools/base/parseNumber.h"
#include "tools/volume/ItkVolumeSource.h"
#include "tools/volume/ItkVolumeWriter.h"
#include "tools/volume/formatTable.h"
#include "tools/volume/textHeader.h"

#include <itkVTKImageIO.h>

#include <bit>
#include <fstream>
#include <string>

namespace lorb::tools {
namespace fs = std::filesystem;
namespace {

/// The three numbers that a file gives for "ORIGIN" or "SPACING"; nothing when it does not.
std::optional<Vector3> vectorIn(fs::path const& path, std::string const& name) {
  std::ifstream header(path, std::ios::binary);
  std::string line;
  for (int k = 0; k < 32 && std::getline(header, line); ++k) {
    auto const words = wordsIn(line);
    if (words.size() != 4 || words[0] != name) continue;
    Vector3 vector;
    for (std::size_t a = 0; a < 3; ++a) {
      auto const number = parseNumber(words[a + 1]);
      if (!number) return std::nullopt;
      vector[a] = static_cast<double>(*number);
    }
    return vector;
  }
  return std::nullopt;
}

std::optional<ImageData> imageData(fs::path const& path) {
  std::ifstream header(path, std::ios::binary);
  ImageData data;
  data.file = path;
  data.bigEndian = true;
  Coding coding = Coding::other;
  std::string line;
  for (int k = 0; k < 32 && std::getline(header, line); ++k) {
    line = inSmallLetters(line);
    if (line.starts_with("ascii")) coding = Coding::text;
    if (line.starts_with("binary")) coding = Coding::plain;
    if (!line.starts_with("scalars")) continue;
    data.coding = coding;
    data.offset = positionOf(header);
    // The table's name, which is optional, is the last line before the numbers.
    if (std::getline(header, line) && inSmallLetters(line).starts_with("lookup_table")) {
      data.offset = positionOf(header);
    }
    break;
  }
  return data;
}

/// ITK drops the third dimension of a single slice, and its place with it.
void completePlace(Geometry& geometry, fs::path const& path) {
  geometry.origin = vectorIn(path, "ORIGIN").value_or(geometry.origin);
  geometry.spacing = vectorIn(path, "SPACING").value_or(geometry.spacing);
}

constexpr ItkFormat itkFormat = {.name = "legacy VTK",
                                 .makeImageIO = [] { return makeImageIO<itk::VTKImageIO>(); },
                                 .imageData = imageData,
                                 .completePlace = completePlace,
                                 .inPatient = false};

constexpr Extension extensions[] = {{".vtk", ".vtk"}};

Geometry withoutDirections(Geometry const& geometry) {
  Geometry result = geometry;
  result.direction = Geometry().direction;
  return result;
}

FileHead head(fs::path const& path, VolumeHeader const& header, bool) {
  FileHead head;
  head.bytes = itkHeadOfOneVoxel(path, header, itkFormat);
  replaceLine(head.bytes, "DIMENSIONS 1 1 1 ", "DIMENSIONS " + withBlanks(header.extents));
  replaceLine(head.bytes, "POINT_DATA 1", "POINT_DATA " + std::to_string(voxelCount(header.extents)));
  head.swapped = std::endian::native == std::endian::little;
  return head;
}

}  // namespace

constinit VolumeFormat const legacyVtkFormat = {.name = itkFormat.name,
                                                .extensions = extensions,
                                                .open = openItkVolume<itkFormat>,
                                                .head = head,
                                                .placeIn = withoutDirections};

}  // namespace lorb::tools
