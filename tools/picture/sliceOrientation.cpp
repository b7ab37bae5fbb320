#include "tools/picture/sliceOrientation.h"

#include <cmath>
#include <cstddef>
#include <utility>

namespace lorb::tools {
namespace {

constexpr int patientAxes = 3;  // to the left, posterior and superior
constexpr char sideTowards[] = "LPS", sideAwayFrom[] = "RAI";

/// An index axis of the volume and the patient's axis that it is closest to.
struct Alignment {
  int axis;
  int patientAxis;
  bool against;  ///< runs the other way
};

double along(Directions const& directions, int patientAxis, int axis) {
  return directions[static_cast<std::size_t>(patientAxis)][static_cast<std::size_t>(axis)];
}

Alignment alignmentOf(int axis, Directions const& directions, int taken) {
  int closest = taken == 0 ? 1 : 0;
  for (int p = 0; p < patientAxes; ++p) {
    if (p == taken) continue;
    if (std::abs(along(directions, p, axis)) > std::abs(along(directions, closest, axis))) closest = p;
  }
  return {axis, closest, along(directions, closest, axis) < 0};
}

char sideAt(Alignment const& alignment, bool end, bool reversed) {
  bool const towards = (end != reversed) != alignment.against;
  return (towards ? sideTowards : sideAwayFrom)[alignment.patientAxis];
}

}  // namespace

SliceOrientation sliceOrientation(Plane plane, std::optional<Directions> const& directions) {
  auto const axes = EuclideanDistanceTransform2D::axesOf(plane);
  if (!directions) return {{axes.i, false}, {axes.j, false}};

  Alignment across = alignmentOf(axes.i, *directions, -1);
  Alignment down = alignmentOf(axes.j, *directions, across.patientAxis);
  if (across.patientAxis > down.patientAxis) std::swap(across, down);
  bool const headUp = down.patientAxis == 2;
  bool const acrossReversed = across.against;
  bool const downReversed = down.against != headUp;
  return {{across.axis, acrossReversed},         {down.axis, downReversed},
          sideAt(across, false, acrossReversed), sideAt(across, true, acrossReversed),
          sideAt(down, false, downReversed),     sideAt(down, true, downReversed)};
}

}  // namespace lorb::tools
