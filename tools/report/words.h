// Words and numbers that all reports share.
#pragma once

#include "tools/commandLine/Options.h"
#include "tools/report/Report.h"

#include <nlohmann/json.hpp>

#include <string>

namespace lorb::tools {

using json = nlohmann::ordered_json;

/// "voxels", "mm"
char const* nameOf(Units units);

/// As on the command line.
char const* nameOf(NoBoundary choice);

/// With two decimals, whatever the locale.
std::string decimals(double number);

/// A whole number of 64 bits in full.
json exactJson(ExactNumber number);

/// Name, version and build of the tool.
json programJson();

}  // namespace lorb::tools
