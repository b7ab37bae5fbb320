#pragma once

#include <lorb/dataset/TypeID.h>

#include <cstddef>
#include <cstdint>

/// Rows of voxels in memory, turned into flags and written as floats, on vector units. A flag is non-zero
/// where a voxel's value is greater than zero; NaN is not.
namespace lorb::voxel_rows {

/// How many neighbouring rows the functions below take across at the most.
constexpr std::size_t maxAcross = 16;

/// What there is for each element type. A voxel is given as a base address and the number of an element
/// from there, so that the bits of `bool` fit in.
struct FlagFunctions {
  /// flags[i] of elements first, first + 1, …
  void (*along)(void const* base, std::size_t first, std::size_t count, std::uint8_t* flags);
  /// `across` ≤ maxAcross rows that lie side by side: flags[s * flagStride + i] of element
  /// first + i * stride + s. `flags` has room for `count` rounded up to a multiple of maxAcross.
  void (*across)(void const* base, std::size_t first, std::size_t stride, std::size_t count,
                 std::size_t across, std::uint8_t* flags, std::size_t flagStride);
};

template <class T>
FlagFunctions flagFunctions();

/// The counterpart for results: element i * stride + s of `target` receives rows[s * rowStride + i].
void storeAcross(float const* rows, std::size_t rowStride, std::size_t count, std::size_t across,
                 float* target, std::size_t stride);

/// The same value in a whole row.
void fill(float* row, std::size_t count, float value);

}  // namespace lorb::voxel_rows
