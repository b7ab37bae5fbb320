#include <lorb/algorithm/voxelRows.h>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "lorb/algorithm/voxelRows.cpp"
#include <hwy/foreach_target.h>  // compiles this file once per instruction set
// After foreach_target.h, as Highway wants it.
#include <hwy/highway.h>

#include <algorithm>
#include <cstring>

// --- what is compiled for every instruction set ------------------------------------------------------

HWY_BEFORE_NAMESPACE();
namespace lorb {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

using voxel_rows::maxAcross;
using voxel_rows::maxPacked;

/// Plain loops; the compiler turns them into vectors of the instruction set at hand.
template <class T>
HWY_INLINE void FlagAlong(T const* values, std::size_t first, std::size_t count,
                          std::uint8_t* HWY_RESTRICT flags) {
  values += first;
  for (std::size_t i = 0; i < count; ++i) flags[i] = values[i] > 0;
}

/// Bits, eight at a time: each byte of the product keeps the bit of its own place.
HWY_INLINE void FlagAlong(bool const* bits, std::size_t first, std::size_t count,
                          std::uint8_t* HWY_RESTRICT flags) {
  auto const* const words = reinterpret_cast<std::uint64_t const*>(bits);
  auto const spread = [](std::uint64_t byte) { return byte * 0x0101010101010101U & 0x8040201008040201U; };
  for (std::size_t i = 0; i < count; i += 64) {
    std::size_t const bit = first + i;
    std::size_t const length = std::min<std::size_t>(count - i, 64);
    std::uint64_t word = words[bit / 64] >> bit % 64;
    if (bit % 64 + length > 64) word |= words[bit / 64 + 1] << (64 - bit % 64);
    std::uint64_t spreadBits[8];
    for (std::size_t k = 0; k < 8; ++k) spreadBits[k] = spread(word >> 8 * k & 255);
    std::memcpy(flags + i, spreadBits, length);
  }
}

/// Bit r is the flag of element first + r, for the first `count` ≤ maxPacked.
template <class T>
HWY_INLINE std::uint64_t FlagBits(T const* values, std::size_t first, std::size_t count) {
  hn::CappedTag<T, maxPacked> const d;
  T padded[maxPacked] = {};
  values += first;
  if (count < maxPacked) values = static_cast<T const*>(std::memcpy(padded, values, count * sizeof(T)));
  std::uint64_t bits = 0;
  for (std::size_t r = 0; r < maxPacked; r += hn::Lanes(d)) {
    std::uint64_t vectorBits = 0;
    auto const flags = hn::Gt(hn::LoadU(d, values + r), hn::Zero(d));
    hn::StoreMaskBits(d, flags, reinterpret_cast<std::uint8_t*>(&vectorBits));
    bits |= vectorBits << r;
  }
  return bits;
}

HWY_INLINE std::uint64_t FlagBits(bool const* bits, std::size_t first, std::size_t count) {
  auto const* const words = reinterpret_cast<std::uint64_t const*>(bits) + first / 64;
  std::size_t const bit = first % 64;
  std::uint64_t word = words[0] >> bit;
  if (bit + count > 64) word |= words[1] << (64 - bit);
  return count < 64 ? word & ((std::uint64_t{1} << count) - 1) : word;
}

template <class T>
void FlagRow(void const* base, std::size_t first, std::size_t count, std::uint8_t* flags) {
  FlagAlong(static_cast<T const*>(base), first, count, flags);
}

template <class T>
void PackFlags(void const* base, std::size_t first, std::size_t stride, std::size_t count, std::size_t rows,
               std::size_t bit, std::uint16_t* packs, std::size_t packStride) {
  for (std::size_t i = 0; i < count; ++i) {
    std::uint64_t const word = FlagBits(static_cast<T const*>(base), first + i * stride, rows) << bit;
    for (std::size_t k = 0; k < maxPacked / 16; ++k) {
      packs[k * packStride + i] = static_cast<std::uint16_t>(word >> 16 * k);
    }
  }
}

template <class T>
constexpr std::size_t bitsOf = std::is_same_v<T, bool> ? 1 : 8 * sizeof(T);

#define LORB_FLAG_FUNCTIONS(id, element, T, name) {bitsOf<T>, FlagRow<T>, PackFlags<T>},
constexpr voxel_rows::FlagFunctions flagFunctions[] = {LORB_FOR_EACH_ELEMENT_TYPE(LORB_FLAG_FUNCTIONS)};
#undef LORB_FLAG_FUNCTIONS

voxel_rows::FlagFunctions const* FindFlagFunctions(TypeID type) {
  return &flagFunctions[type - 1];
}

#if HWY_TARGET != HWY_SCALAR

/// Four elements of each of as many rows as the vector has blocks of four.
template <class D>
HWY_INLINE hn::Vec<D> LoadBlocks(D d, float const* rows, std::size_t rowStride) {
  if constexpr (hn::MaxLanes(D()) == 4) {
    return hn::LoadU(d, rows);
  } else {
    hn::Half<D> const half;
    return hn::Combine(d, LoadBlocks(half, rows + hn::MaxLanes(half) / 4 * rowStride, rowStride),
                       LoadBlocks(half, rows, rowStride));
  }
}

/// Columns of `maxAcross` rows, four at a time; returns how many of `count` that makes.
template <class Store>
HWY_INLINE std::size_t StoreLines(float const* rows, std::size_t rowStride, std::size_t count, float* target,
                                  std::size_t stride, Store store) {
  constexpr std::size_t lanes =
      HWY_HAVE_SCALABLE ? 4 : std::min<std::size_t>(maxAcross, HWY_MAX_BYTES / sizeof(float));
  hn::FixedTag<float, lanes> const d;
  hn::Repartition<double, decltype(d)> const dPairs;
  std::size_t i = 0;
  for (; i + 4 <= count; i += 4) {
    for (std::size_t s = 0; s < maxAcross; s += lanes) {
      float const* const tile = rows + s * rowStride + i;
      auto const r0 = LoadBlocks(d, tile, 4 * rowStride);
      auto const r1 = LoadBlocks(d, tile + rowStride, 4 * rowStride);
      auto const r2 = LoadBlocks(d, tile + 2 * rowStride, 4 * rowStride);
      auto const r3 = LoadBlocks(d, tile + 3 * rowStride, 4 * rowStride);
      auto const low01 = hn::BitCast(dPairs, hn::InterleaveLower(d, r0, r1));
      auto const low23 = hn::BitCast(dPairs, hn::InterleaveLower(d, r2, r3));
      auto const high01 = hn::BitCast(dPairs, hn::InterleaveUpper(d, r0, r1));
      auto const high23 = hn::BitCast(dPairs, hn::InterleaveUpper(d, r2, r3));
      float* const column = target + i * stride + s;
      store(d, hn::BitCast(d, hn::InterleaveLower(dPairs, low01, low23)), column);
      store(d, hn::BitCast(d, hn::InterleaveUpper(dPairs, low01, low23)), column + stride);
      store(d, hn::BitCast(d, hn::InterleaveLower(dPairs, high01, high23)), column + 2 * stride);
      store(d, hn::BitCast(d, hn::InterleaveUpper(dPairs, high01, high23)), column + 3 * stride);
    }
  }
  return i;
}

#endif

void StoreAcross(float const* rows, std::size_t rowStride, std::size_t count, std::size_t across,
                 float* target, std::size_t stride, [[maybe_unused]] bool pastCache) {
  std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR
  if (pastCache) {
    i = StoreLines(rows, rowStride, count, target, stride,
                   [](auto d, auto vector, float* place) HWY_ATTR { hn::Stream(vector, d, place); });
  } else if (across == maxAcross) {
    i = StoreLines(rows, rowStride, count, target, stride,
                   [](auto d, auto vector, float* place) HWY_ATTR { hn::StoreU(vector, d, place); });
  }
#endif
  for (; i < count; ++i) {
    for (std::size_t s = 0; s < across; ++s) target[i * stride + s] = rows[s * rowStride + i];
  }
}

void Fill(float* row, std::size_t count, float value) {
  for (std::size_t i = 0; i < count; ++i) row[i] = value;
}

}  // namespace HWY_NAMESPACE
}  // namespace lorb
HWY_AFTER_NAMESPACE();

// --- what is compiled once ---------------------------------------------------------------------------

#if HWY_ONCE

namespace lorb {

HWY_EXPORT(StoreAcross);
HWY_EXPORT(Fill);
HWY_EXPORT(FindFlagFunctions);

void voxel_rows::storeAcross(float const* rows, std::size_t rowStride, std::size_t count, std::size_t across,
                             float* target, std::size_t stride, bool pastCache) {
  HWY_DYNAMIC_DISPATCH(StoreAcross)(rows, rowStride, count, across, target, stride, pastCache);
}

void voxel_rows::fill(float* row, std::size_t count, float value) {
  HWY_DYNAMIC_DISPATCH(Fill)(row, count, value);
}

voxel_rows::FlagFunctions const& voxel_rows::flagFunctions(TypeID type) {
  return *HWY_DYNAMIC_DISPATCH(FindFlagFunctions)(type);
}

}  // namespace lorb

#endif  // HWY_ONCE
