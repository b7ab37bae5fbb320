// Rows and blocks of random classes, and the slow way to what the engine finds in them.

#pragma once

#include <lorb/algorithm/engine/block.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <vector>

namespace lorb::test {

/// Classes of a line of voxels, in runs of up to `longest`.
inline std::vector<bool> randomClasses(std::size_t count, unsigned longest, std::mt19937& random) {
  std::vector<bool> classes;
  bool inside = random() % 2 != 0;
  while (classes.size() < count) {
    classes.insert(classes.end(), random() % longest + 1, inside);
    inside = !inside;
  }
  classes.resize(count);
  return classes;
}

/// Distance of voxel `k` to the nearest one of the other class on its line; `unboundedDistance` where there
/// is none.
inline int distanceToOtherClass(std::vector<bool> const& classes, std::size_t k) {
  int distance = engine::unboundedDistance;
  for (std::size_t other = 0; other < classes.size(); ++other) {
    if (classes[other] == classes[k]) continue;
    distance = std::min(distance, std::abs(static_cast<int>(other) - static_cast<int>(k)));
  }
  return distance;
}

/// Words whose bit k of number b is class b * 64 + k; beyond the classes 0.
inline std::vector<engine::MaskWord> wordsOf(std::vector<bool> const& classes) {
  std::vector<engine::MaskWord> words((classes.size() + 63) / 64);
  for (std::size_t k = 0; k < classes.size(); ++k) words[k / 64] |= engine::MaskWord{classes[k]} << k % 64;
  return words;
}

}  // namespace lorb::test
