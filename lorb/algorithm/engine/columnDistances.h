#pragma once

#include <lorb/algorithm/slices.h>

#include <cstdint>

namespace lorb::engine {

/// Leaves in `scratch` what the scalar kernels leave there: for each voxel of the side that they compute last
/// (the outside; of slices without a boundary the inside) the squared distance to the nearest voxel of the
/// other side in its column, and 0 on the other side. Throws `std::bad_alloc`.
void leaveColumnDistances(SliceReader& in, std::int64_t slice, DatasetSlice& scratch);

}  // namespace lorb::engine
