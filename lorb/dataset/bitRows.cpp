// Bits of vectors of `bool` to bytes and back, 64 at a time, compiled per instruction set.

#include <lorb/dataset/bitRows.h>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "lorb/dataset/bitRows.cpp"
#include <hwy/foreach_target.h>  // compiles this file once per instruction set
// After foreach_target.h, as Highway wants it.
#include <hwy/highway.h>

#include <algorithm>
#include <cstring>

// Bytes of a word of flags, and flags of a byte of bits, pair up on little-endian machines only.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__);

// --- what is compiled for every instruction set ------------------------------------------------------

HWY_BEFORE_NAMESPACE();
namespace lorb {
namespace HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

/// All 64 bits of a word as one byte each, 0 or 1.
HWY_INLINE void UnpackWord(std::uint64_t word, bool* flags) {
  std::uint64_t bytes[8];
  for (int k = 0; k < 8; ++k) {
    // Each byte of the product keeps the bit of its own place, which then moves to the lowest.
    std::uint64_t const places = (word >> 8 * k & 255) * 0x0101010101010101U & 0x8040201008040201U;
    bytes[k] = (places + 0x7f7f7f7f7f7f7f7fU) >> 7 & 0x0101010101010101U;
  }
  std::memcpy(flags, bytes, 64);
}

HWY_INLINE std::uint64_t PackWord(bool const* flags) {
  std::uint64_t bytes[8];
  std::memcpy(bytes, flags, 64);
  std::uint64_t word = 0;
  // The product brings the lowest bits of the eight bytes together in its highest byte.
  for (int k = 0; k < 8; ++k) word |= bytes[k] * 0x0102040810204080U >> 56 << 8 * k;
  return word;
}

#else

namespace hn = hwy::HWY_NAMESPACE;
using Flags = hn::CappedTag<std::uint8_t, 64>;

/// All 64 bits of a word as one byte each, 0 or 1.
HWY_INLINE void UnpackWord(std::uint64_t word, bool* flags) {
  Flags const d;
  for (std::size_t k = 0; k < 64; k += hn::Lanes(d)) {
    std::uint64_t const bits = word >> k;
    auto const set = hn::LoadMaskBits(d, reinterpret_cast<std::uint8_t const*>(&bits));
    hn::StoreU(hn::IfThenElseZero(set, hn::Set(d, 1)), d, reinterpret_cast<std::uint8_t*>(flags + k));
  }
}

HWY_INLINE std::uint64_t PackWord(bool const* flags) {
  Flags const d;
  std::uint64_t word = 0;
  for (std::size_t k = 0; k < 64; k += hn::Lanes(d)) {
    auto const bytes = hn::LoadU(d, reinterpret_cast<std::uint8_t const*>(flags + k));
    std::uint64_t bits = 0;
    hn::StoreMaskBits(d, hn::Ne(bytes, hn::Zero(d)), reinterpret_cast<std::uint8_t*>(&bits));
    word |= bits << k;
  }
  return word;
}

#endif

/// Calls `whole(word, k)` for each word of which all bits are wanted, the first of them number k of the run,
/// and `part(word, bit, k, length)` for the words at the ends, of which `length` bits from `bit` on are.
template <class Whole, class Part>
HWY_INLINE void ForEachWord(std::size_t first, std::size_t count, Whole whole, Part part) {
  std::size_t k = std::min((64 - first % 64) % 64, count);
  if (k > 0) part(first / 64, first % 64, std::size_t{0}, k);
  for (; count - k >= 64; k += 64) whole((first + k) / 64, k);
  if (k < count) part((first + k) / 64, std::size_t{0}, k, count - k);
}

void UnpackBits(std::uint64_t const* words, std::size_t first, std::size_t count, bool* flags) {
  auto const whole = [&](std::size_t word, std::size_t k) HWY_ATTR { UnpackWord(words[word], flags + k); };
  auto const part = [&](std::size_t word, std::size_t bit, std::size_t k, std::size_t length) HWY_ATTR {
    bool wordFlags[64];
    UnpackWord(words[word] >> bit, wordFlags);
    std::memcpy(flags + k, wordFlags, length);
  };
  ForEachWord(first, count, whole, part);
}

void PackBits(bool const* flags, std::size_t first, std::size_t count, std::uint64_t* words) {
  auto const whole = [&](std::size_t word, std::size_t k) HWY_ATTR { words[word] = PackWord(flags + k); };
  auto const part = [&](std::size_t word, std::size_t bit, std::size_t k, std::size_t length) HWY_ATTR {
    bool wordFlags[64] = {};
    std::memcpy(wordFlags, flags + k, length);
    std::uint64_t const wanted = (~std::uint64_t{0} >> (64 - length)) << bit;
    words[word] = (words[word] & ~wanted) | PackWord(wordFlags) << bit;
  };
  ForEachWord(first, count, whole, part);
}

}  // namespace HWY_NAMESPACE
}  // namespace lorb
HWY_AFTER_NAMESPACE();

// --- what is compiled once ---------------------------------------------------------------------------

#if HWY_ONCE

namespace lorb {

HWY_EXPORT(UnpackBits);
HWY_EXPORT(PackBits);

void unpackBits(std::uint64_t const* words, std::size_t first, std::size_t count, bool* flags) {
  HWY_DYNAMIC_DISPATCH(UnpackBits)(words, first, count, flags);
}

void packBits(bool const* flags, std::size_t first, std::size_t count, std::uint64_t* words) {
  HWY_DYNAMIC_DISPATCH(PackBits)(flags, first, count, words);
}

}  // namespace lorb

#endif  // HWY_ONCE
