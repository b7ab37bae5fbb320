#include "tools/output/VoxelWriter.h"

#include <oneapi/tbb/parallel_for.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace lorb::tools {
namespace {

/// Of what is compressed at a time: large enough for the ratio, small enough to be shared out.
constexpr std::uint64_t segmentBytes = std::uint64_t{1} << 20;

std::span<std::byte const> bytesOf(std::string const& text) {
  return std::as_bytes(std::span(text));
}

}  // namespace

std::uint64_t VoxelWriter::sliceStep(Extents const& extents, std::uint64_t elementBytes) {
  std::uint64_t const slice = extents[0] * extents[1] * elementBytes;
  return std::max<std::uint64_t>(1, segmentBytes / std::max<std::uint64_t>(1, slice));
}

VoxelWriter::VoxelWriter(std::filesystem::path const& path, FileHead head, Extents const& extents,
                         std::uint64_t elementBytes, int level)
    : file_(path),
      head_(std::move(head)),
      extents_(extents),
      elementBytes_(elementBytes),
      level_(level),
      sliceStep_(sliceStep(extents, elementBytes)),
      whole_(noPart(head_.wrapping)) {
  if (!head_.isCompressedToo) append(bytesOf(head_.bytes));
  if (head_.compressed) append(streamHead(head_.wrapping));
  if (head_.isCompressedToo) append({deflatePart(bytesOf(head_.bytes), level_, head_.wrapping)});
}

void VoxelWriter::append(std::span<std::byte const> bytes) {
  file_.writeAt(end_, bytes);
  end_ += bytes.size();
}

std::vector<std::byte> VoxelWriter::swappedElements(std::span<std::byte const> voxels) const {
  std::vector<std::byte> swapped(voxels.begin(), voxels.end());
  for (auto element = swapped.begin(); element != swapped.end();) {
    auto const next = element + static_cast<std::ptrdiff_t>(elementBytes_);
    std::reverse(element, next);
    element = next;
  }
  return swapped;
}

void VoxelWriter::writePlain(Box const& box, std::span<std::byte const> voxels) const {
  auto const [nx, ny, nz] = extents_;
  // The longest runs that are neighbours in the file as well.
  std::uint64_t run = box.size[0], runs = box.size[1];
  if (run == nx) run *= std::exchange(runs, 1);
  bool const wholeSlices = run == nx * ny;
  if (wholeSlices) run *= box.size[2];
  std::size_t const bytes = run * elementBytes_;
  for (std::uint64_t z = 0; z < (wholeSlices ? 1 : box.size[2]); ++z) {
    for (std::uint64_t y = 0; y < runs; ++y) {
      std::uint64_t const first = ((box.begin[2] + z) * ny + box.begin[1] + y) * nx + box.begin[0];
      file_.writeAt(head_.bytes.size() + first * elementBytes_, voxels.first(bytes));
      voxels = voxels.subspan(bytes);
    }
  }
}

std::vector<std::span<std::byte const>> VoxelWriter::partsOf(std::span<std::byte const> voxels) const {
  std::vector<std::span<std::byte const>> parts;
  std::size_t const step = sliceStep_ * extents_[0] * extents_[1] * elementBytes_;
  while (!voxels.empty()) {
    auto slices = voxels.first(std::min(step, voxels.size()));
    voxels = voxels.subspan(slices.size());
    while (!slices.empty()) {
      parts.push_back(slices.first(std::min<std::size_t>(segmentBytes, slices.size())));
      slices = slices.subspan(parts.back().size());
    }
  }
  return parts;
}

DeflatedPart VoxelWriter::compress(std::span<std::byte const> part) const {
  bool const isUniform =
      std::memcmp(part.data(), part.data() + elementBytes_, part.size() - elementBytes_) == 0;
  if (!isUniform) return deflatePart(part, level_, head_.wrapping);
  std::lock_guard const guard(uniform_->mutex);
  if (!std::equal(part.begin(), part.end(), uniform_->part.begin(), uniform_->part.end())) {
    uniform_->segment = deflatePart(part, level_, head_.wrapping);
    uniform_->part.assign(part.begin(), part.end());
  }
  return uniform_->segment;
}

VoxelWriter::Piece VoxelWriter::prepare(Box const& box, std::span<std::byte const> voxels) const {
  std::vector<std::byte> swapped;
  if (head_.swapped) voxels = swapped = swappedElements(voxels);
  if (!head_.compressed) return writePlain(box, voxels), Piece();
  auto const parts = partsOf(voxels);
  Piece piece(parts.size());
  oneapi::tbb::parallel_for(std::size_t{0}, piece.size(),
                            [&](std::size_t k) { piece[k] = compress(parts[k]); });
  return piece;
}

void VoxelWriter::append(Piece const& piece) {
  for (DeflatedPart const& segment : piece) {
    append(segment.bytes);
    extend(whole_, segment, head_.wrapping);
  }
}

void VoxelWriter::finish() {
  if (head_.compressed) append(streamEnd(whole_, head_.wrapping));
  if (head_.sizePlace) {
    file_.writeAt(*head_.sizePlace, bytesOf(std::to_string(end_ - head_.bytes.size())));
  }
  file_.close();
}

}  // namespace lorb::tools
