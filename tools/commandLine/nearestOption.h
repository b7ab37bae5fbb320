// What somebody may have meant who typed an option that does not exist.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace lorb::tools {

/// The long option that is nearest to a mistyped one, such as "--above" for "--abvoe": the shortest that
/// begins with it, or else the one with the fewest letters left out, put in, replaced or swapped. Nothing
/// when more than a third of the letters would have to change.
std::optional<std::string> nearestOption(std::string_view typed);

}  // namespace lorb::tools
