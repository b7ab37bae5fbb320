// Seconds that pass.
#pragma once

#include <chrono>

namespace lorb::tools {

class Stopwatch {
 public:
  /// Seconds since it was made or last asked.
  double lap() {
    auto const now = std::chrono::steady_clock::now();
    double const seconds = std::chrono::duration<double>(now - last_).count();
    last_ = now;
    return seconds;
  }

 private:
  std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
};

}  // namespace lorb::tools
