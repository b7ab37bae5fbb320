// TIFF files as a row of the table.

#include "tools/volume/TiffVolumeSource.h"
#include "tools/volume/TiffVolumeWriter.h"
#include "tools/volume/formatTable.h"

namespace lorb::tools {
namespace {

constexpr Extension extensions[] = {{".tif", ".tif"}, {".tiff", ".tiff"}};

Geometry spacingAlone(Geometry const& geometry) {
  Geometry result;
  result.spacing = geometry.spacing;
  return result;
}

}  // namespace

constinit VolumeFormat const tiffFormat = {.name = "TIFF",
                                           .extensions = extensions,
                                           .open = openTiffVolume,
                                           .write = writeTiffVolume,
                                           .placeIn = spacingAlone};

}  // namespace lorb::tools
