#include "tools/volume/compressedData.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <sstream>
#include <string>

namespace lorb::tools {
namespace {

/// `window` as zlib has it: 15 for zlib data, 31 for gzip data.
std::string compressed(std::string text, int window) {
  z_stream state{};
  deflateInit2(&state, 6, Z_DEFLATED, window, 8, Z_DEFAULT_STRATEGY);
  std::string result(text.size() + 1000, '\0');
  state.next_in = reinterpret_cast<Bytef*>(text.data());
  state.avail_in = static_cast<uInt>(text.size());
  state.next_out = reinterpret_cast<Bytef*>(result.data());
  state.avail_out = static_cast<uInt>(result.size());
  deflate(&state, Z_FINISH);
  result.resize(state.total_out);
  deflateEnd(&state);
  return result;
}

std::optional<std::uint64_t> sizeIn(std::string const& data) {
  std::istringstream stream(data);
  return inflatedSize(stream);
}

std::string sampleText() {
  std::string text;
  for (int k = 0; k < 200000; ++k) text += std::to_string(k * 7919 % 1009);
  return text;
}

class InflatedSizeOf : public testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(ZlibAndGzip, InflatedSizeOf, testing::Values(15, 31));

TEST_P(InflatedSizeOf, WholeData) {
  std::string const text = sampleText();
  EXPECT_EQ(sizeIn(compressed(text, GetParam())), text.size());
  EXPECT_EQ(sizeIn(compressed("", GetParam())), 0U);
  EXPECT_EQ(sizeIn(compressed(text, GetParam()) + std::string(9, '\0')), text.size());
}

TEST_P(InflatedSizeOf, CutDataIsNone) {
  std::string const data = compressed(sampleText(), GetParam());
  for (std::size_t const left : {std::size_t(0), std::size_t(5), data.size() / 2, data.size() - 1}) {
    EXPECT_EQ(sizeIn(data.substr(0, left)), std::nullopt) << left;
  }
}

TEST_P(InflatedSizeOf, DamagedDataIsNone) {
  std::string data = compressed(sampleText(), GetParam());
  data[data.size() / 2] = static_cast<char>(data[data.size() / 2] ^ 4);
  EXPECT_EQ(sizeIn(data), std::nullopt);
}

TEST(InflatedSize, AddsUpGzipMembers) {
  EXPECT_EQ(sizeIn(compressed("abc", 31) + compressed("defgh", 31)), 8U);
}

}  // namespace
}  // namespace lorb::tools
