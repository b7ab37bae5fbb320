// The line on which a sampled function is zero.
#pragma once

#include "tools/picture/SliceGrid.h"

#include <vector>

namespace lorb::tools {

struct Point {
  double x, y;
};

/// A straight piece of a line.
struct LineSegment {
  Point from, to;
};

/// Marching squares: the pieces of the line that separates samples below 0 from all others, in the
/// coordinates of `SliceGrid`, found by linear interpolation between centres. Where a square between four
/// centres has its corners crosswise on either side, the saddle of the bilinear function in it decides (G. M.
/// Nielson, B. Hamann, "The asymptotic decider: resolving the ambiguity in marching cubes", 1991,
/// doi:10.1109/VISUAL.1991.175782). The outer samples go on beyond the edge, so that the line reaches it and
/// exists in grids of one column or row. There is no line next to NaN and infinite samples.
std::vector<LineSegment> zeroContour(SliceGrid const& grid);

}  // namespace lorb::tools
