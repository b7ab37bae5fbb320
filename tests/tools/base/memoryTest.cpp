#include "tools/base/memory.h"

#include "tests/tools/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <string>
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

TEST(Memory, ControlGroupsLimitIt) {
  TemporaryFolder const root;
  auto const write = [&](std::string const& path, std::string const& content) {
    std::filesystem::create_directories((root / path).parent_path());
    writeContent(root / path, content + "\n");
  };
  constexpr std::uint64_t none = std::numeric_limits<std::uint64_t>::max();
  EXPECT_EQ(leftByControlGroups(root.path()), none);
  write("proc/self/cgroup", "0::/all/one");
  write("sys/fs/cgroup/all/one/memory.max", "max");
  EXPECT_EQ(leftByControlGroups(root.path()), none);
  write("sys/fs/cgroup/all/memory.max", "1000");
  write("sys/fs/cgroup/all/memory.current", "600");
  write("sys/fs/cgroup/all/memory.stat", "anon 500\ninactive_file 100");
  EXPECT_EQ(leftByControlGroups(root.path()), 500U);
  write("sys/fs/cgroup/all/one/memory.max", "300");
  EXPECT_EQ(leftByControlGroups(root.path()), 300U);
  write("sys/fs/cgroup/all/memory.current", "2000");
  EXPECT_EQ(leftByControlGroups(root.path()), 0U);
  write("proc/self/cgroup", "5:cpu:/x\n4:memory:/one");
  write("sys/fs/cgroup/memory/one/memory.limit_in_bytes", "70");
  write("sys/fs/cgroup/memory/one/memory.usage_in_bytes", "30");
  EXPECT_EQ(leftByControlGroups(root.path()), 40U);
}

TEST(Memory, PeakIsWhatWasTouched) {
  std::uint64_t const before = peakMemory();
  std::vector<char> const block(64U << 20, 'x');
  EXPECT_GE(peakMemory(), std::max<std::uint64_t>(before, block.size()));
  EXPECT_GT(availableMemory(), 0U);
}

}  // namespace
}  // namespace lorb::tools
