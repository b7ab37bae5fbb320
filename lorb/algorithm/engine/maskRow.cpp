#include <lorb/algorithm/engine/maskRow.h>

#include <algorithm>

namespace lorb::engine {

void padMaskRow(MaskWord* words, std::size_t wordCount, std::size_t count, int shift) {
  if (shift == 0 && count == wordCount * blockColumns) return;
  std::size_t const used = (count + 63) / 64;
  MaskWord const firstBit = words[0] & 1, lastBit = words[(count - 1) / 64] >> (count - 1) % 64 & 1;
  std::fill(words + used, words + wordCount, MaskWord{0});
  if (shift > 0) {
    for (std::size_t b = wordCount; b-- > 1;) words[b] = words[b] << shift | words[b - 1] >> (64 - shift);
    words[0] = words[0] << shift | (firstBit ? (MaskWord{1} << shift) - 1 : 0);
  }
  if (!lastBit) return;
  std::size_t const end = count + static_cast<std::size_t>(shift);
  if (end % 64 > 0) words[end / 64] |= ~MaskWord{0} << end % 64;
  std::fill(words + (end + 63) / 64, words + wordCount, ~MaskWord{0});
}

}  // namespace lorb::engine
