#pragma once

#include <lorb/algorithm/ColumnCounts.h>
#include <lorb/algorithm/EuclideanDistanceTransform2D.h>
#include <lorb/algorithm/alignedArray.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <type_traits>
#include <vector>

/// Slices as rows in plain buffers. Views are turned into these where they come in, so that element type and
/// plane matter nowhere else.
namespace lorb {

/// The slices of a volume.
class Slices {
 public:
  Slices(void const* source, int sliceWidth, int sliceHeight)
      : volume(source), width(sliceWidth), height(sliceHeight) {}
  virtual ~Slices() = default;

  /// inside[k] is 1 where the value of voxel (begin + k, j) of a slice is greater than zero, 0 elsewhere, NaN
  /// included.
  virtual void getInside(std::int64_t slice, int j, int begin, int count, std::uint8_t* inside) = 0;

  /// Makes voxel (i, j) of a slice the view's last addressed one.
  virtual void moveTo(std::int64_t /*slice*/, int /*i*/, int /*j*/) {}

  /// Whether the first voxel of a slice is inside.
  bool startsInside(std::int64_t slice);

  void const* const volume;
  int const width;
  int const height;
};

/// Slices on their way in.
class SliceInput : public Slices {
 public:
  using Slices::Slices;

  /// Hands all rows of `count` slices from `first` on to `slices`. What is read ahead for later calls ends
  /// with slice `readable` − 1.
  virtual void enter(std::int64_t first, int count, std::int64_t readable,
                     std::vector<ColumnCounts>& slices) = 0;
};

/// Slices on their way out.
class SliceOutput : public Slices {
 public:
  using Solve = std::function<void(int s, float* values)>;

  using Slices::Slices;

  /// Writes the voxels (begin, j) to (begin + count − 1, j) of a slice.
  virtual void set(std::int64_t slice, int j, int begin, int count, float const* values) = 0;

  /// Whether a slice of this size can be written: the volume has its voxels, or throws where it has not.
  virtual bool holds(std::int64_t slice, int sliceWidth, int sliceHeight) const = 0;

  /// Whether rows can be written in any order and a float comes back with the bits it was written with.
  virtual bool takesFloats() const = 0;

  /// How many slices up to `end` are worked on together at most, so that memory is read and written in longer
  /// pieces than the row of one slice.
  virtual int slabSize(std::int64_t /*end*/) const { return 1; }

  /// How many slices from `first` on go into one slab of at most `most`.
  virtual int slabLength(std::int64_t /*first*/, int most) const { return most; }

