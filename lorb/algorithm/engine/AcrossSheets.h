#pragma once

#include <lorb/algorithm/engine/Roots.h>
#include <lorb/algorithm/engine/SearchMemory.h>
#include <lorb/algorithm/engine/alignedArray.h>
#include <lorb/algorithm/engine/block.h>
#include <lorb/algorithm/slices.h>

#include <cstdint>
#include <vector>

namespace lorb::engine {

/// Slices that lie side by side along x (YZ): the sheets are the XY planes, in which each column belongs to
/// another slice. The first stage goes from sheet to sheet, the second along the columns. All of the input is
/// read before anything is written.
class AcrossSheets {
 public:
  /// Throws `std::bad_alloc`.
  AcrossSheets(SliceReader& in, SliceWriter& out, std::int64_t slices, float const* squareRoots);

  /// Computes the slices from `first` up to `end`: at least one, and at most as many as announced.
  void compute(std::int64_t first, std::int64_t end, std::int64_t firstOut);

 private:
  /// The first-stage distances of this many sheets stay in the second cache.
  static constexpr int chunkSheets = 16;

  /// Which slices of a block have voxels of both sides in the sheets from 1 on.
  struct Evidence {
    MaskWord someInside = 0, someOutside = 0;
  };

  void read(std::int64_t first, int count, int shift);
  void solveBlock(std::size_t block, ConstantColumns const& constant, MaskWord solved, Target target,
                  std::ptrdiff_t sheetStride);
  void fillBlock(ConstantColumns const& constant, Target const& target, std::ptrdiff_t sheetStride) const;
  MaskWord* wordsOf(std::size_t block, int sheet) const {
    return words_.get() +
           (block * static_cast<std::size_t>(sheets_) + static_cast<std::size_t>(sheet)) * pitch_;
  }

  SliceReader& in_;
  SliceWriter& out_;
  int rows_;    // of a sheet
  int sheets_;  // of the stack
  std::size_t pitch_;
  std::size_t blocks_;
  AlignedArray<MaskWord> words_;  // of all sheets of block 0, then of block 1, …
  std::vector<Evidence> evidence_;
  std::vector<MaskWord> row_;
  AlignedArray<Distances> above_;      // for each chunk, the distances from its end to the next change
  AlignedArray<Distances> below_;      // for the sheet before a chunk, the distances to the last change
  AlignedArray<Distances> distances_;  // of a chunk
  SearchMemory memory_;
  Roots roots_;
};

}  // namespace lorb::engine
