#include "tools/picture/montageLayout.h"

#include <algorithm>

namespace lorb::tools {
namespace {

constexpr double extremeRatio = 12.0;
constexpr int leastCellWidth = 130;  // the width of "no boundary" in two lines, and of captions

/// Panels as large as they can be in this many columns.
MontageLayout inColumns(int columns, int count, double ratio, int maxWidth, int maxHeight) {
  using Layout = MontageLayout;
  MontageLayout layout{};
  layout.columns = columns;
  layout.rows = (count + columns - 1) / columns;
  double const widest = double(maxWidth - (columns - 1) * Layout::gap) / columns;
  double const highest =
      double(maxHeight - (layout.rows - 1) * Layout::gap) / layout.rows - Layout::captionHeight;
  double const width = std::min(widest, highest * ratio);
  layout.panelWidth = std::max(1, static_cast<int>(width));
  layout.panelHeight = std::max(1, static_cast<int>(width / ratio));
  layout.cellWidth = std::max(layout.panelWidth, leastCellWidth);
  layout.cellHeight = layout.panelHeight + Layout::captionHeight;
  return layout;
}

}  // namespace

int MontageLayout::width() const {
  return columns * cellWidth + (columns - 1) * gap;
}

int MontageLayout::height() const {
  return rows * cellHeight + (rows - 1) * gap;
}

MontageLayout montageLayout(int count, double ratio, int maxWidth, int maxHeight) {
  double const shown = std::clamp(ratio, 1.0 / extremeRatio, extremeRatio);
  MontageLayout best{};
  for (int columns = 1; columns <= count; ++columns) {
    MontageLayout const layout = inColumns(columns, count, shown, maxWidth, maxHeight);
    bool const fits = layout.width() <= maxWidth && layout.height() <= maxHeight;
    if (columns == 1 || (fits && layout.panelHeight > best.panelHeight)) best = layout;
  }
  best.toScale = shown == ratio;
  return best;
}

}  // namespace lorb::tools
