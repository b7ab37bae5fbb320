// Which way up a slice is looked at.
#pragma once

#include "tools/map/distanceMap.h"
#include "tools/volume/Volume.h"

#include <optional>

namespace lorb::tools {

/// The axis of a volume (0 x, 1 y, 2 z) that runs along one side of a picture.
struct DisplayAxis {
  int axis;
  bool reversed;  ///< true: the index falls from left to right, or from top to bottom
  bool operator==(DisplayAxis const&) const = default;
};

/// How the slices of a plane are turned for display.
struct SliceOrientation {
  DisplayAxis across;                             ///< from left to right
  DisplayAxis down;                               ///< from top to bottom
  char left = 0, right = 0, top = 0, bottom = 0;  ///< sides of the patient: L R A P S I; 0 when not known
};

/// Directions of the index axes in the patient, as in `Geometry`.
using Directions = std::array<Vector3, 3>;

/// The radiological convention, when `directions` are given: the patient's right is at the left of the
/// picture, anterior up in axial slices and to the left in sagittal ones, the head up in all others. Slices
/// oblique to the patient are turned by the sides they are closest to. Without directions, i runs to the
/// right and j downwards, as images are stored.
SliceOrientation sliceOrientation(Plane plane, std::optional<Directions> const& directions);

}  // namespace lorb::tools
