#include "tools/report/unboundedSlices.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>

namespace lorb::tools {
namespace {

constexpr std::size_t mostRanges = 8;

std::string rangeText(SliceRange const& range) {
  std::string const first = std::to_string(range.begin);
  return range.end - range.begin == 1 ? first : first + "-" + std::to_string(range.end - 1);
}

}  // namespace

std::vector<SliceRange> unboundedRanges(std::vector<SliceSummary> const& slices) {
  std::vector<SliceRange> ranges;
  for (SliceSummary const& slice : slices) {
    if (slice.hasBoundary) continue;
    if (ranges.empty() || ranges.back().end != slice.slice) ranges.push_back({slice.slice, slice.slice});
    ++ranges.back().end;
  }
  return ranges;
}

std::uint64_t sliceCount(std::vector<SliceRange> const& ranges) {
  std::uint64_t count = 0;
  for (SliceRange const& range : ranges) count += range.end - range.begin;
  return count;
}

std::string rangesText(std::vector<SliceRange> const& ranges) {
  std::string text;
  std::size_t const shown = std::min(mostRanges, ranges.size());
  for (std::size_t k = 0; k < shown; ++k) text += (k == 0 ? "" : ", ") + rangeText(ranges[k]);
  if (shown < ranges.size()) text += " and " + std::to_string(ranges.size() - shown) + " more ranges";
  return text;
}

std::string fillingText(float value) {
  if (std::isnan(value)) return "NaN";
  char text[32];
  auto const end = std::to_chars(std::begin(text), std::end(text), std::abs(value)).ptr;
  return (value < 0 ? "-" : "+") + std::string(text, end);
}

std::string fillingText(std::vector<SliceSummary> const& slices) {
  bool someInside = false, someOutside = false;
  float filling = 0.0F;
  for (SliceSummary const& slice : slices) {
    if (slice.hasBoundary) continue;
    (slice.inside > 0 ? someInside : someOutside) = true;
    filling = std::abs(slice.greatest);
  }
  std::string const text = fillingText(someOutside ? filling : -filling);
  bool const bothSigns = someInside && someOutside && !std::isnan(filling);
  return bothSigns ? "±" + text.substr(1) : text;
}

}  // namespace lorb::tools
