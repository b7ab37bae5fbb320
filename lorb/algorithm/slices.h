#pragma once

#include <lorb/algorithm/EuclideanDistanceTransform2D.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <type_traits>
#include <vector>

/// Slices without element type and plane. Views become readers and writers where they come in; everything
/// behind them is written once.
namespace lorb {

/// Voxels in memory, one every `stride` elements from number `first` on. `voxels` is where the voxels of the
/// volume begin, of a `bool` volume their first word.
struct VoxelRow {
  TypeID type;
  void const* voxels;
  std::size_t first;
  std::size_t stride;

  /// Sets inside[k] to 1 where voxel k is greater than zero, to 0 elsewhere, NaN included.
  void getInside(std::size_t count, std::uint8_t* inside) const;
};

/// The voxels of a typed volume as seen through a view.
struct VoxelGrid {
  TypeID type;
  void const* voxels;
  std::size_t strideI, strideJ, strideSlice;

  std::size_t indexOf(std::int64_t slice, int i, int j) const {
    return static_cast<std::size_t>(slice) * strideSlice + static_cast<std::size_t>(j) * strideJ +
           static_cast<std::size_t>(i) * strideI;
  }
};

class SliceReader {
 public:
  SliceReader(void const* source, int sliceWidth, int sliceHeight)
      : volume(source), width(sliceWidth), height(sliceHeight) {}
  virtual ~SliceReader() = default;

  /// The voxels (begin, j) to (begin + count − 1, j) of a slice; valid until the next call.
  virtual VoxelRow row(std::int64_t slice, int j, int begin, int count) = 0;

  /// All slices at once; nothing for volumes that are read row by row.
  virtual std::optional<VoxelGrid> grid() const { return std::nullopt; }

  /// Makes voxel (i, j) of a slice the view's last addressed one.
  virtual void moveTo(std::int64_t /*slice*/, int /*i*/, int /*j*/) {}

  /// Whether voxel (0, 0) of a slice is inside.
  bool startsInside(std::int64_t slice);

  void const* const volume;
  int const width;
  int const height;
};

class SliceWriter : public SliceReader {
 public:
  using SliceReader::SliceReader;

  /// Writes the voxels (begin, j) to (begin + count − 1, j) of a slice.
  virtual void write(std::int64_t slice, int j, int begin, int count, float const* values) = 0;

  /// Whether slices of this size can be written up to slice `end`: the volume has their voxels, or throws
  /// where it has not.
  virtual bool holds(int sliceWidth, int sliceHeight, std::int64_t end) const = 0;

  /// Whether every voxel up to slice `end` has a place of its own, that gives back a float with the bits with
  /// which it was written.
  virtual bool isPlainFloatGrid(std::int64_t end) const = 0;
};

// --- generic datasets --------------------------------------------------------------------------------

/// A slice of a generic dataset, a row of which is read and written by one library call. It checks the
/// position once. The view must last, since its position is rewritten.
class DatasetSlice {
 public:
  template <class View>
  explicit DatasetSlice(View const& view)
      : dataset(view.dataset),
        slice(view.slice),
        axes_(EuclideanDistanceTransform2D::axesOf(View::orientation)),
        position_(view.position) {}

  void getRow(int j, int begin, int count, float* values) {
    dataset->getRow(moveTo(begin, j), axes_.i, count, values);
  }
  void setRow(int j, int begin, int count, float const* values) {
    dataset->setRow(moveTo(begin, j), axes_.i, count, values);
  }
  DatasetCoordinates const& moveTo(int i, int j) {
    position_[axes_.i] = i;
    position_[axes_.j] = j;
    position_[axes_.slice] = static_cast<int>(slice);
    return position_;
  }

  Dataset* const dataset;
  std::int64_t slice;

