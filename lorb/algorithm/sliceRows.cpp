#include <lorb/algorithm/sliceRows.h>
#include <lorb/algorithm/voxelRows.h>

#include <hwy/cache_control.h>

#include <algorithm>

namespace lorb {

using SliceAxes = EuclideanDistanceTransform2D::SliceAxes;

bool Slices::startsInside(std::int64_t slice) {
  std::uint8_t inside = 0;
  getInside(slice, 0, 0, 1, &inside);
  return inside != 0;
}

// --- generic datasets --------------------------------------------------------------------------------

namespace {

void getInside(DatasetSlice& slice, int j, int begin, int count, std::uint8_t* inside) {
  constexpr int block = 512;
  float values[block];
  for (int done = 0; done < count; done += block) {
    int const length = std::min(count - done, block);
    slice.getRow(j, begin + done, length, values);
    voxel_rows::flagFunctions(typeFloat).along(values, 0, static_cast<std::size_t>(length), inside + done);
  }
}

}  // namespace

DatasetInput::DatasetInput(DatasetSlice const& source, int sliceWidth, int sliceHeight)
    : SliceInput(source.dataset, sliceWidth, sliceHeight), slice_(source) {}

DatasetInput::~DatasetInput() = default;

void DatasetInput::moveTo(std::int64_t slice, int i, int j) {
  slice_.slice = slice;
  slice_.moveTo(i, j);
}

void DatasetInput::getInside(std::int64_t slice, int j, int begin, int count, std::uint8_t* inside) {
  slice_.slice = slice;
  lorb::getInside(slice_, j, begin, count, inside);
}

void DatasetInput::enter(std::int64_t first, int count, std::int64_t /*readable*/,
                         std::vector<ColumnCounts>& slices) {
  flags_.resize(static_cast<std::size_t>(width));
  for (int s = 0; s < count; ++s) {
    for (int j = 0; j < height; ++j) {
      getInside(first + s, j, 0, width, flags_.data());
      slices[static_cast<std::size_t>(s)].enterRow(j, flags_.data());
    }
  }
}

DatasetOutput::DatasetOutput(DatasetSlice const& target, int sliceWidth, int sliceHeight)
    : SliceOutput(target.dataset, sliceWidth, sliceHeight), slice_(target) {}

DatasetOutput::~DatasetOutput() = default;

void DatasetOutput::moveTo(std::int64_t slice, int i, int j) {
  slice_.slice = slice;
  slice_.moveTo(i, j);
}

void DatasetOutput::getInside(std::int64_t slice, int j, int begin, int count, std::uint8_t* inside) {
  slice_.slice = slice;
  lorb::getInside(slice_, j, begin, count, inside);
}

void DatasetOutput::set(std::int64_t slice, int j, int begin, int count, float const* values) {
  slice_.slice = slice;
  slice_.setRow(j, begin, count, values);
}

bool DatasetOutput::takesFloats() const {
  return slice_.dataset->getElementType() >= elementFloat;
}

void DatasetOutput::leave(std::int64_t first, int j, int count, Solve const& solve) {
  values_.resize(static_cast<std::size_t>(width));
  for (int s = 0; s < count; ++s) {
    solve(s, values_.data());
    set(first + s, j, 0, width, values_.data());
  }
}

// --- typed volumes on their way in -------------------------------------------------------------------

namespace {

/// Number of voxel (i, j) of a slice.
std::uint64_t numberOf(Voxels const& voxels, SliceAxes axes, std::int64_t slice, int j, int i) {
  return static_cast<std::uint64_t>(slice) * voxels.strides[axes.slice] +
         static_cast<std::uint64_t>(j) * voxels.strides[axes.j] +
         static_cast<std::uint64_t>(i) * voxels.strides[axes.i];
}

/// flags[i] of voxels first, first + stride, …
template <class T>
void flagAcross(void const* voxels, std::size_t first, std::size_t stride, std::size_t count,
                std::uint8_t* flags) {
  for (std::size_t i = 0; i < count; ++i) {
    std::size_t const number = first + i * stride;
    if constexpr (std::is_same_v<T, bool>) {
      flags[i] = static_cast<std::uint64_t const*>(voxels)[number / 64] >> number % 64 & 1;
    } else {
      flags[i] = static_cast<T const*>(voxels)[number] > 0;
    }
  }
}

void getInside(Voxels const& voxels, SliceAxes axes, std::int64_t slice, int j, int begin, int count,
               std::uint8_t* inside) {
  visitElementType(voxels.type, [&]<class T>(std::type_identity<T>) {
    flagAcross<T>(voxels.first, numberOf(voxels, axes, slice, j, begin), voxels.strides[axes.i],
                  static_cast<std::size_t>(count), inside);
  });
}

/// How many voxels before voxel `number` lie in its cache line; of bits, in its word.
std::size_t slicesSinceLine(Voxels const& voxels, std::size_t bitsPerVoxel, std::uint64_t number) {
  constexpr std::size_t line = 64;
  if (bitsPerVoxel == 1) return number % voxel_rows::maxPacked;
  std::size_t const bytes = bitsPerVoxel / 8;
  return (reinterpret_cast<std::uintptr_t>(voxels.first) + number * bytes) % line / bytes;
}

}  // namespace

TypedInput::TypedInput(void const* source, VoxelsOf findVoxels, SliceAxes axes, int sliceWidth,
                       int sliceHeight)
    : SliceInput(source, sliceWidth, sliceHeight), findVoxels_(findVoxels), axes_(axes) {}

TypedInput::~TypedInput() = default;

void TypedInput::getInside(std::int64_t slice, int j, int begin, int count, std::uint8_t* inside) {
  lorb::getInside(findVoxels_(volume), axes_, slice, j, begin, count, inside);
}

void TypedInput::enter(std::int64_t first, int count, std::int64_t /*readable*/,
                       std::vector<ColumnCounts>& slices) {
  Voxels const voxels = findVoxels_(volume);
  voxel_rows::FlagFunctions const& functions = voxel_rows::flagFunctions(voxels.type);
  auto const length = static_cast<std::size_t>(width);
  flags_.resize(length);
  for (int j = 0; j < height; ++j) {
    for (int s = 0; s < count; ++s) {
      auto const begin = numberOf(voxels, axes_, first + s, j, 0);
      // The next rows of XZ lie whole XY planes away: without this, it takes 7 % longer at 512³.
      if (axes_.slice == 1 && j + 1 < height) {
        auto const next = (begin + voxels.strides[axes_.j]) * functions.bitsPerVoxel / 8;
        voxel_rows::fetch(static_cast<std::byte const*>(voxels.first) + next,
                          length * functions.bitsPerVoxel / 8 + 1);
      }
      std::uint8_t const* flags = flags_.data();
      if (voxels.type == typeUInt8) {
        flags = static_cast<std::uint8_t const*>(voxels.first) + begin;  // values are flags
      } else {
        functions.along(voxels.first, begin, length, flags_.data());
      }
      slices[static_cast<std::size_t>(s)].enterRow(j, flags);
    }
  }
}

PackedInput::~PackedInput() = default;

void PackedInput::enter(std::int64_t first, int count, std::int64_t readable,
                        std::vector<ColumnCounts>& slices) {
  for (int s = 0; s < count; ++s) {
    if (first + s >= packedEnd_) pack(first + s, readable);
    auto const place = static_cast<std::size_t>(first + s - packedBegin_);
    std::uint16_t const* row = packs_.get() + place / voxel_rows::maxAcross * partLength_;
    auto const bit = static_cast<unsigned>(place % voxel_rows::maxAcross);
    for (int j = 0; j < height; ++j, row += rowLength_)
      slices[static_cast<std::size_t>(s)].enterRow(j, row, bit);
  }
}

/// The slices from `first` on, up to the end of cache lines.
void PackedInput::pack(std::int64_t first, std::int64_t readable) {
  constexpr std::size_t parts = voxel_rows::maxPacked / voxel_rows::maxAcross;
  if (!packs_) packs_ = allocateAligned<std::uint16_t>(parts * partLength_);
  Voxels const voxels = findVoxels_(volume);
  voxel_rows::FlagFunctions const& functions = voxel_rows::flagFunctions(voxels.type);
  std::size_t const bit =
      slicesSinceLine(voxels, functions.bitsPerVoxel, numberOf(voxels, axes_, first, 0, 0));
  packedBegin_ = first - static_cast<std::int64_t>(bit);
  packedEnd_ = std::min(packedBegin_ + static_cast<int>(voxel_rows::maxPacked), readable);
  auto const length = static_cast<std::size_t>(width);
  for (int j = 0; j < height; ++j) {
    std::uint16_t* const row = packs_.get() + static_cast<std::size_t>(j) * rowLength_;
    functions.pack(voxels.first, numberOf(voxels, axes_, first, j, 0), voxels.strides[axes_.i], length,
                   static_cast<std::size_t>(packedEnd_ - first), bit, row, partLength_);
    for (std::size_t k = 0; k < parts; ++k) {
      std::uint16_t* const part = row + k * partLength_;
      std::fill(part + length, part + rowLength_, part[length - 1]);
    }
  }
}

// --- typed volumes on their way out ------------------------------------------------------------------

TypedOutput::TypedOutput(TImageDataset<float, 3>* target, SliceAxes axes, int sliceWidth, int sliceHeight)
    : SliceOutput(target, sliceWidth, sliceHeight), target_(target), axes_(axes) {}

float* TypedOutput::address(std::int64_t slice, int j, int i) const {
  return target_->pages[0].data.data() + numberOf(voxelsOf<float>(target_), axes_, slice, j, i);
}

void TypedOutput::getInside(std::int64_t slice, int j, int begin, int count, std::uint8_t* inside) {
  lorb::getInside(voxelsOf<float>(target_), axes_, slice, j, begin, count, inside);
}

void TypedOutput::set(std::int64_t slice, int j, int begin, int count, float const* values) {
  float* const target = address(slice, j, begin);
  auto const stride = voxelsOf<float>(target_).strides[axes_.i];
  for (int k = 0; k < count; ++k) target[static_cast<std::size_t>(k) * stride] = values[k];
}

bool TypedOutput::holds(std::int64_t slice, int sliceWidth, int sliceHeight) const {
  if (slice < 0 || sliceWidth < 1 || sliceHeight < 1 || target_->pages.empty()) return false;
  return numberOf(voxelsOf<float>(target_), axes_, slice, sliceHeight - 1, sliceWidth - 1) <
         target_->pages[0].data.size();
}

/// A page with a shape of its own may hold several rows in the same place.
bool TypedOutput::takesFloats() const {
  auto const& extents = target_->extents;
  bool const isWhole = !target_->pages.empty() && target_->pages[0].extents == extents;
  return isWhole && static_cast<std::uint64_t>(width) <= extents[static_cast<std::size_t>(axes_.i)] &&
         static_cast<std::uint64_t>(height) <= extents[static_cast<std::size_t>(axes_.j)];
}

/// The rows of neighbouring XZ slices follow each other.
int TypedOutput::slabSize(std::int64_t end) const {
  return axes_.slice == 1 && holdsSlicesUpTo(end) ? 8 : 1;
}

bool TypedOutput::holdsSlicesUpTo(std::int64_t end) const {
  return static_cast<std::uint64_t>(end) <= target_->extents[static_cast<std::size_t>(axes_.slice)];
}

void TypedOutput::leave(std::int64_t first, int j, int count, Solve const& solve) {
  for (int s = 0; s < count; ++s) {
    float* const row = address(first + s, j);
    // Without this, writing waits: XY takes a fifth longer at 512².
    voxel_rows::fetch(row, static_cast<std::size_t>(width) * sizeof(float));
    solve(s, row);
  }
}

void RowsAcross::storeShare(std::size_t number) const {
  std::size_t const begin = std::min(width, number * shareLength);
  std::size_t const end = std::min(width, begin + shareLength);
  if (begin == end) return;
  voxel_rows::storeAcross(values + begin, rowLength, end - begin, count, target + begin * stride, stride,
                          pastCache);
}

void RowsAcross::fetchShare(std::size_t number) const {
  if (pastCache) return;
  std::size_t const end = std::min(width, (number + 1) * shareLength);
  for (std::size_t i = number * shareLength; i < end; ++i)
    voxel_rows::fetch(target + i * stride, count * sizeof(float));
}

AcrossOutput::~AcrossOutput() = default;

int AcrossOutput::slabSize(std::int64_t end) const {
  return holdsSlicesUpTo(end) ? static_cast<int>(voxel_rows::maxAcross) : 1;
}

/// Slabs end where cache lines do, so that lines are written whole.
int AcrossOutput::slabLength(std::int64_t first, int most) const {
  constexpr auto perLine = static_cast<int>(voxel_rows::maxAcross);
  auto const place = reinterpret_cast<std::uintptr_t>(address(first, 0));
  return std::min(most, perLine - static_cast<int>(place / sizeof(float) % perLine));
}

/// The rows of one j are written in shares while those of the next are searched: memory is slower.
void AcrossOutput::leave(std::int64_t first, int j, int count, Solve const& solve) {
  auto const across = static_cast<std::size_t>(count);
  values_.resize(2 * across * rowLength_);
  float* const values = values_.data() + (j % 2 == 0 ? 0 : across * rowLength_);
  float* const target = address(first, j);
  RowsAcross const rows = {values,
                           rowLength_,
                           static_cast<std::size_t>(width),
                           across,
                           target,
                           target_->pages[0].extents[0],
                           goesPastCache(target, across),
                           shareLength(across)};
  for (std::size_t s = 0; s < across; ++s) {
    if (waiting_) waiting_->storeShare(s);
    rows.fetchShare(s);
    solve(static_cast<int>(s), values + s * rowLength_);
  }
  waiting_ = rows;
  if (j > 0) return;
  for (std::size_t s = 0; s < across; ++s) rows.storeShare(s);
  waiting_.reset();
  hwy::FlushStream();
}

/// Of `count` shares of a row; short ones don't pay. By fours, as columns are written.
std::size_t AcrossOutput::shareLength(std::size_t count) const {
  constexpr std::size_t shortest = 32;
  return std::max(shortest, (static_cast<std::size_t>(width) + 4 * count - 1) / (4 * count) * 4);
}

/// Whether whole cache lines are written, and so many that none would stay in a cache: then they need not be
/// read before.
bool AcrossOutput::goesPastCache(float const* target, std::size_t count) const {
  constexpr std::size_t cachedBytes = 16 << 20;
  constexpr std::size_t line = voxel_rows::maxAcross;
  auto const& page = target_->pages[0];
  return count == line && reinterpret_cast<std::uintptr_t>(target) % (line * sizeof(float)) == 0 &&
         page.extents[0] % line == 0 && page.data.size() >= cachedBytes / sizeof(float);
}

}  // namespace lorb
