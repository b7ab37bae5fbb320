#include <lorb/algorithm/engine/AlongRows.h>
#include <lorb/algorithm/engine/kernels.h>
#include <lorb/algorithm/engine/maskRow.h>
#include <lorb/algorithm/engine/outputRows.h>

#include <algorithm>

namespace lorb::engine {
namespace {

/// Slices whose rows follow each other in memory (XZ) are read and written together, in longer pieces.
int slabSize(SliceReader const& in, std::int64_t slices) {
  constexpr std::int64_t most = 8;
  auto const grid = in.grid();
  bool const follow = grid && grid->strideSlice < grid->strideJ && in.height <= exactHeight;
  return follow ? static_cast<int>(std::min(most, slices)) : 1;
}

OutputRows rowsOf(SliceWriter const& out, std::int64_t slices) {
  auto const grid = out.grid();
  if (!grid) return {0, false};
  auto const count = static_cast<std::size_t>(slices) * static_cast<std::size_t>(out.width) *
                     static_cast<std::size_t>(out.height);
  return outputRows(static_cast<float const*>(grid->voxels), grid->strideJ, grid->strideSlice, count);
}

}  // namespace

AlongRows::AlongRows(SliceReader& in, SliceWriter& out, std::int64_t slices, float const* squareRoots)
    : in_(in),
      out_(out),
      shift_(rowsOf(out, slices).phase),
      pastCache_(rowsOf(out, slices).pastCache),
      blocks_((static_cast<std::size_t>(in.width + shift_) + blockColumns - 1) / blockColumns),
      pitch_(static_cast<std::size_t>(in.height) + 8),  // blocks 4 KiB apart would share sets of the cache
      slab_(static_cast<std::size_t>(slabSize(in, slices))),
      row_(blocks_),
      distances_(allocateAligned<Distances>(static_cast<std::size_t>(in.height))),
      memory_(in.height),
      roots_{squareRoots, in.width * in.width + in.height * in.height} {
  for (Sheet& sheet : slab_) {
    sheet.words = allocateAligned<MaskWord>(blocks_ * pitch_);
    sheet.carries = allocateAligned<RowCarry>(blocks_ * pitch_);
  }
  if (!out.grid()) {
    copied_ = allocateAligned<float>(blocks_ * blockColumns * static_cast<std::size_t>(in.height));
  }
}

std::int64_t AlongRows::compute(std::int64_t first, std::int64_t end, std::int64_t firstOut) {
  while (first < end) {
    auto const count = std::min<std::int64_t>(static_cast<std::int64_t>(slab_.size()), end - first);
    for (Sheet& sheet : slab_) sheet.someInside = sheet.someOutside = 0;
    for (int j = 0; j < in_.height; ++j) {
      for (std::int64_t s = 0; s < count; ++s) read(slab_[static_cast<std::size_t>(s)], first + s, j);
    }
    for (std::int64_t s = 0; s < count; ++s) {
      Sheet const& sheet = slab_[static_cast<std::size_t>(s)];
      if (!sheet.hasBoundary()) {
        fill(sheet, firstOut + s);
      } else {
        if (in_.height > exactHeight && !isExact(sheet)) return first + s;
        solve(sheet, firstOut + s);
      }
    }
    first += count;
    firstOut += count;
  }
  return end;
}

/// One row of voxels becomes mask bits and carries.
void AlongRows::read(Sheet& sheet, std::int64_t slice, int j) {
  auto const width = static_cast<std::size_t>(in_.width);
  VoxelRow const voxels = in_.row(slice, j, 0, in_.width);
  kernels()->maskRowReaders[voxels.type - 1](voxels.voxels, voxels.first, width, row_.data());
  padMaskRow(row_.data(), blocks_, width, shift_);
  kernels()->carryAcrossRow(row_.data(), blocks_, pitch_, sheet.carries.get() + j);
  MaskWord some = 0, all = ~MaskWord{0};
  for (std::size_t b = 0; b < blocks_; ++b) {
    sheet.words[b * pitch_ + static_cast<std::size_t>(j)] = row_[b];
    some |= row_[b];
    all &= row_[b];
  }
  if (j == 0) return;
  sheet.someInside |= some;
  sheet.someOutside |= ~all;
}

void AlongRows::scan(Sheet const& sheet, std::size_t block) {
  MaskWord const* const words = sheet.words.get() + block * pitch_;
  kernels()->scanRows(words, block > 0 ? words - pitch_ : nullptr,
                      block + 1 < blocks_ ? words + pitch_ : nullptr, sheet.carries.get() + block * pitch_,
                      in_.height, distances_.get());
}

/// The columns of a block that exist.
MaskWord AlongRows::columnsOf(std::size_t block) const {
  int const first = static_cast<int>(block) * blockColumns;
  return columnBits(std::max(shift_ - first, 0), std::min(in_.width + shift_ - first, blockColumns));
}

bool AlongRows::isExact(Sheet const& sheet) {
  for (std::size_t b = 0; b < blocks_; ++b) {
    scan(sheet, b);
    int const bound =
        kernels()->maxBound(memory_, sheet.words.get() + b * pitch_, distances_.get(), columnsOf(b));
    if (bound >= exactHeight) return false;
  }
  return true;
}

float* AlongRows::rowOf(std::int64_t outSlice, int j) {
  auto const grid = out_.grid();
  if (!grid) return copied_.get() + static_cast<std::size_t>(j) * blocks_ * blockColumns;
  // The writer's voxels are floats that may be written.
  return static_cast<float*>(const_cast<void*>(grid->voxels)) + grid->indexOf(outSlice, 0, j);
}

std::ptrdiff_t AlongRows::rowStride(std::int64_t outSlice) {
  return in_.height > 1 ? rowOf(outSlice, 1) - rowOf(outSlice, 0) : 0;
}

void AlongRows::solve(Sheet const& sheet, std::int64_t outSlice) {
  float* const row = rowOf(outSlice, 0);
  std::ptrdiff_t const stride = rowStride(outSlice);
  for (std::size_t b = 0; b < blocks_; ++b) {
    scan(sheet, b);
    int const first = static_cast<int>(b) * blockColumns;
    int const begin = std::max(shift_ - first, 0), end = std::min(in_.width + shift_ - first, blockColumns);
    kernels()->searchBlock(memory_, sheet.words.get() + b * pitch_, distances_.get(), columnsOf(b), {},
                           roots_, {row + first + begin - shift_, stride, begin, end, pastCache_});
  }
  if (out_.grid()) return;
  for (int j = 0; j < in_.height; ++j) out_.write(outSlice, j, 0, in_.width, rowOf(outSlice, j));
}

void AlongRows::fill(Sheet const& sheet, std::int64_t outSlice) {
  auto const diagonal = static_cast<float>(roots_.count);
  float const value = sheet.words[0] >> shift_ & 1 ? -diagonal : diagonal;
  auto const width = static_cast<std::size_t>(in_.width);
  float* row = rowOf(outSlice, 0);
  std::ptrdiff_t const stride = rowStride(outSlice);
  for (int j = 0; j < in_.height; ++j, row += stride) {
    kernels()->fill(row, width, value, pastCache_);
    if (!out_.grid()) out_.write(outSlice, j, 0, in_.width, row);
  }
}

}  // namespace lorb::engine
