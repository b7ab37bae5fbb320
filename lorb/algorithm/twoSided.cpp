// The two kernels that turn one slice into signed distances, and the drivers that run them over slices.

#include <lorb/algorithm/EuclideanDistanceTransform2D.h>
#include <lorb/algorithm/passes.h>
#include <lorb/algorithm/sliceRows.h>

#include <algorithm>
#include <memory>

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
    auto const insideCount = std::count(inside, inside + count, std::uint8_t{1});
    if (insideCount > 0) allOutside = false;
    if (insideCount < count) allInside = false;
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

/// Row pass: calls `write(j, roots)` for every row with the distances of all its voxels.
template <class Write>
void rowPass(sliceXY const& scratch, int width, int height, float const* squareRoots, Write write) {
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
    for (std::size_t i = 0; i < size; ++i) row[i] = squareRoots[distances[i]];
    write(j, row.get());
  }
}

/// A slice without a boundary: −N when its first voxel is inside, +N when it is outside.
template <class In, class Out>
void fillSlice(In const& in, Out const& out) {
  std::uint8_t inside = 0;
  rows::getInside(in, 0, 0, 1, &inside);
  auto const diagonal = static_cast<unsigned>(squaredDiagonal(in.width, in.height));
  auto const value = static_cast<float>(static_cast<int>(inside ? 0U - diagonal : diagonal));

  float values[256];
  std::fill(std::begin(values), std::end(values), value);
  constexpr int block = 256;
  for (int j = 0; j < out.height; ++j) {
    for (int begin = 0; begin < out.width; begin += block) {
      rows::set(out, j, begin, std::min(block, out.width - begin), values);
    }
  }
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

template <class In, class Out>
void computeSlice(EuclideanDistanceTransform2D& transform, In const& in, sliceXY const& scratch,
                  Out const& out) {
  // A slice without voxels has no first voxel to look at and nothing to write.
  if (in.width < 1 || in.height < 1) return;
  if (transform.twoSidedIn(in, scratch, out)) {
    transform.twoSidedOut(out, scratch);
  } else {
    fillSlice(in, out);
  }
}

}  // namespace

template <class In, class Scratch, class Out>
bool EuclideanDistanceTransform2D::twoSidedIn(In const& in, Scratch const& scratch, Out const& out) {
  if (in.width < 1) return false;
  Evidence const evidence = columnPass(in, scratch, in.width, in.height);
  if (evidence.allInside || evidence.allOutside) return false;

  rowPass(scratch, in.width, in.height, sqrtTable.values, [&](int j, float* roots) {
    for (int i = 0; i < in.width; ++i) roots[i] = roots[i] > 0.0F ? -roots[i] : 1.0F;
    rows::set(out, j, 0, in.width, roots);
  });
  return true;
}

template <class Out, class Scratch>
void EuclideanDistanceTransform2D::twoSidedOut(Out const& out, Scratch const& scratch) {
  columnPass(out, scratch, out.width, out.height);
  rowPass(scratch, out.width, out.height, sqrtTable.values, [&](int j, float const* roots) {
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
  for (; in.slice < in.sliceCount; ++in.slice, ++out.slice) computeSlice(*this, in, view, out);
}

template <class In, class Out>
void EuclideanDistanceTransform2D::computeSingleSliceTwoSided(In in, Out out, int slice) {
  Scratch scratch(in);
  sliceXY const view = scratch.view();
  sqrtTable.init(squaredDiagonal(in.width, in.height));
  out.slice = slice;
  in.slice = slice;
  computeSlice(*this, in, view, out);
}

#define LORB_INSTANCE template LORB_EXPORT
LORB_INSTANTIATE_SLICE_WORK

}  // namespace lorb
