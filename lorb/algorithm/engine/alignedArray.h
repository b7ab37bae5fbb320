#pragma once

#include <lorb/dataset/hugePages.h>

#include <cstddef>
#include <memory>
#include <new>

namespace lorb {

/// Aligned to cache lines, and so to any vector.
constexpr std::align_val_t cacheLine{64};

struct AlignedDelete {
  void operator()(void* memory) const { ::operator delete(memory, cacheLine); }
};

template <class T>
using AlignedArray = std::unique_ptr<T[], AlignedDelete>;

/// `count` elements, not initialised. Throws `std::bad_alloc`.
template <class T>
AlignedArray<T> allocateAligned(std::size_t count) {
  void* const memory = ::operator new(count * sizeof(T), cacheLine);
  preferHugePages(memory, count * sizeof(T));
  return AlignedArray<T>(static_cast<T*>(memory));
}

/// The width of rows of `width` elements that begin at cache lines: room for vectors of up to 64 elements.
inline std::size_t wholeVectors(int width) {
  constexpr std::size_t most = 64;
  return (static_cast<std::size_t>(width) + most - 1) / most * most;
}

}  // namespace lorb
