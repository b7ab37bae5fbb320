#pragma once

#include <lorb/dataset/Coordinates.h>
#include <lorb/dataset/Dataset.h>
#include <lorb/dataset/LORBBase.h>
#include <lorb/dataset/TImageDataset.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace lorb {

/// Exact signed Euclidean distance transform, slice by slice.
///
/// For each two-dimensional slice (XY, XZ or YZ) of a three-dimensional volume, a voxel whose value is
/// greater than zero is inside the object and every other one, NaN included, is outside. Inside voxels
/// receive minus the distance to the nearest outside voxel of the same slice, outside voxels plus the
/// distance to the nearest inside voxel; distances run from voxel centre to voxel centre, in voxels.
/// No voxel is 0: next to the boundary stand −1 and +1.
///
/// A slice without a boundary is filled with −N or +N, N = width² + height², by the sign of its first
/// voxel. Row 0 of a slice does not count as evidence of a boundary, so a slice of height 1, or one
/// that is uniform but for row 0, is filled as well.
///
///     lorb::TImageDataset<unsigned char, 3> organ({512, 512, 90});
///     lorb::TImageDataset<float, 3> distance({512, 512, 90});
///     lorb::EuclideanDistanceTransform2D transform;
///     transform.computeTwoSided(&organ, &distance);
///
/// Cost: nearly linear in the voxels. Beside the volumes it takes one slice of 32-bit work values; about 1 kB
/// a row of a slice; a bit a voxel of one slice (XY, and datasets on any plane), of eight (XZ) or of all
/// slices that are computed (YZ), and for YZ 16 bytes a voxel of a slice more; and a table of N + 1 floats,
/// which the object keeps and only enlarges.
///
/// Distances are exact while 2N < 2²⁴; beyond, squared column distances are rounded to single precision. N
/// must not exceed 2³¹ − 1.
///
/// One object serves one computation at a time; separate objects are independent. The caller sees to
/// equal extents of input and output, which may be the same volume. Exceptions of allocation and of
/// generic datasets pass through; slices finished before keep their values.
///
/// The result is that of: A. Meijster, J. B. T. M. Roerdink, W. H. Hesselink, "A General Algorithm for
/// Computing Distance Transforms in Linear Time", 2000, doi:10.1007/0-306-47025-X_36. docs/algorithm.md says
/// how it is found.
class LORB_EXPORT EuclideanDistanceTransform2D {
 public:
  /// The plane in which the slices lie.
  enum LORB_EXPORT PlaneOrientationE : std::int32_t {
    planeYZ = 0,  ///< slices of constant x
    planeXZ = 1,  ///< slices of constant y
    planeXY = 2,  ///< slices of constant z
  };

  /// Single-precision square roots of the integers 0 to `maxIndex`.
  struct LORB_EXPORT SqrtLookUpTable {
    SqrtLookUpTable() = default;
    SqrtLookUpTable(SqrtLookUpTable const&) = delete;
    SqrtLookUpTable& operator=(SqrtLookUpTable const&) = delete;
    ~SqrtLookUpTable();

    /// Makes the table hold the entries 0 to `n`. It never shrinks; nothing happens when it is already
    /// that large. Above 2²⁴ an entry is the root of its index rounded to float. When the memory can't
    /// be had the exception passes on and the table is as it was.
    void init(int n);

    float* values = nullptr;
    int maxIndex = -1;
  };

  /// The volume axes (0 x, 1 y, 2 z) that a slice's indices i and j and its number run along.
  struct SliceAxes {
    int i, j, slice;
  };
  static constexpr SliceAxes axesOf(PlaneOrientationE plane) {
    return plane == planeXY ? SliceAxes{0, 1, 2} : plane == planeXZ ? SliceAxes{0, 2, 1} : SliceAxes{1, 2, 0};
  }

  // Views show slice `slice` of a volume as a grid of `width` × `height` voxels (i, j). They own nothing and
  // trust their extents. Each plane has views of its own; they differ in the order of (i, j, slice) alone.

  /// Slices of generic datasets, read and written as floats. An index outside the dataset throws
  /// `std::out_of_range`. Every access rewrites `position`, so one view serves one thread.
  struct LORB_EXPORT sliceXY {
    static constexpr PlaneOrientationE orientation = planeXY;

    float get(int i, int j) const { return dataset->getElement<float>(moveTo(position, i, j, slice)); }
    void set(int i, int j, float value) const {
      dataset->setElement<float>(moveTo(position, i, j, slice), value);
    }

    Dataset* dataset;
    int width, height, sliceCount, slice;
    mutable DatasetCoordinates position;
  };
  struct LORB_EXPORT sliceXZ {
    static constexpr PlaneOrientationE orientation = planeXZ;

