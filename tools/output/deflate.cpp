#include "tools/output/deflate.h"

#include <libdeflate.h>
#include <zlib.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>

namespace lorb::tools {
namespace {

using Bytes = std::vector<std::byte>;

struct CompressorDeleter {
  void operator()(libdeflate_compressor* compressor) const { libdeflate_free_compressor(compressor); }
};
using Compressor = std::unique_ptr<libdeflate_compressor, CompressorDeleter>;

/// A deflate stream of its own, whose last block says that it is the last.
Bytes deflated(std::span<std::byte const> part, int level) {
  Compressor const compressor(libdeflate_alloc_compressor(level));
  if (compressor == nullptr) throw std::bad_alloc();
  Bytes bytes(libdeflate_deflate_compress_bound(compressor.get(), part.size()));
  bytes.resize(
      libdeflate_deflate_compress(compressor.get(), part.data(), part.size(), bytes.data(), bytes.size()));
  bytes.shrink_to_fit();
  return bytes;
}

/// zlib's decompressor for data without any wrapping.
class Inflater {
 public:
  Inflater() {
    if (inflateInit2(&state, -15) != Z_OK) throw std::bad_alloc();
  }
  ~Inflater() { inflateEnd(&state); }
  Inflater(Inflater const&) = delete;
  Inflater& operator=(Inflater const&) = delete;

  z_stream state{};
};

/// Bits of a deflate stream, counted from its begin.
struct LastBlock {
  std::uint64_t begin;  ///< where its header begins, with the bit that says that it is the last
  std::uint64_t end;    ///< behind its last bit
};

[[noreturn]] void refuse() {
  throw std::runtime_error("compressed data does not unfold to what was compressed");
}

/// Unfolds a stream, which has to give `part`, to find its last block.
LastBlock lastBlock(Bytes const& stream, std::span<std::byte const> part) {
  constexpr int atBlockEnd = 128, isLast = 64, unusedBits = 7;  // in what zlib says of its position
  Bytes unfolded(part.size() + 1);                              // one more shows what is too long
  Inflater inflater;
  z_stream& state = inflater.state;
  state.next_in = reinterpret_cast<Bytef*>(const_cast<std::byte*>(stream.data()));
  state.avail_in = static_cast<uInt>(stream.size());
  state.next_out = reinterpret_cast<Bytef*>(unfolded.data());
  state.avail_out = static_cast<uInt>(unfolded.size());
  LastBlock block = {0, 0};
  do {
    block.begin = block.end;
    if (inflate(&state, Z_BLOCK) != Z_OK || (state.data_type & atBlockEnd) == 0) refuse();
    block.end = std::uint64_t{8} * state.total_in - unsigned(state.data_type & unusedBits);
  } while ((state.data_type & isLast) == 0);
  if (state.total_out != part.size() || !std::equal(part.begin(), part.end(), unfolded.begin())) refuse();
  return block;
}

/// Takes back that the last block is the last, and fills up to a full byte with an empty stored block.
void makeContinuable(Bytes& stream, LastBlock const& block) {
  stream[block.begin / 8] &= ~(std::byte{1} << block.begin % 8);
  constexpr std::size_t headerBits = 3, lengthBytes = 4;
  stream.resize((block.end + headerBits + 7) / 8);  // with zeros, which are the header
  stream.resize(stream.size() + lengthBytes);
  std::fill_n(stream.end() - 2, 2, std::byte{0xff});  // the length is given twice, once inverted
}

void append(Bytes& bytes, std::uint32_t number, bool mostSignificantFirst) {
  for (int k = 0; k < 4; ++k) {
    bytes.push_back(static_cast<std::byte>(number >> 8 * (mostSignificantFirst ? 3 - k : k) & 0xff));
  }
}

}  // namespace

DeflatedPart deflatePart(std::span<std::byte const> part, int level, Wrapping wrapping) {
  if (part.size() >= std::numeric_limits<uInt>::max()) throw std::length_error("deflatePart: too much");
  DeflatedPart segment;
  segment.bytes = deflated(part, level);
  makeContinuable(segment.bytes, lastBlock(segment.bytes, part));
  segment.size = part.size();
  segment.checksum = wrapping == Wrapping::gzip ? libdeflate_crc32(0, part.data(), part.size())
                                                : libdeflate_adler32(1, part.data(), part.size());
  return segment;
}

void extend(DeflatedPart& whole, DeflatedPart const& next, Wrapping wrapping) {
  auto const combine = wrapping == Wrapping::gzip ? crc32_combine : adler32_combine;
  whole.checksum =
      static_cast<std::uint32_t>(combine(whole.checksum, next.checksum, static_cast<z_off_t>(next.size)));
  whole.size += next.size;
}

DeflatedPart noPart(Wrapping wrapping) {
  return {{}, 0, wrapping == Wrapping::gzip ? 0U : 1U};
}

Bytes streamHead(Wrapping wrapping) {
  // Without a name and a time, so that equal maps are equal files.
  if (wrapping == Wrapping::zlib) return {std::byte{0x78}, std::byte{0x9c}};
  constexpr unsigned char gzip[] = {0x1f, 0x8b, 8, 0, 0, 0, 0, 0, 0, 0xff};
  auto const bytes = std::as_bytes(std::span(gzip));
  return {bytes.begin(), bytes.end()};
}

Bytes streamEnd(DeflatedPart const& whole, Wrapping wrapping) {
  Bytes bytes = {std::byte{3}, std::byte{0}};  // a last block, with nothing in it
  append(bytes, whole.checksum, wrapping == Wrapping::zlib);
  if (wrapping == Wrapping::gzip) append(bytes, static_cast<std::uint32_t>(whole.size), false);
  return bytes;
}

}  // namespace lorb::tools
