// Whether compressed data is whole, found out before anything is allocated for it.
#pragma once

#include <cstdint>
#include <istream>
#include <optional>

namespace lorb::tools {

/// Number of bytes that the gzip or zlib data from the stream's position to its end unfolds to; of
/// several such pieces one after the other, as gzip allows, all are counted. Nothing when the data is
/// damaged, fails its checksum or ends early. What follows the last piece is ignored.
std::optional<std::uint64_t> inflatedSize(std::istream& data);

}  // namespace lorb::tools
