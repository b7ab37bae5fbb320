// DICOM: the slices of one series, from the files of a folder, put together to a volume.
#pragma once

#include "tools/volume/VolumeSource.h"

#include <filesystem>
#include <memory>

namespace lorb::tools {

/// Whether the file begins as DICOM files do: 128 bytes of anything, then "DICM".
bool isDicomFile(std::filesystem::path const& path);

/// Opens a series from the files of a folder, or the one that a file belongs to, with its siblings in the
/// file's folder. Of a folder's series it is the one that `choice.series` names, else the one with most
/// slices, which a notice then says beside the others.
///
/// Slices are sorted by their position along their common normal. Throws `InputError` when they are oriented
/// differently or lie at the same place; when they are unevenly spaced or shifted against each other, too,
/// unless `choice.uneven`, which makes it a notice, the spacing then being the commonest one. A file with
/// several frames is a volume of its own.
///
/// Files that are empty, can't be opened, or are marked or named like DICOM files but hold no image that can
/// be read are refused, or with `choice.uneven` passed over with a notice; files of another kind are passed
/// over.
std::unique_ptr<VolumeSource> openDicomSeries(std::filesystem::path const& path, InputChoice const& choice);

}  // namespace lorb::tools
