#pragma once

#include <lorb/algorithm/engine/alignedArray.h>
#include <lorb/algorithm/engine/block.h>

#include <cstdint>
#include <memory>

namespace lorb::engine {

/// Distances from here on take 32 bits. Below, the sum of two squares fits into 16 bits, so that plain
/// additions do.
constexpr int nearLimit = 172;
constexpr int nearLimitSquared = nearLimit * nearLimit;

/// Rows before and behind those of a block that the near search reads. They are never nearest.
constexpr int marginRows = 136;

/// Work memory of the search in one block of `rowCount` rows, and what is known from the block before. A
/// block is searched in parts of one vector each, which follow each other: element (row, column) of part p is
/// at (p * (rows + margins) + row) * (columns of a part) + column.
struct SearchMemory {
  /// Throws `std::bad_alloc`.
  explicit SearchMemory(int rowCount);

  int rows;
  AlignedArray<std::uint16_t>
      squares;                         // of the first stage's distances, up to nearLimitSquared; with margins
  AlignedArray<std::uint16_t> minima;  // of `squares` over the rows of each tile; with margins
  AlignedArray<std::uint16_t> bounds;  // squares that no result exceeds, up to nearLimitSquared; whole tiles
  AlignedArray<std::uint16_t> counts;  // distances to the nearest change along columns

  // The same of one part in 32 bits.
  AlignedArray<std::int32_t> farSquares;
  AlignedArray<std::int32_t> farBounds;

  /// Rows in which the nearest voxels lie, for each row that is solved before those around it.
  struct SiteRange {
    int first, last;
  };
  std::unique_ptr<SiteRange[]> sites;

  /// For each tile, what the last part left to the search in 16 and in 32 bits.
  enum class TileState : std::uint8_t { solved, far16, far32 };
  std::unique_ptr<TileState[]> states;
};

}  // namespace lorb::engine
