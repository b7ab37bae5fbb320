// The kernels and drivers of the transform: views become readers and writers without types here, and slices
// go to the engine or, where it does not take them, to the scalar kernels.

#include <lorb/algorithm/EuclideanDistanceTransform2D.h>
#include <lorb/algorithm/ScalarKernels.h>
#include <lorb/algorithm/engine/SliceEngine.h>
#include <lorb/algorithm/engine/columnDistances.h>
#include <lorb/algorithm/slices.h>

#include <cstdint>

namespace lorb {
namespace {

using SqrtLookUpTable = EuclideanDistanceTransform2D::SqrtLookUpTable;

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

/// The slices from `slice` up to `end`, `outSlice` advancing in step.
void computeSlices(SliceReader& in, SliceWriter& out, std::int64_t slice, std::int64_t end,
                   std::int64_t outSlice, SqrtLookUpTable& squareRoots) {
  Scratch workSlice(in.width, in.height);
  auto const view = workSlice.view();
  DatasetSlice scratch(view);
  squareRoots.init(scalar::squaredDiagonal(in.width, in.height));
  if (slice >= end) return;

  std::int64_t const shift = outSlice - slice;
  auto const computeByKernels = [&] {
    scalar::computeSlice(in, slice, scratch, out, slice + shift, squareRoots);
  };
  // Slices of one volume that end up in others' places must be seen to do so one after the other.
  bool const overlap = in.volume == out.volume && shift != 0;
  if (overlap || !engine::SliceEngine::takes(in, out, end + shift)) {
    for (; slice < end; ++slice) computeByKernels();
    return;
  }

  engine::SliceEngine engine(in, out, end - slice, squareRoots.values);
  auto const computeUpTo = [&](std::int64_t last) {
    while ((slice = engine.compute(slice, last, slice + shift)) < last) {
      computeByKernels();
      ++slice;
    }
  };
  // The last slice may be the output's as well, so what the scratch shall hold comes before it. A dataset
  // that ends before its last slice throws there: then the slices before it are done.
  if (!in.grid()) computeUpTo(end - 1);
  engine::leaveColumnDistances(in, end - 1, scratch);
  computeUpTo(end);
}

}  // namespace

template <class In, class Scratch, class Out>
bool EuclideanDistanceTransform2D::twoSidedIn(In const& in, Scratch const& scratch, Out const& out) {
  auto input = readerOf(in);
  auto output = writerOf(out);
  DatasetSlice work(scratch);
  return scalar::writeInside(input, in.slice, work, output, out.slice, sqrtTable);
}

template <class Out, class Scratch>
void EuclideanDistanceTransform2D::twoSidedOut(Out const& out, Scratch const& scratch) {
  auto output = writerOf(out);
  DatasetSlice work(scratch);
  scalar::writeOutside(output, out.slice, work, sqrtTable);
}

template <class In, class Out>
void EuclideanDistanceTransform2D::computeAllSlicesTwoSided(In in, Out out) {
  auto input = readerOf(in);
  auto output = writerOf(out);
  computeSlices(input, output, in.slice, in.sliceCount, out.slice, sqrtTable);
}

template <class In, class Out>
void EuclideanDistanceTransform2D::computeSingleSliceTwoSided(In in, Out out, int slice) {
  auto input = readerOf(in);
  auto output = writerOf(out);
  computeSlices(input, output, slice, std::int64_t{slice} + 1, slice, sqrtTable);
}

#define LORB_INSTANCE template LORB_EXPORT
LORB_INSTANTIATE_SLICE_WORK

}  // namespace lorb
