#include "tools/picture/zeroContour.h"

#include <cmath>

namespace lorb::tools {
namespace {

/// The square between the centres of four samples, its corners in the order of reading.
struct Square {
  double x, y;  ///< centre of the upper left sample
  double upperLeft, upperRight, lowerLeft, lowerRight;

  bool finite() const {
    return std::isfinite(upperLeft) && std::isfinite(upperRight) && std::isfinite(lowerLeft) &&
           std::isfinite(lowerRight);
  }
  Point onTop() const { return {x + root(upperLeft, upperRight), y}; }
  Point onBottom() const { return {x + root(lowerLeft, lowerRight), y + 1}; }
  Point onLeft() const { return {x, y + root(upperLeft, lowerLeft)}; }
  Point onRight() const { return {x + 1, y + root(upperRight, lowerRight)}; }

  double saddle() const {
    return (upperLeft * lowerRight - upperRight * lowerLeft) /
           (upperLeft + lowerRight - upperRight - lowerLeft);
  }

 private:
  static double root(double a, double b) { return a / (a - b); }
};

bool below(double value) {
  return value < 0;
}

void addSegments(Square const& square, std::vector<LineSegment>& segments) {
  bool const corner = below(square.upperLeft);
  bool const top = corner != below(square.upperRight);
  bool const left = corner != below(square.lowerLeft);
  bool const bottom = below(square.lowerLeft) != below(square.lowerRight);
  bool const right = below(square.upperRight) != below(square.lowerRight);

  if (top && left && bottom && right) {
    bool const joinsUpperLeft = below(square.saddle()) == corner;
    segments.push_back({square.onTop(), joinsUpperLeft ? square.onRight() : square.onLeft()});
    segments.push_back({square.onBottom(), joinsUpperLeft ? square.onLeft() : square.onRight()});
    return;
  }
  // Crossed edges come in pairs.
  Point ends[2];
  int count = 0;
  if (top) ends[count++] = square.onTop();
  if (left) ends[count++] = square.onLeft();
  if (bottom) ends[count++] = square.onBottom();
  if (right) ends[count++] = square.onRight();
  if (count == 2) segments.push_back({ends[0], ends[1]});
}

}  // namespace

std::vector<LineSegment> zeroContour(SliceGrid const& grid) {
  std::vector<LineSegment> segments;
  for (int j = -1; j < grid.height; ++j) {
    for (int i = -1; i < grid.width; ++i) {
      Square const square{i + 0.5,
                          j + 0.5,
                          grid.nearest(i, j),
                          grid.nearest(i + 1, j),
                          grid.nearest(i, j + 1),
                          grid.nearest(i + 1, j + 1)};
      if (square.finite()) addSegments(square, segments);
    }
  }
  return segments;
}

}  // namespace lorb::tools
