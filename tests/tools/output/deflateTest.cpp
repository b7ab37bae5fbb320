#include "tools/output/deflate.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cmath>
#include <cstring>
#include <random>
#include <string>

namespace lorb::tools {
namespace {

std::vector<std::byte> bytesOf(std::string const& text) {
  auto const bytes = std::as_bytes(std::span(text));
  return {bytes.begin(), bytes.end()};
}

/// Single-precision numbers that change slowly, as in a map.
std::vector<std::byte> smoothNumbers(std::size_t count) {
  std::vector<float> numbers(count);
  for (std::size_t k = 0; k < count; ++k) numbers[k] = std::sqrt(float(k % 1000 * (k / 1000)));
  auto const bytes = std::as_bytes(std::span(numbers));
  return {bytes.begin(), bytes.end()};
}

std::vector<std::byte> noise(std::size_t count) {
  std::mt19937 random(1);
  std::vector<std::byte> bytes(count);
  for (std::byte& byte : bytes) byte = static_cast<std::byte>(random() & 0xff);
  return bytes;
}

std::vector<std::byte> streamOf(std::vector<std::vector<std::byte>> const& parts, int level,
                                Wrapping wrapping) {
  std::vector<std::byte> stream = streamHead(wrapping);
  DeflatedPart whole = noPart(wrapping);
  auto const append = [&](std::vector<std::byte> const& bytes) {
    stream.insert(stream.end(), bytes.begin(), bytes.end());
  };
  for (auto const& part : parts) {
    DeflatedPart const segment = deflatePart(part, level, wrapping);
    append(segment.bytes);
    extend(whole, segment, wrapping);
  }
  append(streamEnd(whole, wrapping));
  return stream;
}

/// What zlib makes of a stream, which has to end with its last byte.
std::vector<std::byte> unfolded(std::vector<std::byte> const& stream, Wrapping wrapping, std::size_t size) {
  z_stream state{};
  inflateInit2(&state, wrapping == Wrapping::gzip ? 31 : 15);
  std::vector<std::byte> result(size + 1);
  state.next_in = reinterpret_cast<Bytef*>(const_cast<std::byte*>(stream.data()));
  state.avail_in = static_cast<uInt>(stream.size());
  state.next_out = reinterpret_cast<Bytef*>(result.data());
  state.avail_out = static_cast<uInt>(result.size());
  EXPECT_EQ(inflate(&state, Z_FINISH), Z_STREAM_END);
  EXPECT_EQ(state.avail_in, 0U);
  result.resize(state.total_out);
  inflateEnd(&state);
  return result;
}

class Deflated : public testing::TestWithParam<Wrapping> {};
INSTANTIATE_TEST_SUITE_P(GzipAndZlib, Deflated, testing::Values(Wrapping::gzip, Wrapping::zlib));

TEST_P(Deflated, SegmentsAreOneStream) {
  std::vector<std::vector<std::byte>> const samples[] = {
      {},
      {{}},
      {bytesOf("a")},
      {bytesOf("abc"), bytesOf("defgh"), {}, bytesOf("i")},
      {smoothNumbers(300000), noise(100001), smoothNumbers(7), std::vector<std::byte>(1 << 20)},
      {noise(1 << 20), bytesOf("end")},
  };
  for (int level = 0; level <= mostCompression; ++level) {
    for (auto const& parts : samples) {
      std::vector<std::byte> all;
      for (auto const& part : parts) all.insert(all.end(), part.begin(), part.end());
      EXPECT_TRUE(unfolded(streamOf(parts, level, GetParam()), GetParam(), all.size()) == all) << level;
    }
  }
}

TEST_P(Deflated, SegmentsEndAtEveryBit) {
  // Parts of all lengths, so that blocks end wherever they can within a byte.
  std::vector<std::vector<std::byte>> parts;
  std::vector<std::byte> all;
  for (std::size_t length = 0; length < 300; ++length) {
    parts.push_back(smoothNumbers(300));
    parts.back().resize(length);
    all.insert(all.end(), parts.back().begin(), parts.back().end());
  }
  for (int const level : {0, 1, 4, 9}) {
    EXPECT_TRUE(unfolded(streamOf(parts, level, GetParam()), GetParam(), all.size()) == all) << level;
  }
}

TEST_P(Deflated, LevelsTradeTimeForSize) {
  auto const numbers = smoothNumbers(1 << 18);
  std::size_t const stored = deflatePart(numbers, 0, GetParam()).bytes.size();
  std::size_t const fast = deflatePart(numbers, 1, GetParam()).bytes.size();
  std::size_t const small = deflatePart(numbers, 9, GetParam()).bytes.size();
  EXPECT_GE(stored, numbers.size());
  EXPECT_LT(stored, numbers.size() + 200);
  EXPECT_LT(fast, stored);
  EXPECT_LT(small, fast);
}

}  // namespace
}  // namespace lorb::tools
