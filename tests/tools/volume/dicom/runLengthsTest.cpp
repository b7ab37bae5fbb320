#include "tools/volume/dicom/runLengths.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace lorb::tools::dicom {
namespace {

std::vector<std::byte> frameOf(std::vector<std::vector<unsigned char>> const& segments) {
  std::uint32_t header[16] = {static_cast<std::uint32_t>(segments.size())};
  std::vector<std::byte> frame(sizeof header);
  std::size_t k = 0;
  for (auto const& segment : segments) {
    header[++k] = static_cast<std::uint32_t>(frame.size());
    for (unsigned char const byte : segment) frame.push_back(std::byte(byte));
  }
  std::memcpy(frame.data(), header, sizeof header);
  return frame;
}

TEST(RunLengths, AreWholeWhenEachSegmentGivesAByteForEachPixel) {
  // Three bytes as they are, nothing, and one that stands for four.
  std::vector<unsigned char> const seven = {2, 10, 11, 12, 128, 253, 9};
  EXPECT_TRUE(isWholeRunLengthFrame(frameOf({seven}), 7));
  EXPECT_FALSE(isWholeRunLengthFrame(frameOf({seven}), 8));
  EXPECT_TRUE(isWholeRunLengthFrame(frameOf({seven, seven}), 7));
  EXPECT_FALSE(isWholeRunLengthFrame(frameOf({{253, 9}, seven}), 7));
}

TEST(RunLengths, AreNotWholeWhenCutAnywhere) {
  auto const frame = frameOf({{2, 10, 11, 12, 253, 9}, {249, 1, 255, 5}});
  ASSERT_TRUE(isWholeRunLengthFrame(frame, 7));
  // The last run is not needed for seven.
  for (std::size_t size = 0; size + 2 < frame.size(); ++size) {
    EXPECT_FALSE(isWholeRunLengthFrame(std::span(frame).first(size), 7)) << size;
  }
}

TEST(RunLengths, AreNotWholeWhenTheirHeaderIsDamaged) {
  auto frame = frameOf({{249, 1}});
  for (std::uint32_t const count : {0U, 2U, 16U, 0xffffffffU}) {
    std::memcpy(frame.data(), &count, sizeof count);
    EXPECT_FALSE(isWholeRunLengthFrame(frame, 7)) << count;
  }
  std::uint32_t const beyond[2] = {1, 1000};
  std::memcpy(frame.data(), beyond, sizeof beyond);
  EXPECT_FALSE(isWholeRunLengthFrame(frame, 7));
}

}  // namespace
}  // namespace lorb::tools::dicom
