#include "tools/memory.h"

#include "tools/Volume.h"
#include "tools/parseNumber.h"

#include <sys/resource.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <limits>

namespace lorb::tools {
namespace {

constexpr std::string_view prefixes = "KMGT";

std::uint64_t freeInSystem() {
  std::ifstream file("/proc/meminfo");
  std::string name;
  for (std::uint64_t kibibytes; file >> name >> kibibytes; file.ignore(64, '\n')) {
    if (name == "MemAvailable:") return kibibytes * 1024;
  }
  return std::numeric_limits<std::uint64_t>::max();
}

std::uint64_t allowedToProcess() {
  rlimit limit;
  if (getrlimit(RLIMIT_AS, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) {
    return std::numeric_limits<std::uint64_t>::max();
  }
  return limit.rlim_cur;
}

}  // namespace

std::uint64_t availableMemory() {
  return std::min(freeInSystem(), allowedToProcess());
}

std::uint64_t peakMemory() {
  rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<std::uint64_t>(usage.ru_maxrss) * 1024;
}

std::optional<std::uint64_t> parseBytes(std::string_view text) {
  for (std::string_view const unit : {"iB", "B"}) {
    if (text.ends_with(unit)) text.remove_suffix(unit.size());
  }
  double factor = 1.0;
  if (!text.empty()) {
    auto const prefix = prefixes.find(text.back());
    if (prefix != std::string_view::npos) {
      factor = std::exp2(10.0 * double(prefix + 1));
      text.remove_suffix(1);
    }
  }
  auto const number = parseNumber(text);
  if (!number) return std::nullopt;
  double const bytes = static_cast<double>(*number) * factor;
  if (!(bytes >= 1.0 && bytes < 1e18)) return std::nullopt;
  return static_cast<std::uint64_t>(bytes);
}

std::string bytesText(std::uint64_t bytes) {
  double value = double(bytes) / 1024.0;
  std::size_t prefix = 0;
  for (; value >= 1024.0 && prefix + 1 < prefixes.size(); ++prefix) value /= 1024.0;
  double const rounded = value < 10.0 ? std::ceil(value * 10.0) / 10.0 : std::ceil(value);
  return toText(rounded) + " " + prefixes[prefix] + "iB";
}

}  // namespace lorb::tools
