// The bytes that a file holds, plain or compressed. Every byte that is asked for arrives, or an error is
// thrown: what the system reports while it reads, a file that was cut meanwhile, and a checksum that does not
// match.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>

namespace lorb::tools {

class ByteSource {
 public:
  virtual ~ByteSource() = default;

  /// Fills `bytes` with those from `position` on. Throws `InputError`. Of compressed data, reading on costs
  /// what lies between; going back costs as much as reading from the beginning.
  virtual void read(std::uint64_t position, std::span<std::byte> bytes) = 0;
};

/// Where the bytes are.
struct StoredBytes {
  std::filesystem::path input;  ///< named in errors
  std::filesystem::path file;   ///< that holds them, mostly the same
  std::uint64_t offset = 0;     ///< where they begin in the file
  std::uint64_t size = 0;       ///< how many there have to be, uncompressed
};

/// The bytes as they are in the file. Throws `InputError` when it can't be opened or is too short.
std::unique_ptr<ByteSource> openPlainBytes(StoredBytes const& stored);

/// Bytes that the gzip or zlib data from the offset to the end of the file unfolds to; of several gzip
/// members, one after the other. What follows them is ignored. The read that takes the last of the `size`
/// bytes checks the data to its end and its checksum; more than twice as many bytes are refused. Throws
/// `InputError`, also when the file is too short to hold that many bytes in whichever compressed form.
std::unique_ptr<ByteSource> openCompressedBytes(StoredBytes const& stored);

}  // namespace lorb::tools
