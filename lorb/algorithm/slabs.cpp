#include <lorb/algorithm/SignedRowPass.h>
#include <lorb/algorithm/slabs.h>
#include <lorb/algorithm/voxelRows.h>

#include <algorithm>

namespace lorb {
namespace {

class Slab {
 public:
  Slab(SliceInput& in, SliceOutput& out, int size, DatasetSlice& scratch, float const* squareRoots)
      : in_(in),
        out_(out),
        scratch_(scratch),
        diagonal_(static_cast<float>(in.width * in.width + in.height * in.height)),
        rowPass_(in.width, in.height, size, squareRoots),
        fill_(static_cast<std::size_t>(size)) {
    slices_.reserve(fill_.size());
    for (int s = 0; s < size; ++s) slices_.emplace_back(in.width, in.height);
  }

  /// The slices from `first` on; returns how many, not more than up to `end`.
  int compute(std::int64_t first, std::int64_t end, std::int64_t firstOut) {
    int const size = static_cast<int>(slices_.size());
    count_ = static_cast<int>(std::min<std::int64_t>(out_.slabLength(firstOut, size), end - first));
    last_ = first + count_ == end ? count_ - 1 : -1;
    for (int s = 0; s < count_; ++s)
      fill_[static_cast<std::size_t>(s)] = in_.startsInside(first + s) ? -diagonal_ : diagonal_;

    // 1: all rows in, downwards. One slice at a time, later ones may still change.
    for (ColumnCounts& slice : slices_) slice.restart();
    in_.enter(first, count_, size == 1 ? first + count_ : end, slices_);

    // 2: all rows out, upwards, each prepared while the one before it is solved
    next_ = {0, in_.height - 1};
    prepareNext();
    SliceOutput::Solve const solveRow = [this](int s, float* values) { solve(s, values); };
    for (int j = in_.height; j-- > 0;) out_.leave(firstOut, j, count_, solveRow);

    if (last_ >= 0 && !slice(last_).hasBoundary()) {
      for (int j = in_.height; j-- > 0;) completeRow({last_, j});
    }
    return count_;
  }

 private:
  /// Row `j` of slice `s` of the slab.
  struct Place {
    int s;
    int j;
  };

  ColumnCounts& slice(int s) { return slices_[static_cast<std::size_t>(s)]; }

  void solve(int s, float* values) {
    if (!slice(s).hasBoundary()) {
      return voxel_rows::fill(values, static_cast<std::size_t>(in_.width),
                              fill_[static_cast<std::size_t>(s)]);
    }
    prepareNext();
    rowPass_.solve(values);
  }

  /// Walks over the rows of slices with a boundary in the order in which they are solved.
  void prepareNext() {
    while (next_.j >= 0 && !slice(next_.s).hasBoundary()) advance();
    if (next_.j < 0) return;
    completeRow(next_);
    rowPass_.prepare(slice(next_.s).row(next_.j), next_.j, next_.s);
    advance();
  }

  void advance() {
    if (++next_.s < count_) return;
    next_ = {0, next_.j - 1};
  }

  /// The column distances of the last slice of all stay.
  void completeRow(Place const& place) {
    ColumnCounts& counts = slice(place.s);
    counts.completeRow(place.j);
    if (place.s != last_) return;
    scratch_.setRow(place.j, 0, in_.width,
                    rowPass_.columnDistances(counts.row(place.j), place.j, !counts.hasBoundary()));
  }

  SliceInput& in_;
  SliceOutput& out_;
  DatasetSlice& scratch_;
  float diagonal_;
  std::vector<ColumnCounts> slices_;
  SignedRowPass rowPass_;
  std::vector<float> fill_;  // what slices without a boundary hold
  int count_ = 0;            // of slices in the slab at hand
  int last_ = -1;            // the last slice of all, if it is among them
  Place next_ = {};          // the row to prepare
};

}  // namespace

void computeSlabs(SliceInput& in, SliceOutput& out, std::int64_t first, std::int64_t end,
                  std::int64_t firstOut, int size, DatasetSlice& scratch, float const* squareRoots) {
  Slab slab(in, out, size, scratch, squareRoots);
  while (first < end) {
    int const count = slab.compute(first, end, firstOut);
    first += count;
    firstOut += count;
  }
}

}  // namespace lorb
