// Voxels of any element type become mask bits.
// To be included once for each instruction set.

#if defined(LORB_ENGINE_READ_MASK_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef LORB_ENGINE_READ_MASK_INL_H
#undef LORB_ENGINE_READ_MASK_INL_H
#else
#define LORB_ENGINE_READ_MASK_INL_H
#endif

#include <lorb/algorithm/engine/kernels.h>
#include <lorb/algorithm/engine/lanes-inl.h>
#include <lorb/dataset/TypeID.h>

#include <algorithm>

#include <type_traits>

HWY_BEFORE_NAMESPACE();
namespace lorb::engine {
namespace HWY_NAMESPACE {

/// Plain loops; the compiler turns them into vectors of the instruction set at hand.
template <class T>
HWY_INLINE void FlagsOf(T const* values, std::size_t count, std::uint8_t* HWY_RESTRICT flags) {
  for (std::size_t i = 0; i < count; ++i) flags[i] = values[i] > 0;
}

HWY_INLINE MaskWord BitsOf(std::uint8_t const* flags) {
  MaskWord word = 0;
  auto* const bytes = reinterpret_cast<std::uint8_t*>(&word);
  for (int k = 0; k < blockColumns; k += lanes8) {
    hn::StoreMaskBits(d8, hn::Ne(hn::LoadU(d8, flags + k), hn::Zero(d8)), bytes + k / 8);
  }
  return word;
}

template <class T>
void ReadMaskRow(void const* voxels, std::size_t first, std::size_t count, MaskWord* words) {
  T const* const row = static_cast<T const*>(voxels) + first;
  std::size_t done = 0;
  for (; done + blockColumns <= count; done += blockColumns) {
    if constexpr (std::is_same_v<T, unsigned char>) {
      *words++ = BitsOf(row + done);  // values are flags
    } else {
      std::uint8_t flags[blockColumns];
      FlagsOf(row + done, blockColumns, flags);
      *words++ = BitsOf(flags);
    }
  }
  if (done == count) return;
  std::uint8_t flags[blockColumns] = {};
  FlagsOf(row + done, count - done, flags);
  *words = BitsOf(flags);
}

/// Bits, of which rows may begin anywhere in a word.
template <>
void ReadMaskRow<bool>(void const* voxels, std::size_t first, std::size_t count, MaskWord* words) {
  auto const* const source = static_cast<std::uint64_t const*>(voxels);
  for (std::size_t done = 0; done < count; done += 64) {
    std::size_t const bit = first + done;
    std::size_t const length = std::min<std::size_t>(count - done, 64);
    MaskWord word = source[bit / 64] >> bit % 64;
    if (bit % 64 + length > 64) word |= source[bit / 64 + 1] << (64 - bit % 64);
    if (length < 64) word &= (MaskWord{1} << length) - 1;
    *words++ = word;
  }
}

/// For each element type, in the order of their codes.
#define LORB_READER(id, element, T, name) ReadMaskRow<T>,
constexpr MaskRowReader maskRowReaders[] = {LORB_FOR_EACH_ELEMENT_TYPE(LORB_READER)};
#undef LORB_READER

}  // namespace HWY_NAMESPACE
}  // namespace lorb::engine
HWY_AFTER_NAMESPACE();

#endif
