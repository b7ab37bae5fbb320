#include "tools/volume/dicom/runLengths.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace lorb::tools::dicom {
namespace {

/// Number of segments, and where each begins.
using Header = std::array<std::uint32_t, 16>;

/// Bytes that a segment unfolds to: byte n from 0 to 127 announces n + 1 bytes, from 129 to 255 one byte that
/// stands for 257 − n.
std::uint64_t unfoldedBytes(std::span<std::byte const> segment) {
  std::uint64_t bytes = 0;
  for (std::size_t at = 0; at < segment.size();) {
    auto const n = std::to_integer<std::size_t>(segment[at++]);
    if (n == 128) continue;
    std::size_t const taken = n < 128 ? n + 1 : 1;
    if (taken > segment.size() - at) break;
    bytes += n < 128 ? n + 1 : 257 - n;
    at += taken;
  }
  return bytes;
}

}  // namespace

bool isWholeRunLengthFrame(std::span<std::byte const> frame, std::uint64_t pixels) {
  Header header = {};
  if (frame.size() < sizeof header) return false;
  std::memcpy(header.data(), frame.data(), sizeof header);
  std::size_t const count = header[0];
  if (count == 0 || count >= header.size()) return false;
  for (std::size_t k = 1; k <= count; ++k) {
    std::size_t const begin = header[k], end = k < count ? header[k + 1] : frame.size();
    if (begin > end || end > frame.size()) return false;
    if (unfoldedBytes(frame.subspan(begin, end - begin)) < pixels) return false;
  }
  return true;
}

}  // namespace lorb::tools::dicom
