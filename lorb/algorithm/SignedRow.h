#pragma once

#include <cstddef>
#include <cstdint>

/// What `SignedSlice` and the code it compiles for every instruction set have in common.
namespace lorb::signed_row {

/// Count of a voxel whose column holds no voxel of the other side.
constexpr std::int16_t noneInColumn = 32767;

/// How far neighbours are looked at one after the other, before the search by halves takes over. Longer than
/// any vector.
constexpr int reach = 64;
constexpr std::int32_t reachSquared = (reach + 1) * (reach + 1);

/// Elements on either side of a row that may be read but are never nearest: `reach` and a vector.
constexpr std::size_t margin = reach + 64;

/// What stands there.
constexpr std::int16_t nowhere = 32767;

/// The table of square roots, and what is known of it.
struct Roots {
  float const* table;
  std::int32_t count;
  std::int32_t plainUpTo = 0;  // entries below have been compared with the roots of their indices
  bool plain = true;           // and agreed
};

/// Which sides a row holds.
struct Sides {
  bool inside;
  bool outside;
};

/// One row on its way out, and the work arrays for it.
struct Row {
  std::size_t width;
  std::int16_t const* counts;    // c at inside voxels, ~c at outside voxels
  std::uint32_t const* squares;  // squared column distance for each count
  std::uint32_t infinite;        // the same for `noneInColumn`
  bool exact;                    // every entry of `squares` is the square of its index
  std::int16_t* insideSites;
  std::int16_t* outsideSites;
  std::int16_t* nearDistances;
  std::int32_t* farBlocks;
  std::int32_t* sites;
  std::int32_t* nearest;
  std::int32_t* distances;
};

}  // namespace lorb::signed_row
