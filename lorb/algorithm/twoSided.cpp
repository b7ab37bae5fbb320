// The two kernels that turn one slice into signed distances, and the drivers that run them over slices.

#include <lorb/algorithm/EuclideanDistanceTransform2D.h>
#include <lorb/algorithm/SignedRowPass.h>
#include <lorb/algorithm/passes.h>
#include <lorb/algorithm/sliceRows.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

namespace lorb {
namespace {

using sliceXY = EuclideanDistanceTransform2D::sliceXY;

/// width² + height², wrapping around like the 32-bit integers it is defined in.
int squaredDiagonal(int width, int height) {
  auto const w = static_cast<unsigned>(width);
  auto const h = static_cast<unsigned>(height);
  return static_cast<int>(w * w + h * h);
}

/// What the rows from 1 on hold. Row 0 gives no evidence of a boundary.
struct Evidence {
  bool allInside = true;
  bool allOutside = true;

  void add(std::uint8_t const* inside, int count) {
    auto const outsideCount = std::count(inside, inside + count, std::uint8_t{0});
    if (outsideCount > 0) allInside = false;
    if (outsideCount < count) allOutside = false;
  }
};

/// Column pass: `scratch` receives the squared distance of every inside voxel of `source` to the nearest
/// outside voxel of its column, and 0 at outside voxels.
template <class Source>
Evidence columnPass(Source const& source, sliceXY const& scratch, int width, int height) {
  auto const infinity = static_cast<float>(squaredDiagonal(width, height));
  Evidence evidence;
  passes::ColumnBlock block;
  std::uint8_t inside[passes::ColumnBlock::width];
  float fromAbove[passes::ColumnBlock::width];

  for (int begin = 0; begin < width; begin += passes::ColumnBlock::width) {
    int const count = std::min(width - begin, passes::ColumnBlock::width);

    // 1: downwards, counting from the last outside voxel above
    rows::getInside(source, 0, begin, count, inside);
    block.start(inside, count, infinity);
    rows::set(scratch, 0, begin, count, block.values);
    for (int j = 1; j < height; ++j) {
      rows::getInside(source, j, begin, count, inside);
      evidence.add(inside, count);
      block.stepDown(inside, count);
      rows::set(scratch, j, begin, count, block.values);
    }

    // 2: upwards, where the next outside voxel below is nearer
    block.turn();
    for (int j = height - 2; j >= 0; --j) {
      rows::get(scratch, j, begin, count, fromAbove);
      block.stepUp(fromAbove, count);
      rows::set(scratch, j, begin, count, block.values);
    }
  }
  return evidence;
}

/// Beyond the table lie the distances of slices that lost all their inside voxels because the output's type
/// has no negative numbers.
float rootOf(std::uint32_t square, EuclideanDistanceTransform2D::SqrtLookUpTable const& squareRoots) {
  return std::int64_t{square} <= squareRoots.maxIndex ? squareRoots.values[square]
                                                      : std::sqrt(static_cast<float>(square));
}

/// Row pass: calls `write(j, roots)` for every row with the distances of all its voxels.
template <class Write>
void rowPass(sliceXY const& scratch, int width, int height,
             EuclideanDistanceTransform2D::SqrtLookUpTable const& squareRoots, Write write) {
  if (width == 0) return;
  passes::RowEnvelope envelope(width);
  auto const size = static_cast<std::size_t>(width);
  std::unique_ptr<float[]> const row(new float[size]);
  std::unique_ptr<std::uint32_t[]> const columnDistances(new std::uint32_t[size]);
  std::unique_ptr<std::uint32_t[]> const distances(new std::uint32_t[size]);

  for (int j = 0; j < height; ++j) {
    rows::get(scratch, j, 0, width, row.get());
    // By way of 64 bits, because values beyond 32 bits are meant to wrap around.
    for (std::size_t i = 0; i < size; ++i) {
      columnDistances[i] = static_cast<std::uint32_t>(static_cast<std::int64_t>(row[i]));
    }
    envelope.squaredDistances(columnDistances.get(), distances.get());
    for (std::size_t i = 0; i < size; ++i) row[i] = rootOf(distances[i], squareRoots);
    write(j, row.get());
  }
}

/// What a slice without a boundary holds: −N when its first voxel is inside, +N when it is outside.
template <class In>
float fillValue(In const& in) {
  std::uint8_t inside = 0;
  rows::getInside(in, 0, 0, 1, &inside);
  auto const diagonal = static_cast<unsigned>(squaredDiagonal(in.width, in.height));
  return static_cast<float>(static_cast<int>(inside ? 0U - diagonal : diagonal));
}

template <class Out>
void fillSlice(Out const& out, float value) {
  std::vector<float> const row(static_cast<std::size_t>(out.width), value);
  for (int j = 0; j < out.height; ++j) rows::set(out, j, 0, out.width, row.data());
}

/// The work slice that both kernels share, large enough for the slices of `in`.
class Scratch {
 public:
  template <class In>
  explicit Scratch(In const& in) : dataset_(true) {
    // Column distances are whole numbers below 2³², kept as such.
    dataset_.newDataset(DatasetCoordinates(in.width, in.height, 1, 1, 1), elementUInt32,
                        DatasetWorldEmbedding());
    dataset_.announceAccessToFullDataset();
  }

