// The frames of a DICOM series sorted to volumes, and what keeps them from filling a box.
#pragma once

#include "tools/volume/VolumeSource.h"
#include "tools/volume/dicom/Frame.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace lorb::tools::dicom {

struct SliceStack {
  std::vector<Frame> slices;  ///< in the order of the volume's third axis
  Geometry geometry;
  std::array<bool, 3> spacingKnown = {true, true, true};

  /// Gaps, a tilt or slices that lie aside, in words; nothing when the slices fill a box.
  std::optional<std::string> unevenness;

  /// What a person should know about places that are missing.
  std::vector<std::string> remarks;
};

/// Sorts frames by their position along their common normal. When each place holds the same number of frames,
/// more than one, they are volumes in the order of `Frame::order`, of which `choice.volume` picks one. Frames
/// of one file that have no places are taken in their order. Throws `InputError` naming `path` when frames
/// differ in size, orientation or spacing, when some have no place, when places hold different numbers of
/// frames, or when the choice of a volume is missing or wrong.
SliceStack stackOf(std::vector<Frame> frames, InputChoice const& choice, std::filesystem::path const& path);

}  // namespace lorb::tools::dicom
