#pragma once

#include <cstdint>

namespace lorb::engine {

/// The table of square roots, and how much of it is known to hold what the processor's square root gives. Its
/// square root is faster than the table, but the table rules.
struct Roots {
  float const* table;
  std::int32_t count;             // of entries that may be read
  std::int32_t verifiedUpTo = 0;  // entries below have been compared
  bool agree = true;              // and were equal
};

}  // namespace lorb::engine