  sliceXY view() {
    DatasetCoordinates const size = dataset_.getSize();
    return {&dataset_, size[0], size[1], size[2], 0, DatasetCoordinates(0, 0, 0, 0, 0)};
  }

 private:
  Dataset dataset_;
};

/// One slice by the two kernels: for every shape, and for outputs that round what is written to them.
template <class In, class Out>
void computeByKernels(EuclideanDistanceTransform2D& transform, In const& in, sliceXY const& scratch,
                      Out const& out) {
  // Where there is nothing to write, there need not be anything to read. Datasets say so themselves.
  if (!rows::isChecked<Out> && (out.width < 1 || out.height < 1)) return;
  if (transform.twoSidedIn(in, scratch, out)) {
    transform.twoSidedOut(out, scratch);
  } else {
    fillSlice(out, fillValue(in));
  }
}

/// Several slices at once with vector units, both sides in one go.
template <class In, class Out>
class Slab {
 public:
  static bool canHold(In const& in, Out const& out) {
    return in.width == out.width && in.height == out.height && rows::takesFloats(out) &&
           SignedRowPass::canHold(in.width, in.height);
  }

  /// Up to `end`, as many slices together as pay.
  Slab(EuclideanDistanceTransform2D const& transform, In const& in, Out const& out, std::int64_t end)
      : size_(slabSize(in, out, end)),
        buffers_(in.width, size_),
        rowPass_(in.width, in.height, size_, transform.sqrtTable.values) {
    slices_.reserve(static_cast<std::size_t>(size_));
    for (int s = 0; s < size_; ++s) slices_.emplace_back(in.width, in.height);
  }

  /// The slices from `in.slice` on; returns how many, not more than up to `end`. The last one leaves in
  /// `scratch` what the kernel that ran last would have left.
  int compute(In const& in, sliceXY const& scratch, Out const& out, std::int64_t end) {
    auto const count = static_cast<int>(std::min<std::int64_t>(rows::slabLength(out, size_), end - in.slice));
    std::vector<float> fill(static_cast<std::size_t>(count));
    auto row = in;
    for (float& value : fill) {
      value = fillValue(row);
      ++row.slice;
    }

    // 1: all rows in, downwards
    for (ColumnCounts& slice : slices_) slice.restart();
    rows::enter(in, slices_, count, overlapping(in, out) ? in.slice + std::int64_t{count} : end, buffers_);

    // 2: all rows out, upwards, each prepared while the one before it is solved
    int const last = in.slice + std::int64_t{count} == end ? count - 1 : -1;
    RowCursor ahead{*this, scratch, count, last, in.height - 1};
    ahead.prepareNext();
    for (int j = in.height; j-- > 0;) {
      rows::leave(out, j, count, buffers_, [&](int s, float* values) {
        auto const index = static_cast<std::size_t>(s);
        if (!slices_[index].hasBoundary()) {
          return voxel_rows::fill(values, static_cast<std::size_t>(in.width), fill[index]);
        }
        ahead.prepareNext();
        rowPass_.solve(values);
      });
    }
    if (last >= 0 && !slices_[static_cast<std::size_t>(last)].hasBoundary()) {
      for (int j = in.height; j-- > 0;) completeRow(last, j, &scratch);
    }
    return count;
  }

 private:
  /// Walks over the rows of the slab's slices with a boundary in the order in which they are solved.
  struct RowCursor {
    Slab& slab;
    sliceXY const& scratch;
    int count;
    int last;
    int j;
    int s = 0;

