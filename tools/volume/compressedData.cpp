#include "tools/volume/compressedData.h"

#include <zlib.h>

#include <stdexcept>
#include <vector>

namespace lorb::tools {
namespace {

/// zlib's decompressor, set to find out itself whether it is given gzip or zlib data.
class Inflater {
 public:
  Inflater() {
    if (inflateInit2(&state, 15 + 32) != Z_OK) throw std::runtime_error("zlib does not start");
  }
  ~Inflater() { inflateEnd(&state); }
  Inflater(Inflater const&) = delete;
  Inflater& operator=(Inflater const&) = delete;

  z_stream state{};
};

using Buffer = std::vector<unsigned char>;

bool refill(z_stream& state, std::istream& data, Buffer& buffer) {
  if (state.avail_in > 0) return true;
  data.read(reinterpret_cast<char*>(buffer.data()), static_cast<std::streamsize>(buffer.size()));
  state.next_in = buffer.data();
  state.avail_in = static_cast<uInt>(data.gcount());
  return state.avail_in > 0;
}

/// Another piece follows when there is another gzip signature.
bool anotherPiece(z_stream& state, std::istream& data, Buffer& buffer) {
  return refill(state, data, buffer) && *state.next_in == 0x1f && inflateReset(&state) == Z_OK;
}

}  // namespace

std::optional<std::uint64_t> inflatedSize(std::istream& data) {
  Inflater inflater;
  z_stream& state = inflater.state;
  Buffer in(std::size_t(1) << 18), out(std::size_t(1) << 18);
  std::uint64_t size = 0;
  while (refill(state, data, in)) {
    state.next_out = out.data();
    state.avail_out = static_cast<uInt>(out.size());
    int const status = inflate(&state, Z_NO_FLUSH);
    size += out.size() - state.avail_out;
    if (status == Z_STREAM_END && !anotherPiece(state, data, in)) return size;
    if (status != Z_OK && status != Z_STREAM_END) return std::nullopt;
  }
  return std::nullopt;
}

}  // namespace lorb::tools
