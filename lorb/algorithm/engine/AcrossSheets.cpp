#include <lorb/algorithm/engine/AcrossSheets.h>
#include <lorb/algorithm/engine/kernels.h>
#include <lorb/algorithm/engine/maskRow.h>
#include <lorb/algorithm/engine/outputRows.h>

#include <algorithm>

namespace lorb::engine {
namespace {

Distances unbounded() {
  Distances distances;
  distances.fill(unboundedDistance);
  return distances;
}

}  // namespace

AcrossSheets::AcrossSheets(SliceReader& in, SliceWriter& out, std::int64_t slices, float const* squareRoots)
    : in_(in),
      out_(out),
      rows_(in.width),
      sheets_(in.height),
      pitch_(static_cast<std::size_t>(rows_) + 8),  // sheets 4 KiB apart would share sets of the cache
      blocks_((static_cast<std::size_t>(slices) + blockColumns - 1) / blockColumns +
              1),  // one more for the shift
      words_(allocateAligned<MaskWord>(blocks_ * static_cast<std::size_t>(sheets_) * pitch_)),
      evidence_(blocks_),
      row_(blocks_),
      above_(allocateAligned<Distances>(static_cast<std::size_t>((sheets_ + chunkSheets - 1) / chunkSheets) *
                                        pitch_)),
      below_(allocateAligned<Distances>(pitch_)),
      distances_(allocateAligned<Distances>(chunkSheets * pitch_)),
      memory_(rows_),
      roots_{squareRoots, in.width * in.width + in.height * in.height} {}

void AcrossSheets::compute(std::int64_t first, std::int64_t end, std::int64_t firstOut) {
  VoxelGrid const grid = *out_.grid();
  // The writer's voxels are floats that may be written.
  float* const target = static_cast<float*>(const_cast<void*>(grid.voxels)) + grid.indexOf(firstOut, 0, 0);
  auto const rows = outputRows(target, grid.strideI, grid.strideJ,
                               static_cast<std::size_t>(end - first) * static_cast<std::size_t>(rows_) *
                                   static_cast<std::size_t>(sheets_));
  int const count = static_cast<int>(end - first), shift = rows.phase;
  read(first, count, shift);

  ConstantColumns constant;
  constant.value = static_cast<float>(roots_.count);
  auto const stride = static_cast<std::ptrdiff_t>(grid.strideI);
  auto const sheetStride = static_cast<std::ptrdiff_t>(grid.strideJ);
  for (std::size_t b = 0; static_cast<int>(b) * blockColumns < count + shift; ++b) {
    int const column = static_cast<int>(b) * blockColumns;
    int const begin = std::max(shift - column, 0), last = std::min(count + shift - column, blockColumns);
    MaskWord const existing = columnBits(begin, last);
    MaskWord const solved = existing & evidence_[b].someInside & evidence_[b].someOutside;
    constant.which = existing & ~solved;
    constant.negative = wordsOf(b, 0)[0];
    Target const block = {target + column + begin - shift, stride, begin, last, rows.pastCache};
    if (solved) {
      solveBlock(b, constant, solved, block, sheetStride);
    } else {
      fillBlock(constant, block, sheetStride);
    }
  }
}

void AcrossSheets::read(std::int64_t first, int count, int shift) {
  VoxelGrid const grid = *in_.grid();
  MaskRowReader const readMaskRow = kernels()->maskRowReaders[grid.type - 1];
  auto const columns = static_cast<std::size_t>(count);
  std::size_t const blocks = (columns + static_cast<std::size_t>(shift) + blockColumns - 1) / blockColumns;
  std::fill(evidence_.begin(), evidence_.end(), Evidence());
  for (int sheet = 0; sheet < sheets_; ++sheet) {
    for (int row = 0; row < rows_; ++row) {
      readMaskRow(grid.voxels, grid.indexOf(first, row, sheet), columns, row_.data());
      padMaskRow(row_.data(), blocks, columns, shift);
      for (std::size_t b = 0; b < blocks; ++b) {
        wordsOf(b, sheet)[row] = row_[b];
        if (sheet == 0) continue;
        evidence_[b].someInside |= row_[b];
        evidence_[b].someOutside |= ~row_[b];
      }
    }
  }
}

void AcrossSheets::solveBlock(std::size_t block, ConstantColumns const& constant, MaskWord solved,
                              Target target, std::ptrdiff_t sheetStride) {
  SheetStack const stack = {wordsOf(block, 0), static_cast<std::ptrdiff_t>(pitch_), rows_};
  int const chunks = (sheets_ + chunkSheets - 1) / chunkSheets;
  auto const aboveOf = [&](int chunk) { return above_.get() + static_cast<std::size_t>(chunk) * pitch_; };

  // 1: backwards, the distances from the end of each chunk to the next change
  std::fill_n(aboveOf(chunks - 1), rows_, unbounded());
  for (int chunk = chunks - 1; chunk > 0; --chunk) {
    int const begin = chunk * chunkSheets, end = std::min(begin + chunkSheets, sheets_);
    std::copy_n(aboveOf(chunk), rows_, aboveOf(chunk - 1));
    kernels()->countFromAbove(stack, begin, end, end == sheets_, aboveOf(chunk - 1));
  }

  // 2: forwards, chunk by chunk, the distances of its sheets and the search in them
  std::fill_n(below_.get(), rows_, unbounded());
  for (int chunk = 0; chunk < chunks; ++chunk) {
    int const begin = chunk * chunkSheets, end = std::min(begin + chunkSheets, sheets_);
    kernels()->scanAcross(stack, begin, end, end == sheets_, below_.get(), aboveOf(chunk), distances_.get(),
                          pitch_);
    for (int sheet = begin; sheet < end; ++sheet, target.first += sheetStride) {
      kernels()->searchBlock(memory_, wordsOf(block, sheet),
                             distances_.get() + static_cast<std::size_t>(sheet - begin) * pitch_, solved,
                             constant, roots_, target);
    }
  }
}

void AcrossSheets::fillBlock(ConstantColumns const& constant, Target const& target,
                             std::ptrdiff_t sheetStride) const {
  float values[blockColumns];
  for (int k = 0; k < blockColumns; ++k)
    values[k] = constant.negative >> k & 1 ? -constant.value : constant.value;
  for (int sheet = 0; sheet < sheets_; ++sheet) {
    for (int row = 0; row < rows_; ++row) {
      std::copy(values + target.begin, values + target.end,
                target.first + sheet * sheetStride + row * target.stride);
    }
  }
}

}  // namespace lorb::engine
