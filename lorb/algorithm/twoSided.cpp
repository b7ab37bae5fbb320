// The two kernels that turn one slice into signed distances, and the drivers that run them over slices.

#include <lorb/algorithm/EuclideanDistanceTransform2D.h>
#include <lorb/algorithm/SignedRowPass.h>
#include <lorb/algorithm/passes.h>
#include <lorb/algorithm/slabs.h>
#include <lorb/algorithm/sliceRows.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

namespace lorb {
namespace {

using SqrtLookUpTable = EuclideanDistanceTransform2D::SqrtLookUpTable;

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

/// Column pass: `scratch` receives the squared distance of every inside voxel of a slice to the nearest
/// outside voxel of its column, and 0 at outside voxels.
Evidence columnPass(Slices& in, std::int64_t slice, DatasetSlice& scratch) {
  int const width = in.width, height = in.height;
  auto const infinity = static_cast<float>(squaredDiagonal(width, height));
  Evidence evidence;
  passes::ColumnBlock block;
  std::uint8_t inside[passes::ColumnBlock::width];
  float fromAbove[passes::ColumnBlock::width];

  for (int begin = 0; begin < width; begin += passes::ColumnBlock::width) {
    int const count = std::min(width - begin, passes::ColumnBlock::width);

    // 1: downwards, counting from the last outside voxel above
    in.getInside(slice, 0, begin, count, inside);
    block.start(inside, count, infinity);
    scratch.setRow(0, begin, count, block.values);
    // A bound that has wrapped below 0 goes on as what the scratch can hold of it.
    if (infinity < 0.0F) scratch.getRow(0, begin, count, block.values);
    for (int j = 1; j < height; ++j) {
      in.getInside(slice, j, begin, count, inside);
      evidence.add(inside, count);
      block.stepDown(inside, count);
      scratch.setRow(j, begin, count, block.values);
    }

    // 2: upwards, where the next outside voxel below is nearer
    block.turn();
    for (int j = height - 2; j >= 0; --j) {
      scratch.getRow(j, begin, count, fromAbove);
      block.stepUp(fromAbove, count);
      scratch.setRow(j, begin, count, block.values);
    }
  }

  // The views' last addressed voxels are those of the pass done column by column: the last column's top value
  // is written only where the voxel below is nearer.
  if (width > 0) {
    bool const writesTop = height < 2 || block.increments[(width - 1) % passes::ColumnBlock::width] > 1;
    in.moveTo(slice, width - 1, std::max(height - 1, 0));
    scratch.moveTo(width - 1, writesTop ? 0 : 1);
  }
  return evidence;
}

/// Beyond the table lie the distances of slices that lost all their inside voxels because the output's type
/// has no negative numbers.
float rootOf(std::uint32_t square, SqrtLookUpTable const& squareRoots) {
  return std::int64_t{square} <= squareRoots.maxIndex ? squareRoots.values[square]
                                                      : std::sqrt(static_cast<float>(square));
}

/// Row pass: calls `write(j, roots)` for every row with the distances of all its voxels.
template <class Write>
void rowPass(DatasetSlice& scratch, int width, int height, SqrtLookUpTable const& squareRoots, Write write) {
  if (width == 0) return;
  passes::RowEnvelope envelope(width);
  auto const size = static_cast<std::size_t>(width);
  std::unique_ptr<float[]> const row(new float[size]);
  std::unique_ptr<std::uint32_t[]> const columnDistances(new std::uint32_t[size]);
  std::unique_ptr<std::uint32_t[]> const distances(new std::uint32_t[size]);

  for (int j = 0; j < height; ++j) {
    scratch.getRow(j, 0, width, row.get());
    // By way of 64 bits, because values beyond 32 bits are meant to wrap around.
    for (std::size_t i = 0; i < size; ++i) {
      columnDistances[i] = static_cast<std::uint32_t>(static_cast<std::int64_t>(row[i]));
    }
    envelope.squaredDistances(columnDistances.get(), distances.get());
    for (std::size_t i = 0; i < size; ++i) row[i] = rootOf(distances[i], squareRoots);
    write(j, row.get());
  }
  if (height > 0) scratch.moveTo(envelope.firstSite(), height - 1);
}

/// The kernel of the inside: writes whole rows, negative distances inside and 1 outside. Returns whether
/// there is a boundary; if not, nothing is written.
bool writeInside(SliceInput& in, std::int64_t slice, DatasetSlice& scratch, SliceOutput& out,
                 std::int64_t outSlice, SqrtLookUpTable const& squareRoots) {
  if (in.width < 1) return false;
  Evidence const evidence = columnPass(in, slice, scratch);
  if (evidence.allInside || evidence.allOutside) return false;

  rowPass(scratch, in.width, in.height, squareRoots, [&](int j, float* roots) {
    for (int i = 0; i < in.width; ++i) roots[i] = roots[i] > 0.0F ? -roots[i] : 1.0F;
    out.set(outSlice, j, 0, in.width, roots);
  });
  out.moveTo(outSlice, 0, in.height - 1);
  return true;
}

/// The kernel of the outside, to run on what that of the inside has written.
void writeOutside(SliceOutput& out, std::int64_t slice, DatasetSlice& scratch,
                  SqrtLookUpTable const& squareRoots) {
  columnPass(out, slice, scratch);
  rowPass(scratch, out.width, out.height, squareRoots, [&](int j, float const* roots) {
    // Only what is positive is written: the inside distances keep their bits in any element type.
    for (int begin = 0, end = 0; begin < out.width; begin = end) {
      bool const positive = roots[begin] > 0.0F;
      while (end < out.width && (roots[end] > 0.0F) == positive) ++end;
      if (positive) out.set(slice, j, begin, end - begin, roots + begin);
    }
    auto const* const first = std::find_if(roots, roots + out.width, [](float root) { return root > 0.0F; });
    if (first != roots + out.width) out.moveTo(slice, static_cast<int>(first - roots), j);
  });
}

/// A slice without a boundary: −N when its first voxel is inside, +N when it is outside.
void fill(SliceInput& in, std::int64_t slice, SliceOutput& out, std::int64_t outSlice) {
  auto const diagonal = static_cast<unsigned>(squaredDiagonal(in.width, in.height));
  auto const value = static_cast<float>(static_cast<int>(in.startsInside(slice) ? 0U - diagonal : diagonal));
  if (out.width < 1) return;
  std::vector<float> const row(static_cast<std::size_t>(out.width), value);
  for (int j = 0; j < out.height; ++j) out.set(outSlice, j, 0, out.width, row.data());
}

/// One slice by the two kernels: for every shape, and for outputs that round what is written to them.
void computeByKernels(SliceInput& in, std::int64_t slice, DatasetSlice& scratch, SliceOutput& out,
                      std::int64_t outSlice, SqrtLookUpTable const& squareRoots) {
  // The inside kernel writes slices of the input's size, also where the output's view has none.
  if ((out.width < 1 || out.height < 1) && !out.holds(outSlice, in.width, in.height)) return;
  if (writeInside(in, slice, scratch, out, outSlice, squareRoots)) {
    writeOutside(out, outSlice, scratch, squareRoots);
  } else {
    fill(in, slice, out, outSlice);
  }
}

/// The work slice that both kernels share.
class Scratch {
 public:
  Scratch(int width, int height) : dataset_(true) {
    // Column distances are whole numbers below 2³², kept as such.
    dataset_.newDataset(DatasetCoordinates(width, height, 1, 1, 1), elementUInt32, DatasetWorldEmbedding());
    dataset_.announceAccessToFullDataset();
  }

