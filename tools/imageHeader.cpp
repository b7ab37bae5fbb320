#include "tools/imageHeader.h"

#include "tools/parseNumber.h"

#include <fstream>
#include <map>
#include <string>

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

}  // namespace

std::optional<ImageData> metaImageData(std::filesystem::path const& path) {
  std::ifstream header(path, std::ios::binary);
  Fields const fields = readFields(header, '=', "ElementDataFile");
  std::string const file = valueOf(fields, "ElementDataFile", "LIST");
  if (file.starts_with("LIST") || file.find('%') != std::string::npos) return std::nullopt;
  ImageData data;
  data.compressed = isTrue(valueOf(fields, "CompressedData", "False"));
  data.plain = isTrue(valueOf(fields, "BinaryData", "False"));
  if (file == "LOCAL" || file == "Local" || file == "local") {
    data.file = path;
    data.offset = positionOf(header);
  } else {
    data.file = path.parent_path() / file;
    // −1 stands for "at the end of the file", which any file satisfies that is long enough.
    int const skipped = parseInteger(valueOf(fields, "HeaderSize", "0")).value_or(0);
    if (skipped > 0) data.offset = static_cast<std::uint64_t>(skipped);
  }
  return data;
}

std::optional<ImageData> nrrdData(std::filesystem::path const& path) {
  std::ifstream header(path, std::ios::binary);
  Fields const fields = readFields(header, ':', "");
  std::string const encoding = valueOf(fields, "encoding", "");
  ImageData data;
  data.file = path;
  data.offset = positionOf(header);
  data.compressed = encoding == "gzip" || encoding == "gz";
  bool const elsewhere = fields.count("data file") + fields.count("datafile") > 0;
  bool const skips = fields.count("byte skip") + fields.count("byteskip") + fields.count("line skip") +
                         fields.count("lineskip") >
                     0;
  data.plain = (data.compressed || encoding == "raw") && !elsewhere && !skips;
  return data;
}

}  // namespace lorb::tools
