#pragma once

#include <lorb/algorithm/engine/alignedArray.h>
#include <lorb/algorithm/slices.h>

#include <cstddef>
#include <cstdint>

namespace lorb::engine {

/// Up to this height no distance in a column has a square that single precision has to round.
constexpr int exactHeight = (1 << 12) + 1;

/// How rows of floats lie in memory.
struct OutputRows {
  int phase;       // elements from a cache line to the beginning of every row; 0 where rows differ in that
  bool pastCache;  // rows are whole cache lines but for the phase, and too many to stay in a cache
};

/// The rows of `out` from voxel `first` on, which are `strideA` and `strideB` elements apart.
inline OutputRows outputRows(float const* first, std::size_t strideA, std::size_t strideB,
                             std::size_t count) {
  constexpr std::size_t line = 64 / sizeof(float);
  constexpr std::size_t cachedBytes = std::size_t{8} << 20;
  bool const alike = strideA % line == 0 && strideB % line == 0;
  auto const phase = reinterpret_cast<std::uintptr_t>(first) / sizeof(float) % line;
  return {alike ? static_cast<int>(phase) : 0, alike && count * sizeof(float) >= cachedBytes};
}

/// Columns `begin` to `end` − 1 of a block, at least one, as bits.
inline std::uint64_t columnBits(int begin, int end) {
  return ~std::uint64_t{0} >> (64 - (end - begin)) << begin;
}

}  // namespace lorb::engine
