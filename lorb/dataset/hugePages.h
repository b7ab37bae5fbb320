#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <memory>

namespace lorb {

/// Asks for large pages behind a large block that has not been touched yet: megabytes of small ones cost more
/// in page faults than in use, and slices across them more in address translation. Advice only; nothing
/// depends on it.
inline void preferHugePages(void* memory, std::size_t bytes) {
  constexpr std::size_t hugePage = std::size_t{1} << 21;
  if (std::align(hugePage, hugePage, memory, bytes))
    madvise(memory, bytes / hugePage * hugePage, MADV_HUGEPAGE);
}

}  // namespace lorb
