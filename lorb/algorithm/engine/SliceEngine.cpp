#include <lorb/algorithm/engine/SliceEngine.h>
#include <lorb/algorithm/engine/kernels.h>
#include <lorb/algorithm/engine/outputRows.h>

#include <hwy/cache_control.h>

namespace lorb::engine {
namespace {

/// Whether rows run along x. Those of generic datasets are copied, whatever they run along.
bool areRowsAlongX(SliceReader const& in) {
  auto const grid = in.grid();
  return !grid || grid->strideI == 1;
}

}  // namespace

bool SliceEngine::takes(SliceReader const& in, SliceWriter const& out, std::int64_t outEnd) {
  std::int64_t const width = in.width, height = in.height;
  if (kernels() == nullptr || width < 1 || height < 1) return false;
  if (width != out.width || height != out.height || width * width + height * height > maxSquaredDiagonal)
    return false;
  return out.isPlainFloatGrid(outEnd) && (areRowsAlongX(in) || height <= exactHeight);
}

SliceEngine::SliceEngine(SliceReader& in, SliceWriter& out, std::int64_t slices, float const* squareRoots) {
  if (areRowsAlongX(in)) {
    along_.emplace(in, out, slices, squareRoots);
  } else {
    across_.emplace(in, out, slices, squareRoots);
  }
}

std::int64_t SliceEngine::compute(std::int64_t first, std::int64_t end, std::int64_t firstOut) {
  std::int64_t computed = end;
  if (along_) {
    computed = along_->compute(first, end, firstOut);
  } else {
    across_->compute(first, end, firstOut);
  }
  hwy::FlushStream();  // stores past the cache are not ordered with those that follow
  return computed;
}

}  // namespace lorb::engine
