#include <lorb/algorithm/alignedArray.h>
#include <lorb/algorithm/sliceRows.h>

#include <hwy/cache_control.h>

#include <algorithm>
#include <limits>
#include <optional>

namespace lorb::rows {
namespace {

// --- generic datasets --------------------------------------------------------------------------------

class DatasetInput final : public SliceInput {
 public:
  DatasetInput(DatasetSlice const& slice, int sliceWidth, int sliceHeight)
      : SliceInput(slice.dataset, sliceWidth, sliceHeight), slice_(slice) {}

  void getInside(std::int64_t slice, int j, int begin, int count, std::uint8_t* inside) override {
    constexpr int block = 512;
    float values[block];
    slice_.moveToSlice(slice);
    for (int done = 0; done < count; done += block) {
      int const length = std::min(count - done, block);
      slice_.getRow(j, begin + done, length, values);
      voxel_rows::flagFunctions(typeFloat).along(values, 0, static_cast<std::size_t>(length), inside + done);
    }
  }

  void enter(std::int64_t first, int count, std::int64_t /*readable*/,
             std::vector<ColumnCounts>& slices) override {
    flags_.resize(static_cast<std::size_t>(width));
    for (int s = 0; s < count; ++s) {
      for (int j = 0; j < height; ++j) {
        getInside(first + s, j, 0, width, flags_.data());
        slices[static_cast<std::size_t>(s)].enterRow(j, flags_.data());
      }
    }
  }

 private:
  DatasetSlice slice_;
  std::vector<std::uint8_t> flags_;
};

class DatasetOutput final : public SliceOutput {
 public:
  DatasetOutput(DatasetSlice const& slice, int sliceWidth, int sliceHeight)
      : SliceOutput(slice.dataset, sliceWidth, sliceHeight), slice_(slice) {}

  void set(std::int64_t slice, int j, int begin, int count, float const* values) override {
    slice_.moveToSlice(slice);
    slice_.setRow(j, begin, count, values);
  }
  std::unique_ptr<SliceInput> written() const override { return inputOf(slice_, width, height); }
  bool isChecked() const override { return true; }
  bool takesFloats() const override { return slice_.dataset->getElementType() >= elementFloat; }

  void leave(std::int64_t first, int j, int count, Solve const& solve) override {
    values_.resize(static_cast<std::size_t>(width));
    for (int s = 0; s < count; ++s) {
      solve(s, values_.data());
      set(first + s, j, 0, width, values_.data());
    }
  }

