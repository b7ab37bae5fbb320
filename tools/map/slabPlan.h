// How many slices are worked on at a time, so that memory suffices.
#pragma once

#include "tools/map/distanceMap.h"
#include "tools/volume/VolumeSource.h"

#include <cstdint>
#include <vector>

namespace lorb::tools {

/// What memory a map takes.
struct MemoryNeed {
  std::uint64_t fixed;     ///< program, tables and the work memory of all threads
  std::uint64_t perSlice;  ///< for each slice that is worked on at a time
  std::uint64_t whole;     ///< with all slices at a time, written in whichever format
};

/// An upper estimate. `more` bytes a voxel are kept beside, such as those of another image.
MemoryNeed memoryNeed(VolumeSource const& source, MapSettings const& settings, std::uint64_t more);

/// Slices at a time within `budget` bytes; 0 when not even one fits.
std::uint64_t slicesWithin(std::uint64_t budget, MemoryNeed const& need);

/// The voxels of `count` slices from `first` on, or of as many as there are.
Region slabRegion(Extents const& extents, Plane plane, std::uint64_t first, std::uint64_t count);

}  // namespace lorb::tools
