// The command line of lorb-distance.
#pragma once

#include "tools/VolumeSource.h"
#include "tools/distanceMap.h"
#include "tools/objectMask.h"

#include <filesystem>
#include <iosfwd>
#include <optional>

namespace lorb::tools {

/// What the command line asks for.
struct Options {
  std::optional<std::filesystem::path> input;  ///< nothing: the phantom
  InputChoice inputChoice;
  std::filesystem::path output;
  SliceChoice choice;
  ObjectRule rule;
  bool force = false;
};

/// Reads the command line. Prints the answer to --help or --version on `out` and returns nothing when
/// that is all there is to do. Throws `UsageError`.
std::optional<Options> parseOptions(int argc, char const* const* argv, std::ostream& out);

}  // namespace lorb::tools