    float get(int i, int j) const { return dataset->getElement<float>(moveTo(position, i, slice, j)); }
    void set(int i, int j, float value) const {
      dataset->setElement<float>(moveTo(position, i, slice, j), value);
    }

    Dataset* dataset;
    int width, height, sliceCount, slice;
    mutable DatasetCoordinates position;
  };
  struct LORB_EXPORT sliceYZ {
    static constexpr PlaneOrientationE orientation = planeYZ;

    float get(int i, int j) const { return dataset->getElement<float>(moveTo(position, slice, i, j)); }
    void set(int i, int j, float value) const {
      dataset->setElement<float>(moveTo(position, slice, i, j), value);
    }

    Dataset* dataset;
    int width, height, sliceCount, slice;
    mutable DatasetCoordinates position;
  };

  /// Slices of typed volumes, read in their element type. `index(i, j)` is a voxel's place in
  /// the first page. Indices are not checked.
  template <class T>
  struct LORB_EXPORT CIsliceXY {
    static constexpr PlaneOrientationE orientation = planeXY;

    T get(int i, int j) const { return dataset->pages[0].data[index(i, j)]; }
    std::size_t index(int i, int j) const { return voxel(*dataset, i, j, slice); }

    TImageDataset<T, 3> const* dataset;
    int width, height, sliceCount, slice;
  };
  template <class T>
  struct LORB_EXPORT CIsliceXZ {
    static constexpr PlaneOrientationE orientation = planeXZ;

    T get(int i, int j) const { return dataset->pages[0].data[index(i, j)]; }
    std::size_t index(int i, int j) const { return voxel(*dataset, i, slice, j); }

    TImageDataset<T, 3> const* dataset;
    int width, height, sliceCount, slice;
  };
  template <class T>
  struct LORB_EXPORT CIsliceYZ {
    static constexpr PlaneOrientationE orientation = planeYZ;

    T get(int i, int j) const { return dataset->pages[0].data[index(i, j)]; }
    std::size_t index(int i, int j) const { return voxel(*dataset, slice, i, j); }

    TImageDataset<T, 3> const* dataset;
    int width, height, sliceCount, slice;
  };

  /// The same, read and written.
  template <class T>
  struct LORB_EXPORT IsliceXY {
    static constexpr PlaneOrientationE orientation = planeXY;

    T get(int i, int j) const { return dataset->pages[0].data[index(i, j)]; }
    void set(int i, int j, float value) const { dataset->pages[0].data[index(i, j)] = value; }
    std::size_t index(int i, int j) const { return voxel(*dataset, i, j, slice); }

    TImageDataset<T, 3>* dataset;
    int width, height, sliceCount, slice;
  };
  template <class T>
  struct LORB_EXPORT IsliceXZ {
    static constexpr PlaneOrientationE orientation = planeXZ;

    T get(int i, int j) const { return dataset->pages[0].data[index(i, j)]; }
    void set(int i, int j, float value) const { dataset->pages[0].data[index(i, j)] = value; }
    std::size_t index(int i, int j) const { return voxel(*dataset, i, slice, j); }

    TImageDataset<T, 3>* dataset;
    int width, height, sliceCount, slice;
  };
  template <class T>
  struct LORB_EXPORT IsliceYZ {
    static constexpr PlaneOrientationE orientation = planeYZ;

    T get(int i, int j) const { return dataset->pages[0].data[index(i, j)]; }
    void set(int i, int j, float value) const { dataset->pages[0].data[index(i, j)] = value; }
    std::size_t index(int i, int j) const { return voxel(*dataset, slice, i, j); }

    TImageDataset<T, 3>* dataset;
    int width, height, sliceCount, slice;
  };

  /// The views of a plane that is known at compile time.
  template <PlaneOrientationE Plane, class XY, class XZ, class YZ>
  using OfPlane = std::conditional_t<Plane == planeXY, XY, std::conditional_t<Plane == planeXZ, XZ, YZ>>;
  template <PlaneOrientationE Plane>
  using GenericSlice = OfPlane<Plane, sliceXY, sliceXZ, sliceYZ>;
  template <PlaneOrientationE Plane, class T>
  using ConstSlice = OfPlane<Plane, CIsliceXY<T>, CIsliceXZ<T>, CIsliceYZ<T>>;
  template <PlaneOrientationE Plane, class T>
  using MutableSlice = OfPlane<Plane, IsliceXY<T>, IsliceXZ<T>, IsliceYZ<T>>;

