#include "tools/report/unboundedSlices.h"

#include <gtest/gtest.h>

#include <cmath>

namespace lorb::tools {
namespace {

/// Slices by their signs: 'o' all outside, 'i' all inside, '|' with a boundary.
std::vector<SliceSummary> slicesOf(std::string const& kinds, float filling = 12.5F, std::uint64_t first = 0) {
  std::vector<SliceSummary> slices;
  for (char const kind : kinds) {
    float const value = kind == 'i' ? -filling : filling;
    slices.push_back(
        {first++, kind == 'o' ? 0U : 7U, kind == '|' ? -1 : value, kind == '|' ? 1 : value, kind == '|'});
  }
  return slices;
}

TEST(UnboundedSlices, AreRangesOfNeighbours) {
  EXPECT_TRUE(unboundedRanges(slicesOf("|||")).empty());
  auto const ranges = unboundedRanges(slicesOf("ooi|o||ii"));
  EXPECT_EQ(ranges, (std::vector<SliceRange>{{0, 3}, {4, 5}, {7, 9}}));
  EXPECT_EQ(sliceCount(ranges), 6U);
  EXPECT_EQ(rangesText(ranges), "0-2, 4, 7-8");
  EXPECT_EQ(unboundedRanges(slicesOf("o", 1, 41)), (std::vector<SliceRange>{{41, 42}}));
}

TEST(UnboundedSlices, ManyRangesAreKeptShort) {
  EXPECT_EQ(rangesText(unboundedRanges(slicesOf("o|o|o|o|o|o|o|oo"))), "0, 2, 4, 6, 8, 10, 12, 14-15");
  EXPECT_EQ(rangesText(unboundedRanges(slicesOf("o|o|o|o|o|o|o|oo|o||o"))),
            "0, 2, 4, 6, 8, 10, 12, 14-15 and 2 more ranges");
}

TEST(UnboundedSlices, TellTheSignOfWhatTheyHold) {
  EXPECT_EQ(fillingText(slicesOf("|oo")), "+12.5");
  EXPECT_EQ(fillingText(slicesOf("i|i")), "-12.5");
  EXPECT_EQ(fillingText(slicesOf("i|o")), "±12.5");
  EXPECT_EQ(fillingText(slicesOf("i|o", NAN)), "NaN");
  EXPECT_EQ(fillingText(slicesOf("i", 362.03867F)), "-362.03867");
}

}  // namespace
}  // namespace lorb::tools
