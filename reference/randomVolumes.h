#pragma once

// Volumes to compare the transform with slower ways on.

#include <lorb/dataset/Dataset.h>
#include <lorb/dataset/TImageDataset.h>

#include <array>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

namespace reference {

/// How many voxels of a random volume are inside.
enum class Filling { empty, oneVoxel, sparse, half, allButOne, full };
inline constexpr std::array allFillings = {Filling::empty, Filling::oneVoxel,  Filling::sparse,
                                           Filling::half,  Filling::allButOne, Filling::full};

inline std::vector<char> randomMask(std::size_t count, Filling filling, std::mt19937& random) {
  std::vector<char> mask(count, filling == Filling::full || filling == Filling::allButOne);
  if (count == 0) return mask;
  std::size_t const chosen = std::uniform_int_distribution<std::size_t>(0, count - 1)(random);
  if (filling == Filling::oneVoxel) mask[chosen] = 1;
  if (filling == Filling::allButOne) mask[chosen] = 0;
  if (filling == Filling::sparse || filling == Filling::half) {
    std::bernoulli_distribution inside(filling == Filling::half ? 0.5 : 0.01);
    for (char& voxel : mask) voxel = inside(random);
  }
  return mask;
}

/// A value of `T` that counts as inside or outside, from the plain to the odd.
template <class T>
T randomValue(bool inside, std::mt19937& random) {
  using limits = std::numeric_limits<T>;
  unsigned const pick = random() % 4;
  if constexpr (std::is_same_v<T, bool>) {
    return inside;
  } else if (inside) {
    T const tiny = std::is_floating_point_v<T> ? static_cast<T>(0.5) : T(1);
    T const huge = limits::has_infinity ? limits::infinity() : limits::max();
    return pick == 0 ? huge : pick == 1 ? tiny : static_cast<T>(1 + random() % 100);
  } else {
    T const odd = limits::has_quiet_NaN ? limits::quiet_NaN() : limits::min();
    T const low = limits::has_infinity ? -limits::infinity() : limits::lowest();
    T const negative = std::is_signed_v<T> ? static_cast<T>(-1) : T(0);
    return pick == 0 ? odd : pick == 1 ? low : pick == 2 ? negative : T(0);
  }
}

using Extents = std::array<std::uint64_t, 3>;

template <class T>
lorb::TImageDataset<T, 3> volumeFromMask(Extents const& extents, std::vector<char> const& mask,
                                         std::mt19937& random) {
  lorb::TImageDataset<T, 3> volume(extents);
  for (std::size_t k = 0; k < mask.size(); ++k)
    volume.pages[0].data[k] = randomValue<T>(mask[k] != 0, random);
  return volume;
}

/// A volume in which every voxel holds what no computation writes.
inline lorb::TImageDataset<float, 3> untouchedOutput(Extents const& extents) {
  lorb::TImageDataset<float, 3> volume(extents);
  for (float& voxel : volume.voxels()) voxel = 0.25F;
  return volume;
}

inline void shape(lorb::Dataset& dataset, Extents const& extents, lorb::LORBElementType type) {
  dataset.newDataset(lorb::DatasetCoordinates(static_cast<int>(extents[0]), static_cast<int>(extents[1]),
                                              static_cast<int>(extents[2]), 1, 1),
                     type, lorb::DatasetWorldEmbedding());
  dataset.announceAccessToFullDataset();
}

/// Calls `f(position, element)` for every voxel of a three-dimensional dataset, x fastest.
template <class F>
void forEachVoxel(Extents const& extents, F f) {
  std::size_t element = 0;
  for (int z = 0; z < static_cast<int>(extents[2]); ++z) {
    for (int y = 0; y < static_cast<int>(extents[1]); ++y) {
      for (int x = 0; x < static_cast<int>(extents[0]); ++x) {
        f(lorb::DatasetCoordinates(x, y, z, 0, 0), element++);
      }
    }
  }
}

}  // namespace reference
