#include <lorb/algorithm/engine/alignedArray.h>
#include <lorb/algorithm/engine/block.h>
#include <lorb/algorithm/engine/columnDistances.h>
#include <lorb/algorithm/engine/kernels.h>
#include <lorb/algorithm/engine/maskRow.h>

#include <algorithm>
#include <vector>

namespace lorb::engine {
namespace {

/// The mask of a slice, block by block.
class SliceMask {
 public:
  SliceMask(SliceReader& in, std::int64_t slice)
      : height_(static_cast<std::size_t>(in.height)),
        blocks((static_cast<std::size_t>(in.width) + blockColumns - 1) / blockColumns),
        words_(allocateAligned<MaskWord>(blocks * height_)) {
    auto const width = static_cast<std::size_t>(in.width);
    std::vector<std::uint8_t> flags(width);
    std::vector<MaskWord> row(blocks);
    MaskWord someInside = 0, someOutside = 0;
    for (int j = 0; j < in.height; ++j) {
      VoxelRow voxels = in.row(slice, j, 0, in.width);
      if (voxels.stride != 1) {
        voxels.getInside(width, flags.data());
        voxels = {typeUInt8, flags.data(), 0, 1};
      }
      kernels()->maskRowReaders[voxels.type - 1](voxels.voxels, voxels.first, width, row.data());
      padMaskRow(row.data(), blocks, width, 0);
      for (std::size_t b = 0; b < blocks; ++b) {
        words_[b * height_ + static_cast<std::size_t>(j)] = row[b];
        if (j > 0) someInside |= row[b], someOutside |= ~row[b];
      }
    }
    hasBoundary = someInside != 0 && someOutside != 0;
  }

  MaskWord const* wordsOf(std::size_t block) const { return words_.get() + block * height_; }

 private:
  std::size_t height_;

 public:
  std::size_t const blocks;
  bool hasBoundary = false;

 private:
  AlignedArray<MaskWord> words_;
};

/// What the sums of odd numbers 1, 3, 5, … from `start` on are in single precision: beyond 2²⁴ they are
/// rounded.
std::vector<float> sumsOfOddNumbers(float start, int count) {
  std::vector<float> sums;
  sums.reserve(static_cast<std::size_t>(count));
  for (int k = 0; k < count; ++k) {
    sums.push_back(start);
    start += static_cast<float>(2 * k + 1);
  }
  return sums;
}

}  // namespace

void leaveColumnDistances(SliceReader& in, std::int64_t slice, DatasetSlice& scratch) {
  SliceMask const mask(in, slice);
  int const height = in.height;
  // The entry behind the last distance is that of columns without the other side, which differs from row to
  // row.
  auto squares = sumsOfOddNumbers(0.0F, height + 1);
  auto const unbounded = sumsOfOddNumbers(static_cast<float>(in.width * in.width + height * height), height);
  auto const counts = allocateAligned<Distances>(static_cast<std::size_t>(height));
  MaskWord const otherSide = mask.hasBoundary ? ~MaskWord{0} : 0;
  float values[blockColumns];
  for (std::size_t b = 0; b < mask.blocks; ++b) {
    int const begin = static_cast<int>(b) * blockColumns, count = std::min(in.width - begin, blockColumns);
    kernels()->countColumns(mask.wordsOf(b), height, counts.get());
    for (int j = 0; j < height; ++j) {
      squares.back() = unbounded[static_cast<std::size_t>(j)];
      MaskWord const side = mask.wordsOf(b)[j] ^ otherSide;
      Distances const& row = counts[static_cast<std::size_t>(j)];
      // Without branches, which random masks would make slow.
      for (std::size_t k = 0; k < static_cast<std::size_t>(count); ++k) {
        values[k] =
            static_cast<float>(side >> k & 1) * squares[std::min<std::size_t>(row[k], squares.size() - 1)];
      }
      scratch.setRow(j, begin, count, values);
    }
  }
}

}  // namespace lorb::engine
