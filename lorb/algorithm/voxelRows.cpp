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

/// 16 × 16 bytes change rows for columns.
HWY_INLINE void Transpose(std::uint8_t const (&tile)[maxAcross][maxAcross], std::size_t across,
                          std::uint8_t* flags, std::size_t flagStride) {
#if HWY_TARGET == HWY_SCALAR
  for (std::size_t s = 0; s < across; ++s) {
    for (std::size_t i = 0; i < maxAcross; ++i) flags[s * flagStride + i] = tile[i][s];
  }
#else
  // Four rounds that each interleave the rows of the first half with those of the second.
  hn::Full128<std::uint8_t> const d;
  decltype(hn::Zero(d)) a[maxAcross], b[maxAcross];
  for (std::size_t k = 0; k < maxAcross; ++k) a[k] = hn::LoadU(d, tile[k]);
  for (int round = 0; round < 4; ++round) {
    for (std::size_t k = 0; k < maxAcross / 2; ++k) {
      b[2 * k] = hn::InterleaveLower(d, a[k], a[k + maxAcross / 2]);
      b[2 * k + 1] = hn::InterleaveUpper(d, a[k], a[k + maxAcross / 2]);
    }
    std::copy_n(b, maxAcross, a);
  }
  for (std::size_t s = 0; s < across; ++s) hn::StoreU(a[s], d, flags + s * flagStride);
#endif
}

template <class T>
HWY_INLINE void FlagAcross(T const* base, std::size_t first, std::size_t stride, std::size_t count,
                           std::size_t across, std::uint8_t* flags, std::size_t flagStride) {
  std::uint8_t tile[maxAcross][maxAcross] = {};
  for (std::size_t i = 0; i < count; i += maxAcross) {
    std::size_t const length = std::min(count - i, maxAcross);
    for (std::size_t k = 0; k < length; ++k) {
      if (across == maxAcross) {
        FlagAlong(base, first + (i + k) * stride, maxAcross, tile[k]);
      } else {
        FlagAlong(base, first + (i + k) * stride, across, tile[k]);
      }
    }
    Transpose(tile, across, flags + i, flagStride);
  }
}

#define LORB_FLAG_FUNCTIONS(id, element, T, name)                                                     \
  void FlagAlong##name(void const* base, std::size_t first, std::size_t count, std::uint8_t* flags) { \
    FlagAlong(static_cast<T const*>(base), first, count, flags);                                      \
  }                                                                                                   \
  void FlagAcross##name(void const* base, std::size_t first, std::size_t stride, std::size_t count,   \
                        std::size_t across, std::uint8_t* flags, std::size_t flagStride) {            \
    FlagAcross(static_cast<T const*>(base), first, stride, count, across, flags, flagStride);         \
  }
LORB_FOR_EACH_ELEMENT_TYPE(LORB_FLAG_FUNCTIONS)
#undef LORB_FLAG_FUNCTIONS

void StoreAcross(float const* rows, std::size_t rowStride, std::size_t count, std::size_t across,
                 float* target, std::size_t stride) {
  std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR
  hn::Full128<float> const d;
  hn::Repartition<double, decltype(d)> const dPairs;
  for (; i + 4 <= count && across == maxAcross; i += 4) {
    for (std::size_t s = 0; s < maxAcross; s += 4) {
      float const* const tile = rows + s * rowStride + i;
      auto const r0 = hn::LoadU(d, tile);
      auto const r1 = hn::LoadU(d, tile + rowStride);
      auto const r2 = hn::LoadU(d, tile + 2 * rowStride);
      auto const r3 = hn::LoadU(d, tile + 3 * rowStride);
      auto const low01 = hn::BitCast(dPairs, hn::InterleaveLower(d, r0, r1));
      auto const low23 = hn::BitCast(dPairs, hn::InterleaveLower(d, r2, r3));
      auto const high01 = hn::BitCast(dPairs, hn::InterleaveUpper(d, r0, r1));
      auto const high23 = hn::BitCast(dPairs, hn::InterleaveUpper(d, r2, r3));
      float* const column = target + i * stride + s;
      hn::StoreU(hn::BitCast(d, hn::InterleaveLower(dPairs, low01, low23)), d, column);
      hn::StoreU(hn::BitCast(d, hn::InterleaveUpper(dPairs, low01, low23)), d, column + stride);
      hn::StoreU(hn::BitCast(d, hn::InterleaveLower(dPairs, high01, high23)), d, column + 2 * stride);
      hn::StoreU(hn::BitCast(d, hn::InterleaveUpper(dPairs, high01, high23)), d, column + 3 * stride);
    }
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

void voxel_rows::storeAcross(float const* rows, std::size_t rowStride, std::size_t count, std::size_t across,
                             float* target, std::size_t stride) {
  HWY_DYNAMIC_DISPATCH(StoreAcross)(rows, rowStride, count, across, target, stride);
}

void voxel_rows::fill(float* row, std::size_t count, float value) {
  HWY_DYNAMIC_DISPATCH(Fill)(row, count, value);
}

#define LORB_FLAG_FUNCTIONS(id, element, T, name)                                           \
  HWY_EXPORT(FlagAlong##name);                                                              \
  HWY_EXPORT(FlagAcross##name);                                                             \
  template <>                                                                               \
  voxel_rows::FlagFunctions voxel_rows::flagFunctions<T>() {                                \
    return {HWY_DYNAMIC_DISPATCH(FlagAlong##name), HWY_DYNAMIC_DISPATCH(FlagAcross##name)}; \
  }
LORB_FOR_EACH_ELEMENT_TYPE(LORB_FLAG_FUNCTIONS)
#undef LORB_FLAG_FUNCTIONS

}  // namespace lorb

#endif  // HWY_ONCE
