// Where the slices of a montage go.
#pragma once

namespace lorb::tools {

/// All in pixels. Every slice has a cell with a caption and, below it, the panel, centred.
struct MontageLayout {
  int columns, rows;
  int panelWidth, panelHeight;
  int cellWidth, cellHeight;
  bool toScale;  ///< false when the sides had to be brought closer to each other to be seen at all

  int width() const;  ///< of all cells and the gaps between them
  int height() const;

  static constexpr int gap = 18;
  static constexpr int captionHeight = 32;
};

/// The number of columns that makes `count` ≥ 1 panels of the given ratio of width to height largest within
/// `maxWidth` × `maxHeight`; at 1:12 and 12:1 the ratio ends.
MontageLayout montageLayout(int count, double ratio, int maxWidth, int maxHeight);

}  // namespace lorb::tools
