#include "tools/base/parseNumber.h"

#include <gtest/gtest.h>

namespace lorb::tools {
namespace {

TEST(ParseNumber, KeepsSixtyFourBitIntegersExactly) {
  EXPECT_EQ(parseNumber("9007199254740993"), ExactNumber(9007199254740993LL));
  EXPECT_NE(parseNumber("9007199254740993"), ExactNumber(9007199254740992LL));
  EXPECT_EQ(parseNumber("18446744073709551615"), ExactNumber(18446744073709551615ULL));
  EXPECT_EQ(parseNumber("-9223372036854775808"), -ExactNumber(9223372036854775808ULL));
}

TEST(ParseNumber, ReadsOtherNumbersAsDoubles) {
  EXPECT_EQ(parseNumber("0.1"), ExactNumber(0.1));
  EXPECT_EQ(parseNumber("-2.5e3"), ExactNumber(-2500));
  EXPECT_EQ(parseNumber("+2.5"), ExactNumber(2.5));
}

TEST(ParseNumber, RefusesWhatIsNoFiniteNumber) {
  for (char const* text : {"", " ", "nan", "-nan", "inf", "-inf", "infinity", "1e999", "5x", "x", "1,5",
                           "0x10", "--5", "1 2", "+", "+-5", "++5", "-+5"}) {
    EXPECT_EQ(parseNumber(text), std::nullopt) << "'" << text << "'";
  }
}

TEST(ParseInteger, TakesWholeNumbersOnly) {
  EXPECT_EQ(parseInteger("-7"), -7);
  for (char const* text : {"", "1.0", "1e2", "2147483648", "7 ", "k"}) {
    EXPECT_EQ(parseInteger(text), std::nullopt) << "'" << text << "'";
  }
}

}  // namespace
}  // namespace lorb::tools
