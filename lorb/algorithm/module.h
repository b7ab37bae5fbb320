#pragma once

#include <lorb/dataset/export.h>

namespace lorb {

/// Writes the family's banner to standard error: a line with version, support libraries and build
/// time, an empty line, four lines of notice, an empty line. Nothing is printed unless a host calls it.
LORB_EXPORT void lorb_load_algorithm_message();

/// The module's hook for one-time set-up: does nothing and returns 0. It is called once when the library
/// is loaded, through the exported symbol, so that a host that defines its own has its own called.
LORB_EXPORT int lorb_init_algorithm();

}  // namespace lorb