  /// Writes row `j` of `count` slices from `first` on; `solve(s, values)` provides that of slice first + s.
  /// Rows come from the last to the first.
  virtual void leave(std::int64_t first, int j, int count, Solve const& solve) = 0;
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
  template <class T>
  void setRow(int j, int begin, int count, T const* values) {
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

class DatasetInput final : public SliceInput {
 public:
  DatasetInput(DatasetSlice const& source, int sliceWidth, int sliceHeight);
  ~DatasetInput() override;
  void moveTo(std::int64_t slice, int i, int j) override;
  void getInside(std::int64_t slice, int j, int begin, int count, std::uint8_t* inside) override;
  void enter(std::int64_t first, int count, std::int64_t readable,
             std::vector<ColumnCounts>& slices) override;

 private:
  DatasetSlice slice_;
  std::vector<std::uint8_t> flags_;
};

class DatasetOutput final : public SliceOutput {
 public:
  DatasetOutput(DatasetSlice const& target, int sliceWidth, int sliceHeight);
  ~DatasetOutput() override;
  void moveTo(std::int64_t slice, int i, int j) override;
  void getInside(std::int64_t slice, int j, int begin, int count, std::uint8_t* inside) override;
  void set(std::int64_t slice, int j, int begin, int count, float const* values) override;
  bool holds(std::int64_t /*slice*/, int /*sliceWidth*/, int /*sliceHeight*/) const override { return true; }
  bool takesFloats() const override;
  void leave(std::int64_t first, int j, int count, Solve const& solve) override;

 private:
  DatasetSlice slice_;
  std::vector<float> values_;
};

// --- typed volumes -----------------------------------------------------------------------------------

/// The voxels of a typed volume without their type.
struct Voxels {
  void const* first;  // of a `bool` volume, its first word
  TypeID type;
  std::uint64_t strides[3];  // in voxels, along x, y and z
};

/// Finds the voxels of a volume, which need not be there before.
using VoxelsOf = Voxels (*)(void const* volume);

template <class T>
Voxels voxelsOf(void const* volume) {
  auto const& page = static_cast<TImageDataset<T, 3> const*>(volume)->pages[0];
  Voxels voxels = {nullptr, typeIDOf<T>, {1, page.extents[0], page.extents[0] * page.extents[1]}};
  if constexpr (std::is_same_v<T, bool>) {
    voxels.first = page.data.begin()._M_p;
  } else {
    voxels.first = page.data.data();
  }
  return voxels;
}

/// Rows of slices that do not share cache lines.
class TypedInput : public SliceInput {
 public:
  TypedInput(void const* source, VoxelsOf findVoxels, EuclideanDistanceTransform2D::SliceAxes axes,
             int sliceWidth, int sliceHeight);
  ~TypedInput() override;
  void getInside(std::int64_t slice, int j, int begin, int count, std::uint8_t* inside) override;
  void enter(std::int64_t first, int count, std::int64_t readable,
             std::vector<ColumnCounts>& slices) override;

 protected:
  VoxelsOf findVoxels_;
  EuclideanDistanceTransform2D::SliceAxes axes_;

 private:
  std::vector<std::uint8_t> flags_;
};

/// Slices that share cache lines: lines are read once for as many slices as they hold, where rows are whole
/// lines, and kept as a bit a slice. Bit b of pack k is that of slice packedBegin_ + 16 k + b.
class PackedInput final : public TypedInput {
 public:
  using TypedInput::TypedInput;
  ~PackedInput() override;
  void enter(std::int64_t first, int count, std::int64_t readable,
             std::vector<ColumnCounts>& slices) override;

 private:
  void pack(std::int64_t first, std::int64_t readable);

  std::size_t rowLength_ = wholeVectors(width);
  std::size_t partLength_ = rowLength_ * static_cast<std::size_t>(height);
  std::int64_t packedBegin_ = 0;
  std::int64_t packedEnd_ = std::numeric_limits<std::int64_t>::min();
  AlignedArray<std::uint16_t> packs_;
};

/// Rows of slices that do not share cache lines.
class TypedOutput : public SliceOutput {
 public:
  TypedOutput(TImageDataset<float, 3>* target, EuclideanDistanceTransform2D::SliceAxes axes, int sliceWidth,
              int sliceHeight);
  void getInside(std::int64_t slice, int j, int begin, int count, std::uint8_t* inside) override;
  void set(std::int64_t slice, int j, int begin, int count, float const* values) override;
  bool holds(std::int64_t slice, int sliceWidth, int sliceHeight) const override;
  bool takesFloats() const override;
  int slabSize(std::int64_t end) const override;
  void leave(std::int64_t first, int j, int count, Solve const& solve) override;

 protected:
  float* address(std::int64_t slice, int j, int i = 0) const;

  /// Slices beyond the volume lie in the places of others, and have to be written after them.
  bool holdsSlicesUpTo(std::int64_t end) const;

  TImageDataset<float, 3>* target_;
  EuclideanDistanceTransform2D::SliceAxes axes_;
};

/// Rows of neighbouring slices on their way into a volume in which they lie side by side: element i of row s
/// goes to target[i * stride + s].
struct RowsAcross {
  void storeShare(std::size_t number) const;
  /// Asks for the lines of a share, unless they need not be read.
  void fetchShare(std::size_t number) const;

  float const* values;
  std::size_t rowLength;
  std::size_t width;
  std::size_t count;
  float* target;
  std::size_t stride;
  bool pastCache;
  std::size_t shareLength;  // such that `count` shares make up a row; the last may be shorter or empty
};

/// Slices that share cache lines.
class AcrossOutput final : public TypedOutput {
 public:
  using TypedOutput::TypedOutput;
  ~AcrossOutput() override;
  int slabSize(std::int64_t end) const override;
  int slabLength(std::int64_t first, int most) const override;
  void leave(std::int64_t first, int j, int count, Solve const& solve) override;

 private:
  std::size_t shareLength(std::size_t count) const;
  bool goesPastCache(float const* target, std::size_t count) const;

  std::size_t rowLength_ = wholeVectors(width);
  std::vector<float> values_;  // two rows for each slice
  std::optional<RowsAcross> waiting_;
};

// --- views -------------------------------------------------------------------------------------------

template <class View>
concept GenericView = requires(View const& view) {
  view.position;
};

template <GenericView View>
DatasetInput inputOf(View const& view) {
  return {DatasetSlice(view), view.width, view.height};
}

template <GenericView View>
DatasetOutput outputOf(View const& view) {
  return {DatasetSlice(view), view.width, view.height};
}

template <class T>
VoxelsOf voxelsFinder(TImageDataset<T, 3> const* /*volume*/) {
  return &voxelsOf<T>;
}

/// Slices of constant x share cache lines.
template <class View>
auto inputOf(View const& view) {
  using Transform = EuclideanDistanceTransform2D;
  using Input = std::conditional_t<View::orientation == Transform::planeYZ, PackedInput, TypedInput>;
  return Input(view.dataset, voxelsFinder(view.dataset), Transform::axesOf(View::orientation), view.width,
               view.height);
}

template <class View>
auto outputOf(View const& view) {
  using Transform = EuclideanDistanceTransform2D;
  using Output = std::conditional_t<View::orientation == Transform::planeYZ, AcrossOutput, TypedOutput>;
  return Output(view.dataset, Transform::axesOf(View::orientation), view.width, view.height);
}

}  // namespace lorb
