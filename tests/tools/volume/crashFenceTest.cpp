#include "tools/volume/crashFence.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <stdexcept>

namespace lorb::tools {
namespace {

TEST(CrashFence, NamesTheCallsThatEndTheProcess) {
  int called = 0;
  auto const fatal = fatalCalls(6, [&](std::size_t k) {
    ++called;
    if (k == 1 || k == 4) std::abort();
    if (k == 2) throw std::runtime_error("survived");
  });
  EXPECT_EQ(fatal, (std::vector<std::size_t>{1, 4}));
  EXPECT_EQ(called, 0) << "in this process";
}

TEST(CrashFence, FindsNothingWhereNothingIsWrong) {
  EXPECT_TRUE(fatalCalls(0, [](std::size_t) { std::abort(); }).empty());
  EXPECT_TRUE(fatalCalls(3, [](std::size_t) {}).empty());
}

}  // namespace
}  // namespace lorb::tools
