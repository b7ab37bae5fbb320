#include "tools/volume/ByteSource.h"

#include "tests/tools/TemporaryFolder.h"
#include "tools/base/errors.h"

#include <gtest/gtest.h>
#include <zlib.h>

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

std::string sampleText() {
  std::string text;
  for (int k = 0; k < 200000; ++k) text += std::to_string(k * 7919 % 1009);
  return text;
}

std::string readFrom(ByteSource& source, std::uint64_t position, std::size_t count) {
  std::string text(count, '\0');
  source.read(position, std::as_writable_bytes(std::span(text)));
  return text;
}

class ByteSourceOf : public testing::Test {
 protected:
  StoredBytes file(std::string const& content, std::uint64_t size, std::uint64_t offset = 0) {
    writeContent(folder / "bytes", content);
    return {folder / "bytes", folder / "bytes", offset, size};
  }

  TemporaryFolder folder;
};

TEST_F(ByteSourceOf, PlainBytesGivesAllOrThrows) {
  auto const source = openPlainBytes(file("..0123456789", 10, 2));
  EXPECT_EQ(readFrom(*source, 0, 10), "0123456789");
  EXPECT_EQ(readFrom(*source, 7, 3), "789");
  EXPECT_EQ(readFrom(*source, 1, 2), "12");
  EXPECT_THROW(readFrom(*source, 7, 4), InputError);
  EXPECT_THROW(readFrom(*source, 20, 1), InputError);
}

TEST_F(ByteSourceOf, MissingFileThrows) {
  EXPECT_THROW(openPlainBytes({folder / "none", folder / "none"}), InputError);
  EXPECT_THROW(openCompressedBytes({folder / "none", folder / "none"}), InputError);
}

class CompressedBytesOf : public ByteSourceOf, public testing::WithParamInterface<int> {
 protected:
  /// Reads all of it, in two parts.
  std::string unfolded(std::string const& content, std::size_t size, std::uint64_t offset = 0) {
    auto const source = openCompressedBytes(file(content, size, offset));
    std::string const first = readFrom(*source, 0, size / 3);
    return first + readFrom(*source, size / 3, size - size / 3);
  }
};
INSTANTIATE_TEST_SUITE_P(ZlibAndGzip, CompressedBytesOf, testing::Values(15, 31));

TEST_P(CompressedBytesOf, WholeData) {
  std::string const text = sampleText(), data = compressed(text, GetParam());
  EXPECT_EQ(unfolded(data, text.size()), text);
  EXPECT_EQ(unfolded("head" + data, text.size(), 4), text);
  EXPECT_EQ(unfolded(data + std::string(9, '\0'), text.size()), text);
  EXPECT_EQ(unfolded(data, text.size() - 1000), text.substr(0, text.size() - 1000));
}

TEST_P(CompressedBytesOf, AnyOrder) {
  std::string const text = sampleText();
  auto const source = openCompressedBytes(file(compressed(text, GetParam()), text.size()));
  for (std::size_t const begin : {300000U, 0U, 299990U, 5U, 500000U}) {
    EXPECT_EQ(readFrom(*source, begin, 20), text.substr(begin, 20));
  }
}

TEST_P(CompressedBytesOf, CutDataThrows) {
  std::string const text = sampleText(), data = compressed(text, GetParam());
  for (std::size_t const left : {std::size_t(0), std::size_t(5), data.size() / 2, data.size() - 1}) {
    EXPECT_THROW(unfolded(data.substr(0, left), text.size()), InputError) << left;
  }
}

TEST_P(CompressedBytesOf, DamagedDataThrows) {
  std::string const text = sampleText();
  std::string data = compressed(text, GetParam());
  for (std::size_t const place : {data.size() / 2, data.size() - 5}) {  // the latter in the checksum
    std::string damaged = data;
    damaged[place] = static_cast<char>(damaged[place] ^ 4);
    EXPECT_THROW(unfolded(damaged, text.size()), InputError) << place;
  }
}

TEST_P(CompressedBytesOf, MuchMoreDataThanDescribedThrows) {
  std::string const data = compressed(std::string(8 << 20, 'x'), GetParam());
  EXPECT_EQ(unfolded(data, 4 << 20), std::string(4 << 20, 'x'));
  EXPECT_THROW(unfolded(data, 1 << 20), InputError);
}

TEST_P(CompressedBytesOf, MoreThanAFileCanHoldIsRefusedAtOnce) {
  StoredBytes const stored = file(compressed("short", GetParam()), std::uint64_t(1) << 40);
  EXPECT_THROW(openCompressedBytes(stored), InputError);
}

TEST_F(ByteSourceOf, GzipMembersFollowEachOther) {
  auto const source = openCompressedBytes(file(compressed("abc", 31) + compressed("defgh", 31), 8));
  EXPECT_EQ(readFrom(*source, 0, 8), "abcdefgh");
}

}  // namespace
}  // namespace lorb::tools
