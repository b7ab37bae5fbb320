#pragma once

#include <lorb/algorithm/ColumnCounts.h>
#include <lorb/algorithm/EuclideanDistanceTransform2D.h>
#include <lorb/algorithm/voxelRows.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

/// Slices as rows in plain buffers. Views are turned into these where they come in, so that element type and
/// plane matter nowhere else.
namespace lorb {

/// The slices of a volume on their way in.
class SliceInput {
 public:
  SliceInput(void const* source, int sliceWidth, int sliceHeight)
      : volume(source), width(sliceWidth), height(sliceHeight) {}
  virtual ~SliceInput() = default;

  /// inside[k] is 1 where the value of voxel (begin + k, j) of a slice is greater than zero, 0 elsewhere, NaN
  /// included.
  virtual void getInside(std::int64_t slice, int j, int begin, int count, std::uint8_t* inside) = 0;

  /// Hands all rows of `count` slices from `first` on to `slices`. What is read ahead for later calls ends
  /// with slice `readable` − 1.
  virtual void enter(std::int64_t first, int count, std::int64_t readable,
                     std::vector<ColumnCounts>& slices) = 0;

  /// Whether the first voxel of a slice is inside.
  bool startsInside(std::int64_t slice) {
    std::uint8_t inside = 0;
    getInside(slice, 0, 0, 1, &inside);
    return inside != 0;
  }

  void const* const volume;
  int const width;
  int const height;
};

/// The slices of a volume on their way out.
class SliceOutput {
 public:
  using Solve = std::function<void(int s, float* values)>;

  SliceOutput(void const* target, int sliceWidth, int sliceHeight)
      : volume(target), width(sliceWidth), height(sliceHeight) {}
  virtual ~SliceOutput() = default;

  /// Writes the voxels (begin, j) to (begin + count − 1, j) of a slice.
  virtual void set(std::int64_t slice, int j, int begin, int count, float const* values) = 0;

  /// The same slices, to be read.
  virtual std::unique_ptr<SliceInput> written() const = 0;

  /// Whether positions outside the volume are noticed.
  virtual bool isChecked() const = 0;

  /// Whether rows can be written in any order and a float comes back with the bits it was written with.
  virtual bool takesFloats() const = 0;

  /// How many slices at most are worked on together, so that memory is read and written in longer pieces than
  /// the row of one slice.
  virtual int slabSize() const { return 1; }

  /// How many slices from `first` on go into one slab of at most `most`.
  virtual int slabLength(std::int64_t /*first*/, int most) const { return most; }

  /// Writes row `j` of `count` slices from `first` on; `solve(s, values)` provides that of slice first + s.
  /// Rows come from the last to the first.
  virtual void leave(std::int64_t first, int j, int count, Solve const& solve) = 0;

  void const* const volume;
  int const width;
  int const height;
};

namespace rows {

using Transform = EuclideanDistanceTransform2D;

/// The voxels of a typed volume without their type.
struct Voxels {
  void const* first;  // of `bool` volumes, the word that holds it
  TypeID type;
  std::uint64_t strides[3];  // in voxels, along x, y and z
};

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

/// A volume that need not be there before it is asked for its voxels.
struct TypedVolume {
  void const* volume;
  Voxels (*voxelsOf)(void const* volume);
  Transform::SliceAxes axes;
};

/// A slice of a generic dataset, a row of which is read and written by one library call. It checks the
/// position once.
class DatasetSlice {
 public:
  template <Transform::PlaneOrientationE Plane>
  explicit DatasetSlice(Transform::GenericSlice<Plane> const& view)
      : dataset(view.dataset), axes_(Transform::axesOf(Plane)), position_(view.position) {
    moveToSlice(view.slice);
  }

  void moveToSlice(std::int64_t slice) { position_[axes_.slice] = static_cast<int>(slice); }

  template <class T>
  void getRow(int j, int begin, int count, T* values) {
    dataset->getRow(moveTo(begin, j), axes_.i, count, values);
  }
  template <class T>
  void setRow(int j, int begin, int count, T const* values) {
    dataset->setRow(moveTo(begin, j), axes_.i, count, values);
  }

  Dataset* const dataset;

 private:
  DatasetCoordinates const& moveTo(int i, int j) {
    position_[axes_.i] = i;
    position_[axes_.j] = j;
    return position_;
  }

  Transform::SliceAxes axes_;
  DatasetCoordinates position_;
};

std::unique_ptr<SliceInput> inputOf(TypedVolume const& volume, int width, int height);
std::unique_ptr<SliceInput> inputOf(DatasetSlice const& slice, int width, int height);
std::unique_ptr<SliceOutput> outputOf(TImageDataset<float, 3>* volume, Transform::SliceAxes axes, int width,
                                      int height);
std::unique_ptr<SliceOutput> outputOf(DatasetSlice const& slice, int width, int height);

}  // namespace rows

// --- views -------------------------------------------------------------------------------------------

template <EuclideanDistanceTransform2D::PlaneOrientationE Plane>
std::unique_ptr<SliceInput> inputOf(EuclideanDistanceTransform2D::GenericSlice<Plane> const& view) {
  return rows::inputOf(rows::DatasetSlice(view), view.width, view.height);
}

template <EuclideanDistanceTransform2D::PlaneOrientationE Plane, class T>
std::unique_ptr<SliceInput> inputOf(
    EuclideanDistanceTransform2D::TypedSlice<Plane, TImageDataset<T, 3> const> const& view) {
  constexpr auto axes = EuclideanDistanceTransform2D::axesOf(Plane);
  return rows::inputOf(rows::TypedVolume{view.dataset, &rows::voxelsOf<T>, axes}, view.width, view.height);
}

template <EuclideanDistanceTransform2D::PlaneOrientationE Plane>
std::unique_ptr<SliceOutput> outputOf(EuclideanDistanceTransform2D::GenericSlice<Plane> const& view) {
  return rows::outputOf(rows::DatasetSlice(view), view.width, view.height);
}

template <EuclideanDistanceTransform2D::PlaneOrientationE Plane>
std::unique_ptr<SliceOutput> outputOf(
    EuclideanDistanceTransform2D::TypedSlice<Plane, TImageDataset<float, 3>> const& view) {
  return rows::outputOf(view.dataset, EuclideanDistanceTransform2D::axesOf(Plane), view.width, view.height);
}

}  // namespace lorb
