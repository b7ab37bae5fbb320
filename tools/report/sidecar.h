// What a map is, in a JSON file beside it.
#pragma once

#include "tools/report/Report.h"

#include <string>

namespace lorb::tools {

/// JSON text that says where a map comes from and what its values are. Its keys are those of the Brain
/// Imaging Data Structure where that has them.
std::string sidecarText(MapReport const& map, Report const& report);

}  // namespace lorb::tools
