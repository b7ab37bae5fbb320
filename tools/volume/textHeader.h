// Headers of lines of text, as MetaImage, NRRD and legacy VTK files have them.
#pragma once

#include <cstdint>
#include <istream>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace lorb::tools {

/// Values by their names.
using Fields = std::map<std::string, std::string>;

/// The fields of a header, one a line, up to an empty line or the field `last`, whichever comes first; the
/// stream then stands behind it.
Fields readFields(std::istream& header, char separator, std::string const& last);

/// The value of a field; `otherwise` where it is missing or empty.
std::string valueOf(Fields const& fields, std::string const& name, std::string const& otherwise);

/// What is wrong with a field that holds `count` finite numbers, if there is such a field.
std::optional<std::string> numbersError(Fields const& fields, char const* name, int count);

/// Where the stream stands.
std::uint64_t positionOf(std::istream& stream);

/// Whether a value says yes, as MetaImage spells it.
bool isTrue(std::string const& value);

std::string inSmallLetters(std::string text);

std::vector<std::string> wordsIn(std::string const& text);

}  // namespace lorb::tools
