#pragma once

#include <cstdint>
#include <vector>

namespace benchmarks {

/// The masks that every timing is named after.
enum class Workload { blobs, thin, noise, singleVoxel, empty };
inline constexpr Workload allWorkloads[] = {Workload::blobs, Workload::thin, Workload::noise,
                                            Workload::singleVoxel, Workload::empty};

char const* nameOf(Workload workload);

/// A square slice of 0 and 1, row by row, the same for the same arguments.
///
/// blobs: overlapping ellipses with half axes of 3 to 15 % of the side, about half of the area.
/// thin: curves one to two voxels wide, like vessels. noise: every voxel by the toss of a coin.
/// singleVoxel: one voxel near the middle. empty: none.
std::vector<std::uint8_t> makeSlice(Workload workload, int side, unsigned seed);

}  // namespace benchmarks
