#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// What the stages of the engine hand to each other. They work on sheets: rows of columns, of which 64
/// neighbouring ones are a block. The columns of a block lie side by side in the lanes of vectors.
namespace lorb::engine {

constexpr int blockColumns = 64;

/// A distance to another class that does not exist. Its square is larger than every squared distance in a
/// slice that the engine takes, and still an `int` when one of those is added.
constexpr std::uint16_t unboundedDistance = 30000;

/// The largest sum of the squared sides of a slice that the engine takes.
constexpr std::int64_t maxSquaredDiagonal = (std::int64_t{1} << 29) - 1;

/// For each row of a block: bit k is set where column k is inside.
using MaskWord = std::uint64_t;

/// For each row of a block: the distance of column k to the nearest voxel of the other class along the axis
/// of the first stage; at most `unboundedDistance` + 64.
using Distances = std::array<std::uint16_t, blockColumns>;

/// What a block needs to know of its row: how far the nearest changes are beyond its ends.
struct RowCarry {
  std::uint16_t left;   // from column −1 to the nearest change at its left
  std::uint16_t right;  // from column 64 to the nearest change at its right
};

/// Sheets behind each other: their mask words follow at `stride`.
struct SheetStack {
  MaskWord const* words;
  std::ptrdiff_t stride;
  int rows;
};

/// Where the rows of a block are written.
struct Target {
  float* first;           // of column `begin`
  std::ptrdiff_t stride;  // from row to row
  int begin, end;         // the columns that exist
  bool pastCache;         // whole vectors begin at cache lines, and nobody reads them soon
};

/// Columns that hold the same value in every row, whatever their distances.
struct ConstantColumns {
  MaskWord which = 0;
  MaskWord negative = 0;  // of these, those with −value
  float value = 0.0F;
};

}  // namespace lorb::engine
