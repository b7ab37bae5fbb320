#pragma once

#include <cstddef>
#include <cstdint>

namespace lorb {

/// Writes bits `first` to `first + count - 1` of `words` as consecutive `bool`s. Bit k is bit k % 64 of word
/// k / 64, as in a `std::vector<bool>`.
void unpackBits(std::uint64_t const* words, std::size_t first, std::size_t count, bool* flags);

/// The counterpart of `unpackBits`; all other bits of `words` stay as they are.
void packBits(bool const* flags, std::size_t first, std::size_t count, std::uint64_t* words);

}  // namespace lorb
