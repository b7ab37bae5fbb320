// Which distances the colours of a picture stand for, and the round numbers beside them.
#pragma once

#include "tools/picture/SliceGrid.h"

#include <optional>
#include <vector>

namespace lorb::tools {

/// Colours run from −`range` to +`range`; ticks stand at the multiples of `step`, both ends among them.
struct DistanceScale {
  double range, step;
  bool beyondInside, beyondOutside;  ///< distances below −`range`, above +`range` occur

  int ticksPerSide() const;
};

/// A round range that 85 % of the samples lie in, inside and outside counting the same however much of
/// the slices they fill: the few that are far away, and a small object's large surroundings, would make all
/// others pale. Only slices that hold both signs count, since others have no boundary and no distances;
/// nothing when there is none. NaN and infinite samples don't count either.
std::optional<DistanceScale> distanceScale(std::vector<SliceGrid> const& maps);

/// A slice has a boundary when it has both an inside and an outside.
inline bool hasBoundary(SliceGrid const& map) {
  return map.negative && map.positive;
}

}  // namespace lorb::tools
