#include <lorb/algorithm/slices.h>

#include <algorithm>

namespace lorb {
namespace {

template <class T>
std::uint8_t isInside(void const* voxels, std::size_t number) {
  if constexpr (std::is_same_v<T, bool>) {
    return static_cast<std::uint64_t const*>(voxels)[number / 64] >> number % 64 & 1;
  } else {
    return static_cast<T const*>(voxels)[number] > 0;
  }
}

VoxelRow rowOf(VoxelGrid const& grid, std::int64_t slice, int j, int begin) {
  return {grid.type, grid.voxels, grid.indexOf(slice, begin, j), grid.strideI};
}

}  // namespace

void VoxelRow::getInside(std::size_t count, std::uint8_t* inside) const {
  visitElementType(type, [&]<class T>(std::type_identity<T>) {
    for (std::size_t k = 0; k < count; ++k) inside[k] = isInside<T>(voxels, first + k * stride);
  });
}

bool SliceReader::startsInside(std::int64_t slice) {
  std::uint8_t inside = 0;
  row(slice, 0, 0, 1).getInside(1, &inside);
  return inside != 0;
}

// --- generic datasets --------------------------------------------------------------------------------

VoxelRow DatasetWriter::row(std::int64_t slice, int j, int begin, int count) {
  // The kernels read rows in short pieces, and must not allocate before they know that there is a boundary.
  auto const size = static_cast<std::size_t>(count);
  if (size > shortRow_.size()) longRow_.resize(std::max(longRow_.size(), size));
  float* const values = size > shortRow_.size() ? longRow_.data() : shortRow_.data();
  slice_.slice = slice;
  slice_.getRow(j, begin, count, values);
  return {typeFloat, values, 0, 1};
}

void DatasetWriter::moveTo(std::int64_t slice, int i, int j) {
  slice_.slice = slice;
  slice_.moveTo(i, j);
}

void DatasetWriter::write(std::int64_t slice, int j, int begin, int count, float const* values) {
  slice_.slice = slice;
  slice_.setRow(j, begin, count, values);
}

bool DatasetWriter::isPlainFloatGrid(std::int64_t /*end*/) const {
  return slice_.dataset->getElementType() >= elementFloat;
}

// --- typed volumes -----------------------------------------------------------------------------------

VoxelRow TypedReader::row(std::int64_t slice, int j, int begin, int /*count*/) {
  return rowOf(gridOf_(volume), slice, j, begin);
}

VoxelRow TypedWriter::row(std::int64_t slice, int j, int begin, int /*count*/) {
  return rowOf(gridOf_(target_), slice, j, begin);
}

void TypedWriter::write(std::int64_t slice, int j, int begin, int count, float const* values) {
  VoxelGrid const grid = gridOf_(target_);
  float* const first = target_->pages[0].data.data() + grid.indexOf(slice, begin, j);
  for (int k = 0; k < count; ++k) first[static_cast<std::size_t>(k) * grid.strideI] = values[k];
}

bool TypedWriter::holds(int sliceWidth, int sliceHeight, std::int64_t end) const {
  if (sliceWidth < 1 || sliceHeight < 1 || end < 1 || target_->pages.empty()) return false;
  return gridOf_(target_).indexOf(end - 1, sliceWidth - 1, sliceHeight - 1) < target_->pages[0].data.size();
}

/// A page with a shape of its own may hold several voxels in the same place, and so may views beyond the
/// volume.
bool TypedWriter::isPlainFloatGrid(std::int64_t end) const {
  auto const& extents = target_->extents;
  auto const within = [&](std::int64_t size, int axis) {
    return static_cast<std::uint64_t>(size) <=
           extents[static_cast<std::size_t>(axis)];  // negative ones are huge
  };
  return !target_->pages.empty() && target_->pages[0].extents == extents && within(width, axes_.i) &&
         within(height, axes_.j) && within(end, axes_.slice);
}

}  // namespace lorb
