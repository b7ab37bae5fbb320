// DICOM files as a row of the table.

#include "tools/volume/DicomSeries.h"
#include "tools/volume/formatTable.h"

namespace lorb::tools {
namespace {

constexpr Extension extensions[] = {{".dcm", ""}, {".ima", ""}};

}  // namespace

constinit VolumeFormat const dicomFormat = {.name = "DICOM",
                                            .extensions = extensions,
                                            .isSeries = true,
                                            .open = openDicomSeries,
                                            .isMarked = isDicomFile};

}  // namespace lorb::tools
