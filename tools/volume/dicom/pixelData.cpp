#include "tools/volume/dicom/pixelData.h"

#include "tools/base/parseNumber.h"
#include "tools/volume/dicom/runLengths.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <string_view>
#include <system_error>
#include <vector>

namespace lorb::tools::dicom {
namespace fs = std::filesystem;
namespace {

constexpr std::string_view implicitLittleEndian = "1.2.840.10008.1.2",
                           explicitLittleEndian = "1.2.840.10008.1.2.1",
                           explicitBigEndian = "1.2.840.10008.1.2.2", encapsulated = "1.2.840.10008.1.2.4.",
                           video = "1.2.840.10008.1.2.4.10", runLengths = "1.2.840.10008.1.2.5";

constexpr std::uint32_t itemTag = 0xe000fffe, endOfSequence = 0xe0ddfffe, pixelTag = 0x00107fe0,
                        bigEndianPixelTag = 0x1000e07f;

/// Numbers of a file in little-endian order, as this tool's systems have them.
class FileNumbers {
 public:
  explicit FileNumbers(fs::path const& path) : stream_(path, std::ios::binary) {
    std::error_code ignored;
    size_ = fs::file_size(path, ignored);
    if (ignored) size_ = 0;
  }
  std::uint64_t size() const { return size_; }

  /// 0 beyond the end.
  std::uint32_t at(std::uint64_t offset) {
    std::uint32_t number = 0;
    readAt(offset, &number, sizeof number);
    return number;
  }

  bool readAt(std::uint64_t offset, void* target, std::size_t bytes) {
    if (offset > size_ || bytes > size_ - offset) return false;
    stream_.clear();
    stream_.seekg(static_cast<std::streamoff>(offset));
    return static_cast<bool>(stream_.read(static_cast<char*>(target), static_cast<std::streamsize>(bytes)));
  }

