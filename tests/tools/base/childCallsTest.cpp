#include "tools/base/childCalls.h"

#include "tests/sanitized.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

namespace lorb::tools {
namespace {

constexpr ChildLimits limits = {256 << 20, 1};

/// All messages and ends, one after the other.
std::vector<std::string> recordOf(std::size_t count, ChildCall const& f) {
  std::vector<std::string> record;
  callInChild(
      count, limits, f,
      [&](std::size_t k, std::span<std::byte const> bytes) {
        std::string const text(reinterpret_cast<char const*>(bytes.data()), bytes.size());
        record.push_back(std::to_string(k) + " sends " + text);
      },
      [&](std::size_t k, CallEnd end, std::string const& reason) {
        char const* const names[] = {"returns", "throws ", "is out of memory", "is out of time", "crashes"};
        record.push_back(std::to_string(k) + " " + names[int(end)] + reason);
      });
  return record;
}

void sendText(Send const& send, std::string const& text) {
  send(std::as_bytes(std::span(text)));
}

TEST(ChildCalls, TellHowEachCallEnds) {
  int called = 0;
  auto const record = recordOf(7, [&](std::size_t k, Send const& send) {
    ++called;
    if (k == 0) sendText(send, "one"), sendText(send, "");
    if (k == 1) std::abort();
    if (k == 2) throw std::runtime_error("survived");
    if (k == 3) throw 5;
    if (k == 4 && !lorb::test::isSanitized) std::vector<char>(std::size_t(1) << 30, 'x');
    if (k == 5)
      for (volatile int forever = 1; forever;) {
      }
    if (k == 6) sendText(send, "last");
  });
  EXPECT_EQ(record, (std::vector<std::string>{"0 sends one", "0 sends ", "0 returns", "1 crashes",
                                              "2 throws survived", "3 throws unknown exception",
                                              lorb::test::isSanitized ? "4 returns" : "4 is out of memory",
                                              "5 is out of time", "6 sends last", "6 returns"}));
  EXPECT_EQ(called, 0) << "in this process";
}

TEST(ChildCalls, BringLongMessagesWhole) {
  std::vector<std::uint32_t> received;
  callInChild(
      1, limits,
      [](std::size_t, Send const& send) {
        std::vector<std::uint32_t> numbers(1000000);
        for (std::uint32_t k = 0; k < numbers.size(); ++k) numbers[k] = k * k;
        send(std::as_bytes(std::span(numbers)));
      },
      [&](std::size_t, std::span<std::byte const> bytes) {
        auto const* const numbers = reinterpret_cast<std::uint32_t const*>(bytes.data());
        received.assign(numbers, numbers + bytes.size() / sizeof *numbers);
      },
      [](std::size_t, CallEnd end, std::string const&) { EXPECT_EQ(end, CallEnd::returned); });
  ASSERT_EQ(received.size(), 1000000U);
  for (std::uint32_t k = 0; k < received.size(); ++k) ASSERT_EQ(received[k], k * k);
}

TEST(ChildCalls, EndWithWhatTheirReceiverThrows) {
  EXPECT_THROW(callInChild(
                   2, limits, [](std::size_t, Send const& send) { sendText(send, "text"); },
                   [](std::size_t, std::span<std::byte const>) { throw std::runtime_error("enough"); },
                   [](std::size_t, CallEnd, std::string const&) {}),
               std::runtime_error);
}

}  // namespace
}  // namespace lorb::tools