    void prepareNext() {
      while (j >= 0 && !slice().hasBoundary()) advance();
      if (j < 0) return;
      slab.completeRow(s, j, s == last ? &scratch : nullptr);
      slab.rowPass_.prepare(slice().row(j), j, s);
      advance();
    }

    ColumnCounts& slice() { return slab.slices_[static_cast<std::size_t>(s)]; }

    void advance() {
      if (++s < count) return;
      s = 0;
      --j;
    }
  };

  /// Row `j` of slice `s` of the slab; its column distances go to `scratch`, if there is one.
  void completeRow(int s, int j, sliceXY const* scratch) {
    ColumnCounts& slice = slices_[static_cast<std::size_t>(s)];
    slice.completeRow(j);
    if (!scratch) return;
    rows::set(*scratch, j, 0, scratch->width,
              rowPass_.columnDistances(slice.row(j), j, !slice.hasBoundary()));
  }

  /// Slices of one volume that end up in others' places must be seen to do so one after the other.
  static bool overlapping(In const& in, Out const& out) {
    return static_cast<void const*>(in.dataset) == out.dataset && in.slice != out.slice;
  }

  static int slabSize(In const& in, Out const& out, std::int64_t end) {
    return overlapping(in, out)
               ? 1
               : static_cast<int>(std::min<std::int64_t>(rows::slabSize<Out>, end - in.slice));
  }

  int size_;
  rows::SlabBuffers buffers_;
  std::vector<ColumnCounts> slices_;
  SignedRowPass rowPass_;
};

/// The slices from `in.slice` up to `end`, `out.slice` advancing in step.
template <class In, class Out>
void computeSlices(EuclideanDistanceTransform2D& transform, In in, sliceXY const& scratch, Out out,
                   std::int64_t end) {
  if (in.slice < end && Slab<In, Out>::canHold(in, out)) {
    Slab<In, Out> slab(transform, in, out, end);
    while (in.slice < end) {
      int const count = slab.compute(in, scratch, out, end);
      in.slice += count;
      out.slice += count;
    }
  } else {
    for (; in.slice < end; ++in.slice, ++out.slice) computeByKernels(transform, in, scratch, out);
  }
}

}  // namespace

template <class In, class Scratch, class Out>
bool EuclideanDistanceTransform2D::twoSidedIn(In const& in, Scratch const& scratch, Out const& out) {
  if (in.width < 1) return false;
  Evidence const evidence = columnPass(in, scratch, in.width, in.height);
  if (evidence.allInside || evidence.allOutside) return false;

  rowPass(scratch, in.width, in.height, sqrtTable, [&](int j, float* roots) {
    for (int i = 0; i < in.width; ++i) roots[i] = roots[i] > 0.0F ? -roots[i] : 1.0F;
    rows::set(out, j, 0, in.width, roots);
  });
  return true;
}

template <class Out, class Scratch>
void EuclideanDistanceTransform2D::twoSidedOut(Out const& out, Scratch const& scratch) {
  columnPass(out, scratch, out.width, out.height);
  rowPass(scratch, out.width, out.height, sqrtTable, [&](int j, float const* roots) {
    // Only what is positive is written: the inside distances keep their bits in any element type.
    for (int begin = 0, end = 0; begin < out.width; begin = end) {
      bool const positive = roots[begin] > 0.0F;
      while (end < out.width && (roots[end] > 0.0F) == positive) ++end;
      if (positive) rows::set(out, j, begin, end - begin, roots + begin);
    }
  });
}

template <class In, class Out>
void EuclideanDistanceTransform2D::computeAllSlicesTwoSided(In in, Out out) {
  Scratch scratch(in);
  sliceXY const view = scratch.view();
  sqrtTable.init(squaredDiagonal(in.width, in.height));
  computeSlices(*this, in, view, out, in.sliceCount);
}

template <class In, class Out>
void EuclideanDistanceTransform2D::computeSingleSliceTwoSided(In in, Out out, int slice) {
  Scratch scratch(in);
  sliceXY const view = scratch.view();
  sqrtTable.init(squaredDiagonal(in.width, in.height));
  out.slice = slice;
  in.slice = slice;
  computeSlices(*this, in, view, out, std::int64_t{slice} + 1);
}

#define LORB_INSTANCE template LORB_EXPORT
LORB_INSTANTIATE_SLICE_WORK

}  // namespace lorb