  /// Slices lie in the XY plane until `setPlane` says otherwise.
  EuclideanDistanceTransform2D();
  EuclideanDistanceTransform2D(EuclideanDistanceTransform2D const&) = delete;
  EuclideanDistanceTransform2D& operator=(EuclideanDistanceTransform2D const&) = delete;

  /// Gives up the reference on `referencedObject`, if set, and destroys that object when it was the
  /// last one. An exception on the way ends the program.
  ~EuclideanDistanceTransform2D();

  /// Chooses the plane of all later computations. A value that names no plane is stored as it is and
  /// makes every computation return without touching the output.
  void setPlane(PlaneOrientationE const& orientation);

  /// Not maintained: prints a line to that effect on standard error, touches nothing, returns false.
  bool compute(Dataset* input, Dataset* output);

  /// Every slice of a generic dataset. Does nothing when either pointer is null; prints a message and
  /// does nothing when the output's elements are not of a floating-point type.
  void computeTwoSided(Dataset* input, Dataset* output);

  /// Slice `slice` alone of a generic dataset. Nothing is checked: neither pointer may be null.
  /// A slice outside the dataset throws `std::out_of_range`.
  void computeTwoSided(Dataset const* input, Dataset* output, int slice);

  /// Slice `slice` alone of a typed volume. Neither pointers nor slice are checked. Does nothing when
  /// the input's `type_id()` names no element type.
  void computeTwoSided(ImageDataset const* input, TImageDataset<float, 3>* output, int slice);

  /// Every slice of a typed volume. Does nothing when either pointer is null or when the input's
  /// `type_id()` names no element type.
  void computeTwoSided(ImageDataset const* input, TImageDataset<float, 3>* output);

  /// The typed computations above, for an element type known at compile time.
  template <class T>
  void computeTwoSidedT(TImageDataset<T, 3> const* input, TImageDataset<float, 3>* output);
  template <class T>
  void computeTwoSidedT(TImageDataset<T, 3> const* input, TImageDataset<float, 3>* output, int slice);

  /// Every slice from `in.slice` up to `in.sliceCount`, `out.slice` advancing in step. The views keep
  /// their values for the caller. One scratch dataset of `in.width` × `in.height` elements of type
  /// `elementUInt32` is made and released, and the table is grown once, whatever the slices.
  template <class In, class Out>
  void computeAllSlicesTwoSided(In in, Out out);

  /// Slice `slice` alone; scratch and table as above.
  template <class In, class Out>
  void computeSingleSliceTwoSided(In in, Out out, int slice);

  /// Distances of the inside voxels of one slice, from `in.slice` to `out.slice`.
  ///
  /// Returns true when rows 1 and up of the slice hold inside and outside voxels; `out` then holds
  /// minus the distance at inside voxels and 1 at outside voxels. Otherwise returns false and leaves
  /// `out` alone. Either way, unless the width is below 1, `scratch` (at least width × height, able to
  /// hold every whole number up to 2N) holds the squared distance of every inside voxel to the nearest
  /// outside voxel of its column, N or more where there is none, and 0 at outside voxels.
  ///
  /// `sqrtTable` must reach N − 1. Throws `std::bad_alloc` with `out` untouched.
  template <class In, class Scratch, class Out>
  bool twoSidedIn(In const& in, Scratch const& scratch, Out const& out);

  /// Distances of the voxels of one slice of `out` that are greater than 0, to the nearest one that is
  /// not; the others stay as they are. To be called when `twoSidedIn` has returned true. `scratch` then
  /// holds the squared column distances, as above.
  template <class Out, class Scratch>
  void twoSidedOut(Out const& out, Scratch const& scratch);

  PlaneOrientationE plane;
  SharedObject* referencedObject;
  bool flag;
  SqrtLookUpTable sqrtTable;

 private:
  /// Where voxel (x, y, z) lies in the first page of a volume.
  template <class Volume>
  static std::size_t voxel(Volume const& volume, std::int64_t x, std::int64_t y, std::int64_t z) {
    auto const& extents = volume.pages[0].extents;
    return (static_cast<std::uint64_t>(z) * extents[1] + static_cast<std::uint64_t>(y)) * extents[0] +
           static_cast<std::uint64_t>(x);
  }

  static DatasetCoordinates const& moveTo(DatasetCoordinates& position, int x, int y, int z) {
    position[0] = x;
    position[1] = y;
    position[2] = z;
    return position;
  }
};

