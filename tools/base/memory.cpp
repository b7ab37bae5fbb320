#include "tools/base/memory.h"

#include "tools/base/parseNumber.h"
#include "tools/volume/Volume.h"

#include <sys/resource.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <limits>

namespace lorb::tools {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t unlimited = std::numeric_limits<std::uint64_t>::max();

constexpr std::string_view prefixes = "KMGT";

std::uint64_t freeInSystem() {
  std::ifstream file("/proc/meminfo");
  std::string name;
  for (std::uint64_t kibibytes; file >> name >> kibibytes; file.ignore(64, '\n')) {
    if (name == "MemAvailable:") return kibibytes * 1024;
  }
  return unlimited;
}

std::uint64_t allowedToProcess() {
  rlimit limit;
  if (getrlimit(RLIMIT_AS, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) {
    return unlimited;
  }
  return limit.rlim_cur;
}

/// Nothing where there is no such file, or no number in it, which "max" is none of.
std::optional<std::uint64_t> numberIn(fs::path const& path) {
  std::ifstream file(path);
  std::uint64_t number;
  return file >> number ? std::optional(number) : std::nullopt;
}

/// Bytes of files that a group holds in memory and gives back when it needs room.
std::uint64_t givenBack(fs::path const& group) {
  std::ifstream file(group / "memory.stat");
  std::string name;
  for (std::uint64_t bytes; file >> name >> bytes;) {
    if (name == "inactive_file") return bytes;
  }
  return 0;
}

/// The names of the files that the two versions of control groups keep their numbers in.
struct GroupFiles {
  char const *folder, *limit, *usage;
};
constexpr GroupFiles version1 = {"memory", "memory.limit_in_bytes", "memory.usage_in_bytes"};
constexpr GroupFiles version2 = {"", "memory.max", "memory.current"};

std::uint64_t leftBy(fs::path const& group, GroupFiles const& files) {
  auto const most = numberIn(group / files.limit);
  if (!most) return unlimited;
  std::uint64_t used = numberIn(group / files.usage).value_or(0);
  used -= std::min(used, givenBack(group));
  return *most - std::min(*most, used);
}

}  // namespace

std::uint64_t leftByControlGroups(fs::path const& root) {
  std::uint64_t left = unlimited;
  std::ifstream groups(root / "proc/self/cgroup");
  // A line is number:controllers:path; the second version has one group for all controllers.
  for (std::string line; std::getline(groups, line);) {
    std::size_t const first = line.find(':'), second = line.find(':', first + 1);
    if (second == std::string::npos) continue;
    std::string const controllers = line.substr(first + 1, second - first - 1);
    if (!controllers.empty() && controllers != version1.folder) continue;
    GroupFiles const& files = controllers.empty() ? version2 : version1;
    fs::path const top = root / "sys/fs/cgroup" / files.folder;
    fs::path group = fs::path(line.substr(second + 1)).relative_path();
    // The groups around a group bind it, too.
    for (; !group.empty(); group = group.parent_path()) left = std::min(left, leftBy(top / group, files));
    left = std::min(left, leftBy(top, files));
  }
  return left;
}

std::uint64_t availableMemory() {
  return std::min({freeInSystem(), allowedToProcess(), leftByControlGroups("/")});
}

std::uint64_t peakMemory() {
  // What getrusage tells includes what the process held before it became this program.
  std::ifstream file("/proc/self/status");
  for (std::string name; file >> name; file.ignore(4096, '\n')) {
    std::uint64_t kibibytes;
    if (name == "VmHWM:" && file >> kibibytes) return kibibytes * 1024;
  }
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
