#include "tools/VolumeSource.h"

#include "tools/errors.h"

#include <cmath>

namespace lorb::tools {
namespace {

bool allFinite(Vector3 const& numbers) {
  return std::isfinite(numbers[0]) && std::isfinite(numbers[1]) && std::isfinite(numbers[2]);
}

}  // namespace

void requirePlace(Geometry const& geometry, std::filesystem::path const& path) {
  if (!allFinite(geometry.origin)) {
    refuseInput(path, "has its origin at " + toText(geometry.origin) + "; expected finite numbers");
  }
  for (double const spacing : geometry.spacing) {
    if (std::isfinite(spacing) && spacing > 0.0) continue;
    refuseInput(path, "has spacing " + toText(geometry.spacing) + "; expected finite numbers above 0");
  }
  for (Vector3 const& row : geometry.direction) {
    if (!allFinite(row)) {
      refuseInput(path, "has a direction row of " + toText(row) + "; expected finite numbers");
    }
  }
}

std::uint64_t chosenVolume(std::uint64_t count, InputChoice const& choice,
                           std::filesystem::path const& path) {
  std::string const range = count == 1 ? "0" : "0 to " + std::to_string(count - 1);
  if (!choice.volume && count > 1) {
    refuseInput(path, "holds " + std::to_string(count) + " volumes; expected --volume K, K one of " + range);
  }
  auto const volume = static_cast<std::uint64_t>(choice.volume.value_or(0));
  if (volume >= count) {
    refuseInput(path, "has no volume " + std::to_string(volume) + "; expected --volume " + range);
  }
  return volume;
}

}  // namespace lorb::tools
