#pragma once

#include <lorb/algorithm/engine/Roots.h>
#include <lorb/algorithm/engine/block.h>

#include <cstddef>
#include <cstdint>

/// The stages of the engine as they are compiled for each instruction set.
namespace lorb::engine {

/// Sets bit k of `words` where voxel `first` + k is above 0, for k below `count`; the other bits of the last
/// word are 0. `voxels` points to the first voxel of a volume, of a `bool` volume to its first word.
using MaskRowReader = void (*)(void const* voxels, std::size_t first, std::size_t count, MaskWord* words);

/// Work memory of the search in one block, see there.
struct SearchMemory;

struct Kernels {
  /// A reader for each element type, in the order of their codes, from `bool` on.
  MaskRowReader const* maskRowReaders;

  /// Finds how far the nearest changes lie beyond the ends of each block of a row. The carries of block b are
  /// at `b * stride`.
  void (*carryAcrossRow)(MaskWord const* words, std::size_t wordCount, std::size_t stride, RowCarry* carries);

  /// First stage along rows: the distance of each column of a block to the nearest change in its row.
  /// `before` and `after` are the words of the neighbouring blocks; null where there is none.
  void (*scanRows)(MaskWord const* words, MaskWord const* before, MaskWord const* after,
                   RowCarry const* carries, int rows, Distances* distances);

  /// The distance of each voxel of a block to the nearest change in its column, `unboundedDistance` and more
  /// where there is none.
  void (*countColumns)(MaskWord const* words, int rows, Distances* counts);

  /// First stage across sheets, backwards: `state` holds the distances of sheet `end` to the nearest change
  /// behind it and receives those of sheet `begin`. `atEnd`: there is no sheet `end`; `state` is unbounded.
  void (*countFromAbove)(SheetStack const& stack, int begin, int end, bool atEnd, Distances* state);

  /// First stage across sheets: the distances of the sheets from `begin` up to `end`, `distanceStride` apart.
  /// `below` goes from the distances of sheet `begin` − 1 to changes before it to those of sheet `end` − 1;
  /// `above` is what `countFromAbove` leaves for sheet `end`, and is used up.
  void (*scanAcross)(SheetStack const& stack, int begin, int end, bool atEnd, Distances* below,
                     Distances* above, Distances* distances, std::size_t distanceStride);

  /// The largest distance along one axis that a voxel of the `solved` columns of a block has at least; no
  /// result exceeds it.
  int (*maxBound)(SearchMemory const& memory, MaskWord const* words, Distances const* distances,
                  MaskWord solved);

  /// Second stage: searches a block along its columns and writes the signed distances of `solved` columns.
  void (*searchBlock)(SearchMemory const& memory, MaskWord const* words, Distances const* distances,
                      MaskWord solved, ConstantColumns const& constant, Roots& roots, Target const& target);

  /// Sets `count` values.
  void (*fill)(float* values, std::size_t count, float value, bool pastCache);
};

/// The best kernels that this processor runs; null where it has no vectors.
Kernels const* kernels();

}  // namespace lorb::engine
