// Numbers on the command line.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace lorb::tools {

/// Holds every 64-bit integer and every double exactly, so that thresholds and labels compare exactly
/// with voxels of all element types.
using ExactNumber = long double;

/// The number that the whole of `text` is, with a sign or without: an integer from −2⁶³ to 2⁶⁴ − 1 exactly,
/// any other finite number as the nearest double. Nothing for other text, NaN and infinity included.
std::optional<ExactNumber> parseNumber(std::string_view text);

/// The shortest text that `parseNumber` reads as the same number, whatever the locale.
std::string numberText(ExactNumber number);

/// The number that the whole of `text` is, if one of type `int`.
std::optional<int> parseInteger(std::string_view text);

}  // namespace lorb::tools
