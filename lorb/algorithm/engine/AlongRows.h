#pragma once

#include <lorb/algorithm/engine/Roots.h>
#include <lorb/algorithm/engine/SearchMemory.h>
#include <lorb/algorithm/engine/alignedArray.h>
#include <lorb/algorithm/engine/block.h>
#include <lorb/algorithm/slices.h>

#include <cstdint>
#include <vector>

namespace lorb::engine {

/// Slices whose rows run along x: each is a sheet, scanned along its rows and searched along its columns.
class AlongRows {
 public:
  /// Throws `std::bad_alloc`.
  AlongRows(SliceReader& in, SliceWriter& out, std::int64_t slices, float const* squareRoots);

  /// Computes the slices from `first` up to `end`. Returns `end`, or a slice higher than `exactHeight` in
  /// which distances reach so far that their squares, summed in single precision, are rounded.
  std::int64_t compute(std::int64_t first, std::int64_t end, std::int64_t firstOut);

 private:
  /// A slice as mask bits. Words and carries of a block follow each other row by row.
  struct Sheet {
    AlignedArray<MaskWord> words;
    AlignedArray<RowCarry> carries;
    MaskWord someInside, someOutside;  // in the rows from 1 on, which alone give evidence of a boundary

    bool hasBoundary() const { return someInside != 0 && someOutside != 0; }
  };

  void read(Sheet& sheet, std::int64_t slice, int j);
  bool isExact(Sheet const& sheet);
  void scan(Sheet const& sheet, std::size_t block);
  MaskWord columnsOf(std::size_t block) const;
  void solve(Sheet const& sheet, std::int64_t outSlice);
  void fill(Sheet const& sheet, std::int64_t outSlice);
  float* rowOf(std::int64_t outSlice, int j);
  std::ptrdiff_t rowStride(std::int64_t outSlice);

  SliceReader& in_;
  SliceWriter& out_;
  int shift_;  // columns added at the left so that blocks of the output begin at cache lines
  bool pastCache_;
  std::size_t blocks_;
  std::size_t pitch_;  // words of a block
  std::vector<Sheet> slab_;
  std::vector<MaskWord> row_;
  AlignedArray<Distances> distances_;
  SearchMemory memory_;
  Roots roots_;
  AlignedArray<float> copied_;  // a slice on its way to outputs that are written row by row
};

}  // namespace lorb::engine
