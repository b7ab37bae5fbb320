#pragma once

#include <lorb/dataset/TypeID.h>

#include <hwy/cache_control.h>

#include <cstddef>
#include <cstdint>

/// Rows of voxels in memory, turned into flags and written as floats, on vector units. A flag is non-zero
/// where a voxel's value is greater than zero; NaN is not.
namespace lorb::voxel_rows {

/// How many rows that lie side by side `storeAcross` takes at the most.
constexpr std::size_t maxAcross = 16;

/// How many `pack` takes: as many as the smallest voxels that are not bits have in a cache line.
constexpr std::size_t maxPacked = 64;

/// Has memory bring bytes while something is computed that does not need memory: whoever uses them would
/// wait.
inline void fetch(void const* from, std::size_t bytes) {
  constexpr std::size_t line = 64;
  for (std::size_t k = 0; k < bytes; k += line) hwy::Prefetch(static_cast<std::byte const*>(from) + k);
}

/// What there is for each element type. A voxel is given as a base address and the number of an element
/// from there, so that the bits of `bool` fit in.
struct FlagFunctions {
  std::size_t bitsPerVoxel;
  /// flags[i] of elements first, first + 1, …
  void (*along)(void const* base, std::size_t first, std::size_t count, std::uint8_t* flags);
  /// `rows` ≤ maxPacked − `bit` rows that lie side by side, one bit each: bit number `bit` + r of the 64-bit
  /// number whose 16-bit parts are packs[k * packStride + i], lowest first, is the flag of element
  /// first + i * stride + r. The other bits are 0.
  void (*pack)(void const* base, std::size_t first, std::size_t stride, std::size_t count, std::size_t rows,
               std::size_t bit, std::uint16_t* packs, std::size_t packStride);
};

FlagFunctions const& flagFunctions(TypeID type);

/// The counterpart for results: element i * stride + s of `target` receives rows[s * rowStride + i]. What
/// goes past the cache makes whole cache lines: `across` is maxAcross, target and stride are multiples of a
/// line.
void storeAcross(float const* rows, std::size_t rowStride, std::size_t count, std::size_t across,
                 float* target, std::size_t stride, bool pastCache);

/// The same value in a whole row.
void fill(float* row, std::size_t count, float value);

}  // namespace lorb::voxel_rows
