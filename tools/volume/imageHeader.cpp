#include "tools/volume/imageHeader.h"

#include "tools/base/parseNumber.h"

#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace lorb::tools {
namespace {

using Fields = std::map<std::string, std::string>;

std::string trimmed(std::string const& text) {
  constexpr char const* blanks = " \t\r";
  auto const first = text.find_first_not_of(blanks);
  if (first == std::string::npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

/// The fields of a header, one a line, up to an empty line or the field `last`, whichever comes first; the
/// stream then stands behind it.
Fields readFields(std::istream& header, char separator, std::string const& last) {
  Fields fields;
  for (std::string line; fields.count(last) == 0 && std::getline(header, line) && !trimmed(line).empty();) {
    auto const position = line.find(separator);
    if (position == std::string::npos) continue;
    fields[trimmed(line.substr(0, position))] = trimmed(line.substr(position + 1));
  }
  return fields;
}

std::string valueOf(Fields const& fields, std::string const& name, std::string const& otherwise) {
  auto const field = fields.find(name);
  return field == fields.end() || field->second.empty() ? otherwise : field->second;
}

std::uint64_t positionOf(std::istream& stream) {
  auto const position = stream.tellg();
  return position < 0 ? 0 : static_cast<std::uint64_t>(position);
}

bool isTrue(std::string const& value) {
  return value[0] == 'T' || value[0] == 't' || value[0] == '1';
}

std::string inSmallLetters(std::string text) {
  for (char& c : text) c = 'A' <= c && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return text;
}

std::vector<std::string> wordsIn(std::string const& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

Fields metaImageFields(std::istream& header) {
  return readFields(header, '=', "ElementDataFile");
}

constexpr int mostDimensions = 10;

/// Fields of a finite number an axis, by all the names they have.
constexpr char const* perAxis[] = {"Offset", "Position", "Origin", "ElementSpacing", "ElementSize"};

std::optional<std::string> complaintAboutNumbers(Fields const& fields, char const* name, int count) {
  if (fields.count(name) == 0) return std::nullopt;
  auto const words = wordsIn(fields.at(name));
  if (words.size() != static_cast<std::size_t>(count)) {
    return "has " + std::to_string(words.size()) + " numbers in " + name + "; expected " +
           std::to_string(count);
  }
  for (std::string const& word : words) {
    if (!parseNumber(word)) return "has '" + word + "' in " + name + "; expected finite numbers";
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::string> complaintAboutMetaImage(std::filesystem::path const& path) {
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
    if (auto complaint = complaintAboutNumbers(fields, name, dimensions)) return complaint;
  }
  for (char const* name : {"TransformMatrix", "Rotation", "Orientation"}) {
    if (auto complaint = complaintAboutNumbers(fields, name, dimensions * dimensions)) return complaint;
  }
  return std::nullopt;
}

std::optional<ImageData> metaImageData(std::filesystem::path const& path) {
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
    // −1 stands for "at the end of the file".
    int const skipped = parseInteger(valueOf(fields, "HeaderSize", "0")).value_or(0);
    if (skipped > 0) data.offset = static_cast<std::uint64_t>(skipped);
    data.atEnd = skipped < 0;
  }
  return data;
}

std::optional<std::string> complaintAboutNrrd(std::filesystem::path const& path) {
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

std::optional<ImageData> nrrdData(std::filesystem::path const& path) {
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

std::optional<std::array<double, 3>> vtkVector(std::filesystem::path const& path, std::string const& name) {
  std::ifstream header(path, std::ios::binary);
  std::string line;
  for (int k = 0; k < 32 && std::getline(header, line); ++k) {
    auto const words = wordsIn(line);
    if (words.size() != 4 || words[0] != name) continue;
    std::array<double, 3> vector;
    for (std::size_t a = 0; a < 3; ++a) {
      auto const number = parseNumber(words[a + 1]);
      if (!number) return std::nullopt;
      vector[a] = static_cast<double>(*number);
    }
    return vector;
  }
  return std::nullopt;
}

ImageData vtkData(std::filesystem::path const& path) {
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

}  // namespace lorb::tools
