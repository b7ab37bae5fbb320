// The maps of one input: read, choose the object, compute, write, report.
#pragma once

#include "tools/commandLine/Options.h"

#include <filesystem>
#include <iosfwd>
#include <vector>

namespace lorb::tools {

/// What other processes work on at the same time.
struct Neighbours {
  std::vector<std::filesystem::path> inputs;  ///< which are not to be replaced
  std::filesystem::path targets;              ///< folder that they share their targets in; empty without any
};

/// Makes the maps that `options` ask for of their one input, and prints as `run` does. Throws `Error`,
/// `std::bad_alloc`.
void runOneInput(Options const& options, Neighbours const& neighbours, std::ostream& report,
                 std::ostream& warnings);

}  // namespace lorb::tools
