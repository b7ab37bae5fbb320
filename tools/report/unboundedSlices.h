// Which slices of a map have no boundary, in few words.
#pragma once

#include "tools/map/distanceMap.h"

#include <cstdint>
#include <string>
#include <vector>

namespace lorb::tools {

/// The slices without a boundary as ranges of neighbours, in ascending order. `slices` must be in that order.
std::vector<SliceRange> unboundedRanges(std::vector<SliceSummary> const& slices);

/// Slices in all ranges.
std::uint64_t sliceCount(std::vector<SliceRange> const& ranges);

/// "0-5, 9, 58-63"; after eight ranges only how many more there are.
std::string rangesText(std::vector<SliceRange> const& ranges);

/// A filling with its sign, as short as a number of single precision can be written: "+12.5", "-12.5", "NaN".
std::string fillingText(float value);

/// The same for all slices without a boundary, with "±12.5" for both. There must be such slices.
std::string fillingText(std::vector<SliceSummary> const& slices);

}  // namespace lorb::tools
