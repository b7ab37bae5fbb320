// Between the two placements that a NIfTI header may hold and a geometry.
#pragma once

#include "tools/volume/niftiHeader.h"

#include <filesystem>
#include <optional>
#include <string>

namespace lorb::tools {

/// Where a header places its voxels.
struct NiftiPlace {
  Geometry geometry;                                 ///< in millimetres
  bool inPatient = true;                             ///< whether its directions are those of a patient
  std::optional<std::string> notice = std::nullopt;  ///< what a person should know of the choice
};

/// The sform when its code is above 0, else the qform when its code is. A notice says when both are given and
/// differ by more than rounding. Where neither is given, voxel sizes alone place the voxels: of NIfTI files
/// as the standard's method 1 says, of Analyze files as SPM and nibabel do; the notice says so. Throws
/// `InputError` for a place that is none.
NiftiPlace placeOf(NiftiHeader const& header, std::filesystem::path const& path);

/// Notes that place voxels by the sform, exactly, and by the qform as well where the axes stand at right
/// angles to each other, which it can't do without.
NiftiNotes notesFor(Geometry const& geometry);

}  // namespace lorb::tools
