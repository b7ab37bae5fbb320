// What the tool does with its options: read, choose the object, compute, write, tell.
#pragma once

#include "tools/base/errors.h"
#include "tools/commandLine/Options.h"

#include <iosfwd>

namespace lorb::tools {

/// Makes the maps that `options` ask for. Prints a short report on `report` once the maps are written, or
/// where that is taken by a map or a report for programs, on `warnings`; there also one line for each thing
/// that a person should know of. Throws `Error`, `std::bad_alloc`. Of several inputs, those that fail are
/// told on standard error, and the exit code is that of the first of them.
ExitCode run(Options const& options, std::ostream& report, std::ostream& warnings);

}  // namespace lorb::tools