static_assert(sizeof(EuclideanDistanceTransform2D) == 40);
static_assert(std::is_standard_layout_v<EuclideanDistanceTransform2D>);
static_assert(offsetof(EuclideanDistanceTransform2D, plane) == 0);
static_assert(offsetof(EuclideanDistanceTransform2D, referencedObject) == 8);
static_assert(offsetof(EuclideanDistanceTransform2D, flag) == 16);
static_assert(offsetof(EuclideanDistanceTransform2D, sqrtTable) == 24);
static_assert(sizeof(EuclideanDistanceTransform2D::SqrtLookUpTable) == 16);
static_assert(offsetof(EuclideanDistanceTransform2D::SqrtLookUpTable, maxIndex) == 8);
static_assert(std::is_aggregate_v<EuclideanDistanceTransform2D::sliceXY>);
static_assert(sizeof(EuclideanDistanceTransform2D::sliceXY) == 56);
static_assert(std::is_aggregate_v<EuclideanDistanceTransform2D::CIsliceXY<bool>>);
static_assert(std::is_standard_layout_v<EuclideanDistanceTransform2D::CIsliceXY<bool>>);
static_assert(sizeof(EuclideanDistanceTransform2D::CIsliceXY<bool>) == 24);
static_assert(offsetof(EuclideanDistanceTransform2D::CIsliceXY<bool>, slice) == 20);

// What the library is compiled for: every element type on every plane, and generic datasets.
// `LORB_INSTANCE` is what each instantiation begins with: here a declaration, in a source of the
// library the definition.
#define LORB_INSTANTIATE_VIEWS(In, Out)                                                                     \
  LORB_INSTANCE bool EuclideanDistanceTransform2D::twoSidedIn(EuclideanDistanceTransform2D::In const&,      \
                                                              EuclideanDistanceTransform2D::sliceXY const&, \
                                                              EuclideanDistanceTransform2D::Out const&);    \
  LORB_INSTANCE void EuclideanDistanceTransform2D::computeAllSlicesTwoSided(                                \
      EuclideanDistanceTransform2D::In, EuclideanDistanceTransform2D::Out);                                 \
  LORB_INSTANCE void EuclideanDistanceTransform2D::computeSingleSliceTwoSided(                              \
      EuclideanDistanceTransform2D::In, EuclideanDistanceTransform2D::Out, int);
#define LORB_INSTANTIATE_TYPED_VIEWS(id, element, T, name) \
  LORB_INSTANTIATE_VIEWS(CIsliceXY<T>, IsliceXY<float>)    \
  LORB_INSTANTIATE_VIEWS(CIsliceXZ<T>, IsliceXZ<float>)    \
  LORB_INSTANTIATE_VIEWS(CIsliceYZ<T>, IsliceYZ<float>)
#define LORB_INSTANTIATE_OUTPUT_VIEW(Out)                       \
  LORB_INSTANCE void EuclideanDistanceTransform2D::twoSidedOut( \
      EuclideanDistanceTransform2D::Out const&, EuclideanDistanceTransform2D::sliceXY const&);
#define LORB_INSTANTIATE_SLICE_WORK                        \
  LORB_FOR_EACH_ELEMENT_TYPE(LORB_INSTANTIATE_TYPED_VIEWS) \
  LORB_INSTANTIATE_VIEWS(sliceXY, sliceXY)                 \
  LORB_INSTANTIATE_VIEWS(sliceXZ, sliceXZ)                 \
  LORB_INSTANTIATE_VIEWS(sliceYZ, sliceYZ)                 \
  LORB_INSTANTIATE_OUTPUT_VIEW(IsliceXY<float>)            \
  LORB_INSTANTIATE_OUTPUT_VIEW(IsliceXZ<float>)            \
  LORB_INSTANTIATE_OUTPUT_VIEW(IsliceYZ<float>)            \
  LORB_INSTANTIATE_OUTPUT_VIEW(sliceXY)                    \
  LORB_INSTANTIATE_OUTPUT_VIEW(sliceXZ)                    \
  LORB_INSTANTIATE_OUTPUT_VIEW(sliceYZ)
#define LORB_INSTANTIATE_VOLUME_WORK(id, element, T, name)                                      \
  LORB_INSTANCE void EuclideanDistanceTransform2D::computeTwoSidedT(TImageDataset<T, 3> const*, \
                                                                    TImageDataset<float, 3>*);  \
  LORB_INSTANCE void EuclideanDistanceTransform2D::computeTwoSidedT(TImageDataset<T, 3> const*, \
                                                                    TImageDataset<float, 3>*, int);

#define LORB_INSTANCE extern template
LORB_INSTANTIATE_SLICE_WORK
LORB_FOR_EACH_ELEMENT_TYPE(LORB_INSTANTIATE_VOLUME_WORK)
#undef LORB_INSTANCE

}  // namespace lorb
