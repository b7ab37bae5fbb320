// How a volume is worked on, so that memory suffices.
#pragma once

#include "tools/map/distanceMap.h"
#include "tools/volume/VolumeSource.h"

#include <cstdint>
#include <optional>

namespace lorb::tools {

/// A volume is worked on in slabs of neighbouring slices.
struct SlabPlan {
  std::uint64_t slices = 1;    ///< in each slab
  std::uint64_t inFlight = 1;  ///< slabs that are read, computed and written at the same time
  bool keepsVolume = false;    ///< the whole volume stays in memory once it is read
  bool operator==(SlabPlan const&) const = default;
};

/// What memory a map takes: upper estimates, in bytes.
struct MemoryNeed {
  std::uint64_t fixed;     ///< program, tables and the work memory of all threads
  std::uint64_t perSlice;  ///< for each slice that is worked on at a time
  std::uint64_t whole;     ///< with all slices at a time
};

/// What the output allows.
struct PieceRules {
  bool inOrder = false;         ///< takes pieces in the order of memory
  bool inAnyOrder = false;      ///< takes any pieces
  std::uint64_t sliceStep = 1;  ///< pieces in order begin with multiples of this number of slices
};

/// `more` bytes a voxel are kept beside, such as those of another image.
MemoryNeed memoryNeed(VolumeSource const& source, MapSettings const& settings, std::uint64_t more,
                      PieceRules const& rules);

/// Slices at a time within `budget` bytes; 0 when not even one fits.
std::uint64_t slicesWithin(std::uint64_t budget, MemoryNeed const& need);

/// What is asked of a run beyond its map.
struct PlanWishes {
  std::uint64_t budget;     ///< of memory
  std::uint64_t more = 0;   ///< as for `memoryNeed`
  bool viewed = false;      ///< slabs are looked at, best all at once
  bool readsAgain = false;  ///< for several maps of one volume
};

/// Small slabs in flight where input and output go in the order of memory; else the whole volume at once, or
/// in slabs as large as memory allows. `slices` is 0 when not even a slice fits; nothing when the whole does
/// not fit and input or output are not for slabs.
std::optional<SlabPlan> planSlabs(VolumeSource const& source, MapSettings const& settings,
                                  PieceRules const& rules, PlanWishes const& wishes);

/// The voxels of `count` slices from `first` on, or of as many as there are.
Region slabRegion(Extents const& extents, Plane plane, std::uint64_t first, std::uint64_t count);

}  // namespace lorb::tools
