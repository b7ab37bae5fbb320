// Several inputs: the maps of each are made in a process of its own, several at a time.
#pragma once

#include "tools/base/errors.h"
#include "tools/commandLine/Options.h"

#include <iosfwd>

namespace lorb::tools {

/// Makes the maps of `options.many`. An input that fails is told on `warnings` and stops no other. Prints a
/// line for each input that is done, and at the end how many were, on `report`, or on `warnings` where a
/// report for programs takes that. Returns the exit code of the first input, as they are ordered, that
/// failed. Throws `Error` before any work when names of maps can't be or are the same.
ExitCode runManyInputs(Options const& options, std::ostream& report, std::ostream& warnings);

}  // namespace lorb::tools
