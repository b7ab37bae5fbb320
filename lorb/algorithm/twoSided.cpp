// The two kernels that turn one slice into signed distances, and the drivers that run them over slices.

#include <lorb/algorithm/EuclideanDistanceTransform2D.h>
#include <lorb/algorithm/SignedRowPass.h>
#include <lorb/algorithm/passes.h>
#include <lorb/algorithm/slabs.h>
#include <lorb/algorithm/sliceRows.h>

#include <algorithm>
#include <cmath>
#include <functional>
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

/// Which voxels of row j of a slice are inside, `count` from position `begin` on.
using InsideOf = std::function<void(int j, int begin, int count, std::uint8_t* inside)>;

/// Writes the same voxels.
using WriteTo = std::function<void(int j, int begin, int count, float const* values)>;

template <class View>
InsideOf insideOf(View const& view) {
  return [&view](int j, int begin, int count, std::uint8_t* inside) {
    rows::getInside(view, j, begin, count, inside);
  };
}

template <class View>
WriteTo writeTo(View const& view) {
  return
      [&view](int j, int begin, int count, float const* values) { rows::set(view, j, begin, count, values); };
}

/// Column pass: `scratch` receives the squared distance of every inside voxel of a slice to the nearest
/// outside voxel of its column, and 0 at outside voxels.
Evidence columnPass(InsideOf const& insideOf, sliceXY const& scratch, int width, int height) {
  auto const infinity = static_cast<float>(squaredDiagonal(width, height));
  Evidence evidence;
  passes::ColumnBlock block;
  std::uint8_t inside[passes::ColumnBlock::width];
  float fromAbove[passes::ColumnBlock::width];

  for (int begin = 0; begin < width; begin += passes::ColumnBlock::width) {
    int const count = std::min(width - begin, passes::ColumnBlock::width);

    // 1: downwards, counting from the last outside voxel above
    insideOf(0, begin, count, inside);
    block.start(inside, count, infinity);
    rows::set(scratch, 0, begin, count, block.values);
    for (int j = 1; j < height; ++j) {
      insideOf(j, begin, count, inside);
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
void rowPass(sliceXY const& scratch, int width, int height,
             EuclideanDistanceTransform2D::SqrtLookUpTable const& squareRoots,
             std::function<void(int j, float* roots)> const& write) {
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

/// The kernel of the inside: writes whole rows, negative distances inside and 1 outside. Returns whether
/// there is a boundary; if not, nothing is written.
bool writeInside(InsideOf const& insideOf, sliceXY const& scratch, WriteTo const& write, int width,
                 int height, EuclideanDistanceTransform2D::SqrtLookUpTable const& squareRoots) {
  if (width < 1) return false;
  Evidence const evidence = columnPass(insideOf, scratch, width, height);
  if (evidence.allInside || evidence.allOutside) return false;

  rowPass(scratch, width, height, squareRoots, [&](int j, float* roots) {
    for (int i = 0; i < width; ++i) roots[i] = roots[i] > 0.0F ? -roots[i] : 1.0F;
    write(j, 0, width, roots);
  });
  return true;
}

/// The kernel of the outside, to run on what that of the inside has written.
void writeOutside(InsideOf const& insideOf, sliceXY const& scratch, WriteTo const& write, int width,
                  int height, EuclideanDistanceTransform2D::SqrtLookUpTable const& squareRoots) {
  columnPass(insideOf, scratch, width, height);
  rowPass(scratch, width, height, squareRoots, [&](int j, float const* roots) {
    // Only what is positive is written: the inside distances keep their bits in any element type.
    for (int begin = 0, end = 0; begin < width; begin = end) {
      bool const positive = roots[begin] > 0.0F;
      while (end < width && (roots[end] > 0.0F) == positive) ++end;
      if (positive) write(j, begin, end - begin, roots + begin);
    }
  });
}

/// What a slice without a boundary holds: −N when its first voxel is inside, +N when it is outside.
template <class In>
float fillValue(In const& in) {
  auto const diagonal = static_cast<unsigned>(squaredDiagonal(in.width, in.height));
  return static_cast<float>(static_cast<int>(rows::startsInside(in) ? 0U - diagonal : diagonal));
}

template <class Out>
void fillSlice(Out const& out, float value) {
  std::vector<float> const row(static_cast<std::size_t>(out.width), value);
  for (int j = 0; j < out.height; ++j) rows::set(out, j, 0, out.width, row.data());
}

/// The work slice that both kernels share.
class Scratch {
 public:
  Scratch(int width, int height) : dataset_(true) {
    // Column distances are whole numbers below 2³², kept as such.
    dataset_.newDataset(DatasetCoordinates(width, height, 1, 1, 1), elementUInt32, DatasetWorldEmbedding());
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

template <class In, class Out>
bool fitsIntoSlabs(In const& in, Out const& out) {
  return in.width == out.width && in.height == out.height && rows::takesFloats(out) &&
         SignedRowPass::canHold(in.width, in.height);
}

/// The slices from `in.slice` up to `end`, `out.slice` advancing in step.
template <class In, class Out>
void computeSlices(EuclideanDistanceTransform2D& transform, In in, Out out, std::int64_t end) {
  Scratch workSlice(in.width, in.height);
  sliceXY const scratch = workSlice.view();
  transform.sqrtTable.init(squaredDiagonal(in.width, in.height));
  if (in.slice < end && fitsIntoSlabs(in, out)) {
    // Slices of one volume that end up in others' places must be seen to do so one after the other.
    bool const overlap = static_cast<void const*>(in.dataset) == out.dataset && in.slice != out.slice;
    std::int64_t const size = overlap ? 1 : std::min<std::int64_t>(rows::slabSize<Out>, end - in.slice);
    rows::SlabInputOf<In> input(in);
    rows::SlabOutputOf<Out> output(out, static_cast<int>(size));
    computeSlabs(input, output, in.slice, end, out.slice, static_cast<int>(size), scratch,
                 transform.sqrtTable.values);
  } else {
    for (; in.slice < end; ++in.slice, ++out.slice) computeByKernels(transform, in, scratch, out);
  }
}

}  // namespace

template <class In, class Scratch, class Out>
bool EuclideanDistanceTransform2D::twoSidedIn(In const& in, Scratch const& scratch, Out const& out) {
  return writeInside(insideOf(in), scratch, writeTo(out), in.width, in.height, sqrtTable);
}

template <class Out, class Scratch>
void EuclideanDistanceTransform2D::twoSidedOut(Out const& out, Scratch const& scratch) {
  writeOutside(insideOf(out), scratch, writeTo(out), out.width, out.height, sqrtTable);
}

template <class In, class Out>
void EuclideanDistanceTransform2D::computeAllSlicesTwoSided(In in, Out out) {
  computeSlices(*this, in, out, in.sliceCount);
}

template <class In, class Out>
void EuclideanDistanceTransform2D::computeSingleSliceTwoSided(In in, Out out, int slice) {
  out.slice = slice;
  in.slice = slice;
  computeSlices(*this, in, out, std::int64_t{slice} + 1);
}

#define LORB_INSTANCE template LORB_EXPORT
LORB_INSTANTIATE_SLICE_WORK

}  // namespace lorb
