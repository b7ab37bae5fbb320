// How the program ends when something fails.
#pragma once

#include "tools/base/errors.h"

#include <functional>

namespace lorb::tools {

/// Calls `f` and returns its exit code. An exception becomes one line on standard error, and the exit code it
/// stands for.
int exitCodeOf(std::function<ExitCode()> const& f);

/// Prints one line on standard error, whatever the text holds, such as file names with line breaks.
void printFailure(std::string line);

}  // namespace lorb::tools