 private:
  EuclideanDistanceTransform2D::SliceAxes axes_;
  DatasetCoordinates& position_;
};

/// Input or output; what an output's element type makes of floats is the dataset's affair.
class DatasetWriter final : public SliceWriter {
 public:
  DatasetWriter(DatasetSlice const& slice, int sliceWidth, int sliceHeight)
      : SliceWriter(slice.dataset, sliceWidth, sliceHeight), slice_(slice) {}

  VoxelRow row(std::int64_t slice, int j, int begin, int count) override;
  void moveTo(std::int64_t slice, int i, int j) override;
  void write(std::int64_t slice, int j, int begin, int count, float const* values) override;
  bool holds(int /*sliceWidth*/, int /*sliceHeight*/, std::int64_t /*end*/) const override { return true; }
  bool isPlainFloatGrid(std::int64_t end) const override;

 private:
  DatasetSlice slice_;
  std::array<float, 512> shortRow_;
  std::vector<float> longRow_;
};

// --- typed volumes -----------------------------------------------------------------------------------

/// Where the voxels of a volume lie. Found anew for each use, since volumes need not have any.
using GridOf = VoxelGrid (*)(void const* volume);

template <class View, class T>
VoxelGrid gridOf(void const* volume) {
  auto const& page = static_cast<TImageDataset<T, 3> const*>(volume)->pages[0];
  std::array<std::size_t, 3> const strides = {1, page.extents[0], page.extents[0] * page.extents[1]};
  constexpr auto axes = EuclideanDistanceTransform2D::axesOf(View::orientation);
  VoxelGrid grid = {typeIDOf<T>, nullptr, strides[axes.i], strides[axes.j], strides[axes.slice]};
  if constexpr (std::is_same_v<T, bool>) {
    grid.voxels = page.data.begin()._M_p;
  } else {
    grid.voxels = page.data.data();
  }
  return grid;
}

class TypedReader final : public SliceReader {
 public:
  TypedReader(void const* source, GridOf gridOfVolume, int sliceWidth, int sliceHeight)
      : SliceReader(source, sliceWidth, sliceHeight), gridOf_(gridOfVolume) {}

  VoxelRow row(std::int64_t slice, int j, int begin, int count) override;
  std::optional<VoxelGrid> grid() const override { return gridOf_(volume); }

 private:
  GridOf gridOf_;
};

class TypedWriter final : public SliceWriter {
 public:
  TypedWriter(TImageDataset<float, 3>* target, GridOf gridOfVolume,
              EuclideanDistanceTransform2D::SliceAxes axes, int sliceWidth, int sliceHeight)
      : SliceWriter(target, sliceWidth, sliceHeight), target_(target), gridOf_(gridOfVolume), axes_(axes) {}

  VoxelRow row(std::int64_t slice, int j, int begin, int count) override;
  std::optional<VoxelGrid> grid() const override { return gridOf_(target_); }
  void write(std::int64_t slice, int j, int begin, int count, float const* values) override;
  bool holds(int sliceWidth, int sliceHeight, std::int64_t end) const override;
  bool isPlainFloatGrid(std::int64_t end) const override;

 private:
  TImageDataset<float, 3>* target_;
  GridOf gridOf_;
  EuclideanDistanceTransform2D::SliceAxes axes_;
};

// --- views -------------------------------------------------------------------------------------------

template <class View>
concept GenericView = requires(View const& view) {
  view.position;
};

template <GenericView View>
DatasetWriter readerOf(View const& view) {
  return {DatasetSlice(view), view.width, view.height};
}

template <GenericView View>
DatasetWriter writerOf(View const& view) {
  return {DatasetSlice(view), view.width, view.height};
}

template <template <class> class View, class T>
TypedReader readerOf(View<T> const& view) {
  return {view.dataset, &gridOf<View<T>, T>, view.width, view.height};
}

template <template <class> class View>
TypedWriter writerOf(View<float> const& view) {
  using Transform = EuclideanDistanceTransform2D;
  return {view.dataset, &gridOf<View<float>, float>, Transform::axesOf(View<float>::orientation), view.width,
          view.height};
}

}  // namespace lorb
