#pragma once

/// Marks what the shared libraries offer to the outside; everything else is hidden.
#define LORB_EXPORT __attribute__((visibility("default")))
