// What the tool does with its options: read, choose the object, compute, write, tell.
#pragma once

#include "tools/Options.h"

#include <iosfwd>

namespace lorb::tools {

/// Makes the map that `options` asks for. Prints a short report on `report` once the map is written, and
/// on `warnings` one line if the object is empty or fills all. Throws `Error`, `std::bad_alloc`.
void run(Options const& options, std::ostream& report, std::ostream& warnings);

}  // namespace lorb::tools
