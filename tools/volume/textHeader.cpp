#include "tools/volume/textHeader.h"

#include "tools/base/parseNumber.h"

#include <iterator>
#include <sstream>

namespace lorb::tools {
namespace {

std::string trimmed(std::string const& text) {
  constexpr char const* blanks = " \t\r";
  auto const first = text.find_first_not_of(blanks);
  if (first == std::string::npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

}  // namespace

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

std::optional<std::string> numbersError(Fields const& fields, char const* name, int count) {
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

}  // namespace lorb::tools
