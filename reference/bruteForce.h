#pragma once

#include <algorithm>
#include <climits>
#include <cmath>
#include <vector>

namespace reference {

/// Signed distances of one slice by comparing every voxel with every other one. `inside` holds width ×
/// height flags, row by row. The slice must hold both inside and outside voxels.
inline std::vector<float> bruteForce(std::vector<char> const& inside, int width, int height) {
  std::vector<float> distances(inside.size());
  for (int a = 0; a < width * height; ++a) {
    int nearest = INT_MAX;
    for (int b = 0; b < width * height; ++b) {
      if (inside[static_cast<std::size_t>(a)] == inside[static_cast<std::size_t>(b)]) continue;
      int const dx = a % width - b % width;
      int const dy = a / width - b / width;
      nearest = std::min(nearest, dx * dx + dy * dy);
    }
    float const distance = std::sqrt(static_cast<float>(nearest));
    distances[static_cast<std::size_t>(a)] = inside[static_cast<std::size_t>(a)] ? -distance : distance;
  }
  return distances;
}

}  // namespace reference
