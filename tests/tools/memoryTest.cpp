#include "tools/memory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace lorb::tools {
namespace {

TEST(Bytes, AreParsed) {
  EXPECT_EQ(parseBytes("65536"), 65536U);
  EXPECT_EQ(parseBytes("512M"), 512U << 20);
  EXPECT_EQ(parseBytes("512MiB"), 512U << 20);
  EXPECT_EQ(parseBytes("1.5G"), 3ULL << 29);
  EXPECT_EQ(parseBytes("2KB"), 2048U);
  for (char const* text : {"", "M", "0", "-1G", "1e30T", "12X", "nan", "inf", "1 G"}) {
    EXPECT_EQ(parseBytes(text), std::nullopt) << text;
  }
}

TEST(Bytes, AreSpelled) {
  EXPECT_EQ(bytesText(512U << 20), "512 MiB");
  EXPECT_EQ(bytesText(3ULL << 29), "1.5 GiB");
  EXPECT_EQ(bytesText(1024), "1 KiB");
}

TEST(Memory, PeakIsWhatWasTouched) {
  std::uint64_t const before = peakMemory();
  std::vector<char> const block(64U << 20, 'x');
  EXPECT_GE(peakMemory(), std::max<std::uint64_t>(before, block.size()));
  EXPECT_GT(availableMemory(), 0U);
}

}  // namespace
}  // namespace lorb::tools