  EuclideanDistanceTransform2D::sliceXY view() {
    DatasetCoordinates const size = dataset_.getSize();
    return {&dataset_, size[0], size[1], size[2], 0, DatasetCoordinates(0, 0, 0, 0, 0)};
  }

 private:
  Dataset dataset_;
};

bool fitsIntoSlabs(SliceInput const& in, SliceOutput const& out) {
  return in.width == out.width && in.height == out.height && out.takesFloats() &&
         SignedRowPass::canHold(in.width, in.height);
}

/// The slices from `slice` up to `end`, `outSlice` advancing in step.
void computeSlices(SliceInput& in, SliceOutput& out, std::int64_t slice, std::int64_t end,
                   std::int64_t outSlice, SqrtLookUpTable& squareRoots) {
  Scratch workSlice(in.width, in.height);
  auto const view = workSlice.view();
  DatasetSlice scratch(view);
  squareRoots.init(squaredDiagonal(in.width, in.height));
  if (slice < end && fitsIntoSlabs(in, out)) {
    // Slices of one volume that end up in others' places must be seen to do so one after the other.
    bool const overlap = in.volume == out.volume && slice != outSlice;
    std::int64_t const count = end - slice;
    int const size =
        overlap ? 1 : static_cast<int>(std::min<std::int64_t>(out.slabSize(outSlice + count), count));
    computeSlabs(in, out, slice, end, outSlice, size, scratch, squareRoots.values);
  } else {
    for (; slice < end; ++slice, ++outSlice) computeByKernels(in, slice, scratch, out, outSlice, squareRoots);
  }
}

}  // namespace

template <class In, class Scratch, class Out>
bool EuclideanDistanceTransform2D::twoSidedIn(In const& in, Scratch const& scratch, Out const& out) {
  auto input = inputOf(in);
  auto output = outputOf(out);
  DatasetSlice work(scratch);
  return writeInside(input, in.slice, work, output, out.slice, sqrtTable);
}

template <class Out, class Scratch>
void EuclideanDistanceTransform2D::twoSidedOut(Out const& out, Scratch const& scratch) {
  auto output = outputOf(out);
  DatasetSlice work(scratch);
  writeOutside(output, out.slice, work, sqrtTable);
}

template <class In, class Out>
void EuclideanDistanceTransform2D::computeAllSlicesTwoSided(In in, Out out) {
  auto input = inputOf(in);
  auto output = outputOf(out);
  computeSlices(input, output, in.slice, in.sliceCount, out.slice, sqrtTable);
}

template <class In, class Out>
void EuclideanDistanceTransform2D::computeSingleSliceTwoSided(In in, Out out, int slice) {
  auto input = inputOf(in);
  auto output = outputOf(out);
  computeSlices(input, output, slice, std::int64_t{slice} + 1, slice, sqrtTable);
}

#define LORB_INSTANCE template LORB_EXPORT
LORB_INSTANTIATE_SLICE_WORK

}  // namespace lorb
