// PNG files as a row of the table.

#include "tools/volume/PngVolumeSource.h"
#include "tools/volume/formatTable.h"

namespace lorb::tools {
namespace {

constexpr Extension extensions[] = {{".png", ""}};

}  // namespace

constinit VolumeFormat const pngFormat = {
    .name = "PNG", .extensions = extensions, .takesFolder = isFolderOfPngs, .open = openPngVolume};

}  // namespace lorb::tools