 private:
  std::ifstream stream_;
  std::uint64_t size_ = 0;
};

std::uint64_t numberOf(FileAttributes const& attributes, Tag tag, std::uint64_t otherwise) {
  auto const number = parseInteger(attributes.of(0, tag));
  return number && *number >= 0 ? static_cast<std::uint64_t>(*number) : otherwise;
}

/// Bytes that uncompressed pixel data of this header take; of colours, which are refused, a part.
std::uint64_t plainBytes(FileAttributes const& attributes) {
  std::uint64_t bits = 1;
  for (Tag const factor : {tag::rows, tag::columns}) {
    bits *= std::min<std::uint64_t>(numberOf(attributes, factor, 1), 0xffff);
  }
  std::uint64_t const frameBits =
      bits * std::min<std::uint64_t>(numberOf(attributes, tag::bitsAllocated, 8), 64);
  std::uint64_t const frames = numberOf(attributes, tag::numberOfFrames, 1);
  if (frames > 0 && frameBits > (std::uint64_t(1) << 62) / frames) return std::uint64_t(1) << 59;
  return (frameBits * frames + 7) / 8;
}

/// Whether the tag of the pixel data stands before its value, in the form with or without a name of the type.
bool beginsPixelData(FileNumbers& file, std::uint64_t offset) {
  auto const isTag = [&](std::uint64_t distance) {
    std::uint32_t const tag = offset >= distance ? file.at(offset - distance) : 0;
    return tag == pixelTag || tag == bigEndianPixelTag;
  };
  return isTag(12) || isTag(8);
}

/// Whether the tag stands anywhere. GDCM finds it elsewhere in files that it reads in a second attempt.
bool mentionsPixelData(FileNumbers& file) {
  std::string content(file.size(), '\0');
  std::string const tag("\xe0\x7f\x10\x00", 4);
  return file.readAt(0, content.data(), content.size()) && content.find(tag) != std::string::npos;
}

bool isComplete(FileNumbers& file, std::uint64_t offset, FileAttributes const& attributes) {
  bool const isSwapped = isBigEndian(attributes.of(0, tag::transferSyntax));
  std::uint32_t const number = file.at(offset - 4);
  std::uint64_t const expected = plainBytes(attributes),
                      length = isSwapped ? __builtin_bswap32(number) : number;
  return length >= expected && file.size() - offset >= expected;
}

/// Whether compressed data end as they should: JPEG, JPEG-LS and JPEG 2000 streams with a marker, behind
/// which there may be padding.
bool endsWithMarker(FileNumbers& file, std::uint64_t begin, std::uint64_t length) {
  std::array<unsigned char, 64> tail = {};
  std::size_t const count = static_cast<std::size_t>(std::min<std::uint64_t>(length, tail.size()));
  if (!file.readAt(begin + length - count, tail.data(), count)) return false;
  std::size_t end = count;
  while (end > 0 && tail[end - 1] == 0) --end;
  while (end > 2 && tail[end - 1] == 0xff) --end;
  return end >= 2 && tail[end - 2] == 0xff && tail[end - 1] == 0xd9;
}

/// Whether a piece of compressed data has what a whole frame ends with.
bool isWholePiece(FileNumbers& file, std::uint64_t begin, std::uint64_t length,
                  FileAttributes const& attributes) {
  std::string const& syntax = attributes.of(0, tag::transferSyntax);
  if (syntax.starts_with(video)) return true;
  if (syntax != runLengths) return endsWithMarker(file, begin, length);
  std::vector<std::byte> piece(length);
  std::uint64_t const pixels = numberOf(attributes, tag::rows, 1) * numberOf(attributes, tag::columns, 1);
  return file.readAt(begin, piece.data(), piece.size()) && isWholeRunLengthFrame(piece, pixels);
}

/// What keeps compressed pixel data from being whole.
std::optional<std::string> damageOfFrames(FileNumbers& file, std::uint64_t offset,
                                          FileAttributes const& attributes) {
  std::string const cut = "is incomplete: its pixel data are cut";
  std::uint64_t const frames = numberOf(attributes, tag::numberOfFrames, 1);
  std::uint64_t pieces = 0;
  bool isWhole = false;
  // The first item is a table of offsets. A single frame may lie in several pieces, of which the last is
  // judged.
  bool isTable = true;
  for (std::uint64_t at = offset; file.at(at) != endOfSequence; isTable = false) {
    std::uint64_t const length = file.at(at + 4);
    if (file.at(at) != itemTag || at + 8 > file.size() || length > file.size() - at - 8) return cut;
    if (!isTable) {
      isWhole = isWholePiece(file, at + 8, length, attributes);
      ++pieces;
    }
    if (pieces > 0 && frames > 1 && !isWhole) return cut;
    at += 8 + length;
  }
  if (!isWhole) return cut;
  if (frames > 1 && pieces != frames) {
    return "holds " + std::to_string(pieces) + " compressed pieces; expected " + std::to_string(frames) +
           ", one a frame";
  }
  return std::nullopt;
}

}  // namespace

bool isEncapsulated(std::string const& transferSyntax) {
  return transferSyntax.starts_with(encapsulated) || transferSyntax == runLengths;
}

bool isBigEndian(std::string const& transferSyntax) {
  return transferSyntax == explicitBigEndian;
}

bool isPlain(std::string const& transferSyntax, int allocatedBits) {
  if (isBigEndian(transferSyntax)) return allocatedBits > 8;
  return transferSyntax == implicitLittleEndian || transferSyntax == explicitLittleEndian;
}

void examinePixelData(fs::path const& path, std::uint64_t offset, FileAttributes& attributes) {
  std::string const& syntax = attributes.of(0, tag::transferSyntax);
  int const bits = static_cast<int>(numberOf(attributes, tag::bitsAllocated, 8));
  if (attributes.of(0, tag::rows).empty() || (!isPlain(syntax, bits) && !isEncapsulated(syntax))) return;
  FileNumbers file(path);
  if (!beginsPixelData(file, offset)) {
    if (!mentionsPixelData(file)) attributes.damage = "holds no pixel data";
    return;
  }
  if (isEncapsulated(syntax)) {
    attributes.damage = damageOfFrames(file, offset, attributes);
  } else {
    attributes.pixelOffset = offset;
    if (!isComplete(file, offset, attributes)) attributes.damage = "is incomplete: its pixel data are cut";
  }
}

}  // namespace lorb::tools::dicom
