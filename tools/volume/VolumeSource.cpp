#include "tools/volume/VolumeSource.h"

#include "tools/base/errors.h"

#include <cmath>
#include <limits>

namespace lorb::tools {
namespace {

bool allFinite(Vector3 const& numbers) {
  return std::isfinite(numbers[0]) && std::isfinite(numbers[1]) && std::isfinite(numbers[2]);
}

double determinant(std::array<Vector3, 3> const& m) {
  return m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
         m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
         m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
}

/// Places are kept in single precision by some formats.
constexpr double greatest = 1e30;

}  // namespace

void requirePossibleSizes(std::span<std::int64_t const> sizes, std::filesystem::path const& path) {
  std::int64_t bytes = 8;  // of the largest element, so that no later product can wrap around
  for (std::size_t axis = 0; axis < sizes.size(); ++axis) {
    std::int64_t const size = sizes[axis];
    if (size < 1 || size > std::numeric_limits<int>::max() ||
        bytes > std::numeric_limits<std::int64_t>::max() / size) {
      refuseInput(path, "claims an impossible size of " + std::to_string(size) + " voxels along axis " +
                            std::to_string(axis));
    }
    bytes *= size;
  }
}

void requirePlace(Geometry const& geometry, std::filesystem::path const& path) {
  for (double const x : geometry.origin) {
    if (std::abs(x) < greatest) continue;
    refuseInput(path,
                "has its origin at " + toText(geometry.origin) + "; expected finite numbers below 1e30");
  }
  for (double const spacing : geometry.spacing) {
    if (spacing > 1.0 / greatest && spacing < greatest) continue;
    refuseInput(path, "has spacing " + toText(geometry.spacing) +
                          "; expected finite numbers above 0, from 1e-30 to 1e30");
  }
  for (Vector3 const& row : geometry.direction) {
    if (!allFinite(row)) {
      refuseInput(path, "has a direction row of " + toText(row) + "; expected finite numbers");
    }
  }
  if (!(std::abs(determinant(geometry.direction)) > 1e-6)) {
    refuseInput(path, "has directions that lie in a plane: rows " + toText(geometry.direction[0]) + ", " +
                          toText(geometry.direction[1]) + " and " + toText(geometry.direction[2]) +
                          "; expected unit vectors that span the space");
  }
}

std::uint64_t chosenVolume(std::uint64_t count, InputChoice const& choice,
                           std::filesystem::path const& path) {
  if (!choice.segments.empty()) {
    refuseInput(path, "has no segments; expected no --segment '" + choice.segments[0] + "'");
  }
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
