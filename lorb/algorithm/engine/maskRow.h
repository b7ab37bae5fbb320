#pragma once

#include <lorb/algorithm/engine/block.h>

/// Rows of mask bits.
namespace lorb::engine {

/// Moves a row of `count` > 0 bits up by `shift` < 64 columns, and repeats its first bit below and its last
/// bit above, up to the end of `words`: copies of the outermost columns make no boundary.
void padMaskRow(MaskWord* words, std::size_t wordCount, std::size_t count, int shift);

}  // namespace lorb::engine