 private:
  DatasetSlice slice_;
  std::vector<float> values_;
};

// --- typed volumes on their way in -------------------------------------------------------------------

/// Number of voxel (i, j) of a slice.
std::uint64_t numberOf(Voxels const& voxels, Transform::SliceAxes axes, std::int64_t slice, int j, int i) {
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

/// Rows of slices that do not share cache lines.
class TypedInput : public SliceInput {
 public:
  TypedInput(TypedVolume const& source, int sliceWidth, int sliceHeight)
      : SliceInput(source.volume, sliceWidth, sliceHeight), voxelsOf_(source.voxelsOf), axes_(source.axes) {}

  void getInside(std::int64_t slice, int j, int begin, int count, std::uint8_t* inside) override {
    Voxels const voxels = voxelsOf_(volume);
    visitElementType(voxels.type, [&]<class T>(std::type_identity<T>) {
      flagAcross<T>(voxels.first, numberOf(voxels, axes_, slice, j, begin), voxels.strides[axes_.i],
                    static_cast<std::size_t>(count), inside);
    });
  }

  void enter(std::int64_t first, int count, std::int64_t /*readable*/,
             std::vector<ColumnCounts>& slices) override {
    Voxels const voxels = voxelsOf_(volume);
    voxel_rows::FlagFunctions const& functions = voxel_rows::flagFunctions(voxels.type);
    auto const length = static_cast<std::size_t>(width);
    flags_.resize(length);
    for (int j = 0; j < height; ++j) {
      for (int s = 0; s < count; ++s) {
        auto const begin = numberOf(voxels, axes_, first + s, j, 0);
        // The next rows of XZ lie whole XY planes away: without this, it takes 7 % longer at 512³.
        if (axes_.slice == 1 && j + 1 < height) {
          auto const next = (begin + voxels.strides[axes_.j]) * functions.bits / 8;
          voxel_rows::fetch(static_cast<std::byte const*>(voxels.first) + next,
                            length * functions.bits / 8 + 1);
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

 protected:
  Voxels (*voxelsOf_)(void const* volume);
  Transform::SliceAxes axes_;

 private:
  std::vector<std::uint8_t> flags_;
};

/// Slices that share cache lines: lines are read once for as many slices as they hold, where rows are whole
/// lines, and kept as a bit a slice. Bit b of pack k is that of slice packedBegin_ + 16 k + b.
class PackedInput final : public TypedInput {
 public:
  using TypedInput::TypedInput;

  void enter(std::int64_t first, int count, std::int64_t readable,
             std::vector<ColumnCounts>& slices) override {
    for (int s = 0; s < count; ++s) {
      if (first + s >= packedEnd_) pack(first + s, readable);
      auto const place = static_cast<std::size_t>(first + s - packedBegin_);
      std::uint16_t const* row = packs_.get() + place / voxel_rows::maxAcross * partLength_;
      auto const bit = static_cast<unsigned>(place % voxel_rows::maxAcross);
      for (int j = 0; j < height; ++j, row += rowLength_)
        slices[static_cast<std::size_t>(s)].enterRow(j, row, bit);
    }
  }

 private:
  static constexpr std::size_t parts = voxel_rows::maxPacked / voxel_rows::maxAcross;

  /// The slices from `first` on, up to the end of cache lines.
  void pack(std::int64_t first, std::int64_t readable) {
    if (!packs_) packs_ = allocateAligned<std::uint16_t>(parts * partLength_);
    Voxels const voxels = voxelsOf_(volume);
    voxel_rows::FlagFunctions const& functions = voxel_rows::flagFunctions(voxels.type);
    std::size_t const bit = slicesSinceLine(voxels, functions.bits, numberOf(voxels, axes_, first, 0, 0));
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

  /// How many voxels before voxel `number` lie in its cache line; of bits, in its word.
  static std::size_t slicesSinceLine(Voxels const& voxels, std::size_t bits, std::uint64_t number) {
    constexpr std::size_t line = 64;
    if (bits == 1) return number % voxel_rows::maxPacked;
    return (reinterpret_cast<std::uintptr_t>(voxels.first) + number * bits / 8) % line / (bits / 8);
  }

  std::size_t rowLength_ = wholeVectors(width);
  std::size_t partLength_ = rowLength_ * static_cast<std::size_t>(height);
  std::int64_t packedBegin_ = 0;
  std::int64_t packedEnd_ = std::numeric_limits<std::int64_t>::min();
  AlignedArray<std::uint16_t> packs_;
};

// --- typed volumes on their way out ------------------------------------------------------------------

class TypedOutput : public SliceOutput {
 public:
  TypedOutput(TImageDataset<float, 3>* target, Transform::SliceAxes axes, int sliceWidth, int sliceHeight)
      : SliceOutput(target, sliceWidth, sliceHeight), volume_(target), axes_(axes) {}

  void set(std::int64_t slice, int j, int begin, int count, float const* values) override {
    Voxels const voxels = voxelsOf<float>(volume_);
    float* const target = volume_->pages[0].data.data() + numberOf(voxels, axes_, slice, j, begin);
    auto const stride = voxels.strides[axes_.i];
    for (int k = 0; k < count; ++k) target[static_cast<std::size_t>(k) * stride] = values[k];
  }

  std::unique_ptr<SliceInput> written() const override {
    return inputOf(TypedVolume{volume_, &voxelsOf<float>, axes_}, width, height);
  }
  bool isChecked() const override { return false; }

  /// A page with a shape of its own may hold several rows in the same place.
  bool takesFloats() const override {
    auto const& extents = volume_->extents;
    bool const isWhole = !volume_->pages.empty() && volume_->pages[0].extents == extents;
    return isWhole && static_cast<std::uint64_t>(width) <= extents[static_cast<std::size_t>(axes_.i)] &&
           static_cast<std::uint64_t>(height) <= extents[static_cast<std::size_t>(axes_.j)];
  }

  /// The rows of neighbouring XZ slices follow each other.
  int slabSize() const override { return axes_.slice == 1 ? 8 : 1; }

  void leave(std::int64_t first, int j, int count, Solve const& solve) override {
    for (int s = 0; s < count; ++s) {
      float* const row = address(first + s, j);
      // Without this, writing waits: XY takes a fifth longer at 512².
      voxel_rows::fetch(row, static_cast<std::size_t>(width) * sizeof(float));
      solve(s, row);
    }
  }

 protected:
  float* address(std::int64_t slice, int j) const {
    return volume_->pages[0].data.data() + numberOf(voxelsOf<float>(volume_), axes_, slice, j, 0);
  }

  TImageDataset<float, 3>* volume_;

 private:
  Transform::SliceAxes axes_;
};

/// Rows of neighbouring slices on their way into a volume in which they lie side by side: element i of row s
/// goes to target[i * stride + s].
struct RowsAcross {
  float const* values;
  std::size_t rowLength;
  std::size_t width;
  std::size_t count;
  float* target;
  std::size_t stride;
  bool pastCache;
  std::size_t shareLength;  // such that `count` shares make up a row; the last may be shorter or empty

  void storeShare(std::size_t number) const {
    std::size_t const begin = std::min(width, number * shareLength);
    std::size_t const end = std::min(width, begin + shareLength);
    if (begin == end) return;
    voxel_rows::storeAcross(values + begin, rowLength, end - begin, count, target + begin * stride, stride,
                            pastCache);
  }

  /// Asks for the lines of a share, unless they need not be read.
  void fetchShare(std::size_t number) const {
    if (pastCache) return;
    std::size_t const end = std::min(width, (number + 1) * shareLength);
    for (std::size_t i = number * shareLength; i < end; ++i)
      voxel_rows::fetch(target + i * stride, count * sizeof(float));
  }
};

/// Slices that share cache lines.
class AcrossOutput final : public TypedOutput {
 public:
  using TypedOutput::TypedOutput;

  int slabSize() const override { return static_cast<int>(voxel_rows::maxAcross); }

  /// Slabs end where cache lines do, so that lines are written whole.
  int slabLength(std::int64_t first, int most) const override {
    constexpr auto perLine = static_cast<int>(voxel_rows::maxAcross);
    auto const place = reinterpret_cast<std::uintptr_t>(address(first, 0));
    return std::min(most, perLine - static_cast<int>(place / sizeof(float) % perLine));
  }

  /// The rows of one j are written in shares while those of the next are searched: memory is slower.
  void leave(std::int64_t first, int j, int count, Solve const& solve) override {
    values_.resize(2 * rowLength_ * voxel_rows::maxAcross);
    auto const across = static_cast<std::size_t>(count);
    float* const values = values_.data() + (j % 2 == 0 ? 0 : values_.size() / 2);
    float* const target = address(first, j);
    RowsAcross const rows = {values,
                             rowLength_,
                             static_cast<std::size_t>(width),
                             across,
                             target,
                             volume_->pages[0].extents[0],
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

 private:
  /// Of `count` shares of a row; short ones don't pay. By fours, as columns are written.
  std::size_t shareLength(std::size_t count) const {
    constexpr std::size_t shortest = 32;
    return std::max(shortest, (static_cast<std::size_t>(width) + 4 * count - 1) / (4 * count) * 4);
  }

  /// Whether whole cache lines are written, and so many that none would stay in a cache: then they need not
  /// be read before.
  bool goesPastCache(float const* target, std::size_t count) const {
    constexpr std::size_t cachedBytes = 16 << 20;
    constexpr std::size_t line = voxel_rows::maxAcross;
    auto const& page = volume_->pages[0];
    return count == line && reinterpret_cast<std::uintptr_t>(target) % (line * sizeof(float)) == 0 &&
           page.extents[0] % line == 0 && page.data.size() >= cachedBytes / sizeof(float);
  }

  std::size_t rowLength_ = wholeVectors(width);
  std::vector<float> values_;  // two rows for each slice
  std::optional<RowsAcross> waiting_;
};

}  // namespace

std::unique_ptr<SliceInput> inputOf(TypedVolume const& volume, int width, int height) {
  if (volume.axes.slice == 0) return std::make_unique<PackedInput>(volume, width, height);
  return std::make_unique<TypedInput>(volume, width, height);
}

std::unique_ptr<SliceInput> inputOf(DatasetSlice const& slice, int width, int height) {
  return std::make_unique<DatasetInput>(slice, width, height);
}

std::unique_ptr<SliceOutput> outputOf(TImageDataset<float, 3>* volume, Transform::SliceAxes axes, int width,
                                      int height) {
  if (axes.slice == 0) return std::make_unique<AcrossOutput>(volume, axes, width, height);
  return std::make_unique<TypedOutput>(volume, axes, width, height);
}

std::unique_ptr<SliceOutput> outputOf(DatasetSlice const& slice, int width, int height) {
  return std::make_unique<DatasetOutput>(slice, width, height);
}

}  // namespace lorb::rows
