// What ImageJ writes into the description of a TIFF file: how its pages are arranged and how large voxels
// are.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace lorb::tools {

/// The fields of such a description. Pages run through channels, then slices, then frames.
struct ImageJDescription {
  std::uint64_t images = 1, channels = 1, frames = 1;
  std::optional<double> spacing;  ///< from slice to slice, in `depthUnit`
  std::string unit, depthUnit;    ///< as they are written; empty when nothing is said
  bool calibratesValues = false;  ///< values mean something else than the numbers that are stored
};

/// Nothing when the text is none of ImageJ's.
std::optional<ImageJDescription> imageJDescription(std::string_view text);

/// Text that gives voxels a depth in centimetres, the unit in which the resolution of the page must then be.
std::string imageJText(std::uint64_t slices, double depthInCentimetres);

/// Millimetres in a unit of length, by the names that ImageJ knows; nothing for others, such as "pixel".
std::optional<double> millimetresIn(std::string_view unit);

}  // namespace lorb::tools
