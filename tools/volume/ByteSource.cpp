#include "tools/volume/ByteSource.h"

#include "tools/base/errors.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <system_error>
#include <vector>

namespace lorb::tools {
namespace fs = std::filesystem;
namespace {

/// A file that is open for reading.
class File {
 public:
  explicit File(StoredBytes const& stored)
      : stored_(stored), file_(open(stored.file.c_str(), O_RDONLY | O_CLOEXEC)) {
    if (file_ < 0) refuse("can't be opened: ");
  }
  ~File() { close(file_); }
  File(File const&) = delete;
  File& operator=(File const&) = delete;

  std::uint64_t size() const {
    struct stat status;
    if (fstat(file_, &status) != 0) refuse("can't be read: ");
    return static_cast<std::uint64_t>(status.st_size);
  }

  /// Fills `bytes` as far as the file goes.
  std::size_t read(std::uint64_t position, std::span<std::byte> bytes) const {
    std::size_t filled = 0;
    while (filled < bytes.size()) {
      ssize_t const got = pread(file_, bytes.data() + filled, bytes.size() - filled,
                                static_cast<off_t>(stored_.offset + position + filled));
      if (got < 0 && errno == EINTR) continue;
      if (got < 0) refuse("can't be read: ");
      if (got == 0) break;
      filled += static_cast<std::size_t>(got);
    }
    return filled;
  }

 private:
  /// With the system's reason.
  [[noreturn]] void refuse(std::string const& what) const {
    refuseInput(stored_.input, what + std::generic_category().message(errno));
  }

  StoredBytes stored_;
  int file_;
};

class PlainBytes : public ByteSource {
 public:
  explicit PlainBytes(StoredBytes const& stored) : stored_(stored), file_(stored) {
    std::uint64_t const length = file_.size();
    std::uint64_t const behind = length > stored.offset ? length - stored.offset : 0;
    if (behind < stored.size) refuseEnd(behind);
  }

  void read(std::uint64_t position, std::span<std::byte> bytes) override {
    std::size_t const got = file_.read(position, bytes);
    if (got < bytes.size()) refuseEnd(position + got);
  }

 private:
  [[noreturn]] void refuseEnd(std::uint64_t found) const {
    refuseInput(stored_.input, "is incomplete: holds " + std::to_string(found) + " bytes of data; expected " +
                                   std::to_string(stored_.size));
  }

  StoredBytes stored_;
  File file_;
};

class CompressedBytes : public ByteSource {
 public:
  explicit CompressedBytes(StoredBytes const& stored) : stored_(stored), file_(stored), in_(blockBytes) {
    // No bit of it stands for more than 2064 bits: two bits for the longest match.
    constexpr std::uint64_t most = 1032;
    if (stored.size / most > file_.size()) {
      refuseInput(stored.input, "is incomplete: its " + std::to_string(file_.size()) +
                                    " bytes can't hold the " + std::to_string(stored.size) +
                                    " that its header describes");
    }
    if (inflateInit2(&state_, anyHeader) != Z_OK) throw std::bad_alloc();
  }
  ~CompressedBytes() override { inflateEnd(&state_); }
  CompressedBytes(CompressedBytes const&) = delete;
  CompressedBytes& operator=(CompressedBytes const&) = delete;

  void read(std::uint64_t position, std::span<std::byte> bytes) override {
    if (position < position_) restart();
    while (position_ < position) skip(position - position_);
    if (unfold(bytes) < bytes.size()) {
      refuseInput(stored_.input, "is incomplete: holds " + std::to_string(position_) +
                                     " bytes of data; expected " + std::to_string(stored_.size));
    }
    if (position_ >= stored_.size && !checked_) checkRest();
  }

 private:
  static constexpr std::size_t blockBytes = std::size_t(1) << 18;
  static constexpr int anyHeader = 15 + 32;  // zlib's number for the largest window and either kind of header

  void restart() {
    inflateReset(&state_);
    state_.avail_in = 0;
    taken_ = position_ = 0;
    ended_ = false;
  }

  /// Unfolds up to `count` bytes for nobody.
  void skip(std::uint64_t count) {
    std::vector<std::byte> block(static_cast<std::size_t>(std::min<std::uint64_t>(count, blockBytes)));
    if (unfold(block) < block.size()) refuseAsDamaged();
  }

  /// The checksum is behind the last byte.
  void checkRest() {
    constexpr std::uint64_t slack = std::uint64_t(1) << 20;
    std::vector<std::byte> block(blockBytes);
    while (unfold(block) > 0) {
      if (position_ > 2 * stored_.size + slack) {
        refuseInput(stored_.input, "holds more than twice the " + std::to_string(stored_.size) +
                                       " bytes of data that its header describes");
      }
    }
    checked_ = true;
  }

  /// Fills `bytes` as far as the data goes.
  std::size_t unfold(std::span<std::byte> bytes) {
    std::size_t filled = 0;
    while (filled < bytes.size() && !ended_) {
      refill();
      auto const room = static_cast<uInt>(std::min<std::size_t>(bytes.size() - filled, 1U << 30));
      state_.next_out = reinterpret_cast<Bytef*>(bytes.data() + filled);
      state_.avail_out = room;
      int const status = inflate(&state_, Z_NO_FLUSH);
      filled += room - state_.avail_out;
      if (status == Z_STREAM_END) {
        ended_ = !anotherMember();
      } else if (status != Z_OK) {
        refuseAsDamaged();
      }
    }
    position_ += filled;
    return filled;
  }

  /// Without any more bytes, zlib says that it is stuck.
  void refill() {
    if (state_.avail_in > 0) return;
    std::size_t const got = file_.read(taken_, in_);
    taken_ += got;
    state_.next_in = reinterpret_cast<Bytef*>(in_.data());
    state_.avail_in = static_cast<uInt>(got);
  }

  /// Whether a signature of gzip follows, which is read then.
  bool anotherMember() {
    refill();
    return state_.avail_in > 0 && *state_.next_in == 0x1f && inflateReset(&state_) == Z_OK;
  }

  [[noreturn]] void refuseAsDamaged() const {
    refuseInput(stored_.input, "is damaged or incomplete: its compressed data is not whole");
  }

  StoredBytes stored_;
  File file_;
  std::vector<std::byte> in_;
  z_stream state_{};
  std::uint64_t taken_ = 0;     ///< of the file
  std::uint64_t position_ = 0;  ///< in what it unfolds to
  bool ended_ = false;
  bool checked_ = false;
};

}  // namespace

std::unique_ptr<ByteSource> openPlainBytes(StoredBytes const& stored) {
  return std::make_unique<PlainBytes>(stored);
}

std::unique_ptr<ByteSource> openCompressedBytes(StoredBytes const& stored) {
  return std::make_unique<CompressedBytes>(stored);
}

}  // namespace lorb::tools
