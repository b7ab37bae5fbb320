#pragma once

#include <lorb/algorithm/ColumnCounts.h>
#include <lorb/algorithm/EuclideanDistanceTransform2D.h>

#include <cstdint>
#include <functional>
#include <vector>

/// Signed distance maps of several slices at once with vector units, both sides in one go. Element types and
/// planes stay outside.
namespace lorb {

/// Slices on their way in.
class SlabInput {
 public:
  SlabInput(int sliceWidth, int sliceHeight) : width(sliceWidth), height(sliceHeight) {}
  virtual ~SlabInput() = default;

  /// Whether the first voxel of a slice is inside.
  virtual bool startsInside(std::int64_t slice) const = 0;

  /// Hands all rows of `count` slices from `first` on to `slices`. What is read ahead for later slabs ends
  /// with slice `readable` − 1.
  virtual void enter(std::int64_t first, int count, std::int64_t readable,
                     std::vector<ColumnCounts>& slices) = 0;

  int const width;
  int const height;
};

/// Slices on their way out.
class SlabOutput {
 public:
  using Solve = std::function<void(int s, float* values)>;

  virtual ~SlabOutput() = default;

  /// How many slices from `first` on go into one slab of at most `most`.
  virtual int slabLength(std::int64_t /*first*/, int most) const { return most; }

  /// Writes row `j` of `count` slices from `first` on; `solve(s, values)` provides that of slice first + s.
  /// Rows come from the last to the first.
  virtual void leave(std::int64_t first, int j, int count, Solve const& solve) = 0;
};

/// Maps slices first, first + 1, … up to `end` of `in` to those of `out` from `firstOut` on, up to `size` of
/// them together. They must be such that `SignedRowPass::canHold`. The last one leaves in `scratch` what the
/// kernel that runs last on a slice leaves there. `squareRoots` must reach width² + height² − 1. Throws
/// `std::bad_alloc`, and what reading and writing throw.
void computeSlabs(SlabInput& in, SlabOutput& out, std::int64_t first, std::int64_t end, std::int64_t firstOut,
                  int size, EuclideanDistanceTransform2D::sliceXY const& scratch, float const* squareRoots);

}  // namespace lorb
