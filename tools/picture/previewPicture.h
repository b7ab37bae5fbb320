// How a preview looks: panels, captions, colour bar.
#pragma once

#include "tools/picture/SliceGrid.h"
#include "tools/picture/montageLayout.h"
#include "tools/picture/sliceOrientation.h"

#include <cstdint>
#include <string>
#include <vector>

namespace lorb::tools {

/// What a picture shows. All vectors are in the order of the panels; `greys` may be empty.
struct PreviewContent {
  std::vector<std::uint64_t> const& numbers;
  std::vector<SliceGrid> const& maps;
  std::vector<SliceGrid> const& greys;
  SliceOrientation const& orientation;
  std::string const& unit;
};

/// The panels of `count` slices whose sides have the given ratio of width to height.
MontageLayout previewLayout(int count, double ratio);

/// The picture as the content of a PNG file.
std::string drawPicture(PreviewContent const& content, MontageLayout const& layout);

}  // namespace lorb::tools
