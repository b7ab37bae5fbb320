// DICOM: the frames of one series, from the files of a folder, put together to a volume.
#pragma once

#include "tools/volume/VolumeSource.h"

#include <filesystem>
#include <memory>

namespace lorb::tools {

/// Whether the file begins as DICOM files do: 128 bytes of anything, then "DICM".
bool isDicomFile(std::filesystem::path const& path);

/// Opens a series from the files of a folder, or the one that a file belongs to; see `dicom::chosenFiles` for
/// which, and for files that may be damaged. Frames of classic and of enhanced files are sorted alike; see
/// `dicom::stackOf` for what is refused. Gaps, a tilt and slices that lie aside are refused, too, unless
/// `choice.uneven`, which makes them a notice, the spacing then being the commonest one.
///
/// Values are stored · slope + intercept, each frame with its own, doses by their own scaling, and never
/// inverted for display. Notices tell of values that are shown inverted, and of spacings that are missing or
/// measured at a detector.
std::unique_ptr<VolumeSource> openDicomSeries(std::filesystem::path const& path, InputChoice const& choice);

}  // namespace lorb::tools
