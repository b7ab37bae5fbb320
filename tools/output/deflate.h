// Compressed data that several threads make and every program reads: one gzip or zlib stream, whose segments
// are compressed side by side. Each ends at a full byte with an empty block, as zlib's own Z_FULL_FLUSH has
// it, so that they are put together by appending one to the other.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace lorb::tools {

/// What surrounds deflated data: gzip in .gz files and NRRD, zlib in MetaImage.
enum class Wrapping { gzip, zlib };

constexpr int mostCompression = 9;

/// Maps get about as small as by zlib's own default, in a third of the time.
constexpr int defaultCompression = 4;

/// Part of the data, compressed.
struct DeflatedPart {
  std::vector<std::byte> bytes;
  std::uint64_t size = 0;      ///< of what was compressed
  std::uint32_t checksum = 0;  ///< of what was compressed, CRC-32 for gzip and Adler-32 for zlib
};

/// Compresses a part, by a level from 0, which stores, to 9. What comes out depends on the arguments alone.
/// It is unfolded again by zlib and compared; throws `std::runtime_error` when that differs. May be called
/// from several threads at a time.
DeflatedPart deflatePart(std::span<std::byte const> part, int level, Wrapping wrapping);

/// Puts the size and the checksum of two parts that follow each other together.
void extend(DeflatedPart& whole, DeflatedPart const& next, Wrapping wrapping);

/// What comes before the first segment.
std::vector<std::byte> streamHead(Wrapping wrapping);

/// What comes after the last one. `whole` has size and checksum of all.
std::vector<std::byte> streamEnd(DeflatedPart const& whole, Wrapping wrapping);

/// Size and checksum of no data.
DeflatedPart noPart(Wrapping wrapping);

}  // namespace lorb::tools
