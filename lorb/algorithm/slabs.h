#pragma once

#include <lorb/algorithm/sliceRows.h>

#include <cstdint>

namespace lorb {

/// Signed distance maps of several slices at once with vector units, both sides in one go: slices first,
/// first + 1, … up to `end` of `in` to those of `out` from `firstOut` on, up to `size` of them together. They
/// must be such that `SignedRowPass::canHold`. The last one leaves in `scratch` what the kernel that runs
/// last on a slice leaves there. `squareRoots` must reach width² + height² − 1. Throws `std::bad_alloc`, and
/// what reading and writing throw.
void computeSlabs(SliceInput& in, SliceOutput& out, std::int64_t first, std::int64_t end,
                  std::int64_t firstOut, int size, DatasetSlice& scratch, float const* squareRoots);

}  // namespace lorb
