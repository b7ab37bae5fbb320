// The transform object, its square-root table and the entry points that choose the element type and
// the plane. The work on slices is in twoSided.cpp.

#include <lorb/algorithm/EuclideanDistanceTransform2D.h>
#include <lorb/dataset/hugePages.h>

#include <algorithm>
#include <cmath>
#include <iostream>
#include <limits>
#include <new>

namespace lorb {

EuclideanDistanceTransform2D::SqrtLookUpTable::~SqrtLookUpTable() {
  delete[] values;
}

void EuclideanDistanceTransform2D::SqrtLookUpTable::init(int n) {
  if (maxIndex >= n) return;
  // The entry count of the largest int wraps to a negative number, which no array can have.
  if (n == std::numeric_limits<int>::max()) throw std::bad_array_new_length();
  float* const grown = new float[static_cast<std::size_t>(n) + 1];
  preferHugePages(grown, (static_cast<std::size_t>(n) + 1) * sizeof(float));
  std::copy_n(values, maxIndex + 1, grown);
  for (int k = maxIndex + 1; k <= n; ++k) grown[k] = std::sqrt(static_cast<float>(k));
  delete[] values;
  values = grown;
  maxIndex = n;
}

EuclideanDistanceTransform2D::EuclideanDistanceTransform2D() : referencedObject(nullptr), flag(false) {
  setPlane(planeXY);
}

EuclideanDistanceTransform2D::~EuclideanDistanceTransform2D() {
  if (referencedObject == nullptr) return;
  referencedObject->unrefer();
  if (referencedObject->isRefered()) return;
  delete referencedObject;
  referencedObject = nullptr;
}

void EuclideanDistanceTransform2D::setPlane(PlaneOrientationE const& orientation) {
  plane = orientation;
}

bool EuclideanDistanceTransform2D::compute(Dataset*, Dataset*) {
  std::cerr << "This part of the code is currently not maintained and needs revision." << std::endl;
  return false;
}

namespace {

using Transform = EuclideanDistanceTransform2D;

/// Calls `f` with the plane as a compile-time constant; not at all for a value that names no plane.
template <class F>
void visitPlane(Transform::PlaneOrientationE plane, F f) {
  switch (plane) {
    case Transform::planeXY:
      return f(std::integral_constant<Transform::PlaneOrientationE, Transform::planeXY>{});
    case Transform::planeXZ:
      return f(std::integral_constant<Transform::PlaneOrientationE, Transform::planeXZ>{});
    case Transform::planeYZ:
      return f(std::integral_constant<Transform::PlaneOrientationE, Transform::planeYZ>{});
  }
}

/// The first slice of a generic dataset.
template <Transform::PlaneOrientationE Plane>
Transform::GenericSlice<Plane> firstSlice(Dataset* dataset) {
  constexpr Transform::SliceAxes axes = Transform::axesOf(Plane);
  DatasetCoordinates const size = dataset->getSize();
  return {dataset, size[axes.i], size[axes.j], size[axes.slice], 0, DatasetCoordinates(0, 0, 0, 0, 0)};
}

/// The first slice of a typed volume; extents are narrowed to `int`.
template <class View, class Volume>
View firstSlice(Volume* volume) {
  constexpr Transform::SliceAxes axes = Transform::axesOf(View::orientation);
  std::uint64_t const* const size = volume->size_array();
  return {volume, static_cast<int>(size[axes.i]), static_cast<int>(size[axes.j]),
          static_cast<int>(size[axes.slice]), 0};
}

}  // namespace

void EuclideanDistanceTransform2D::computeTwoSided(Dataset* input, Dataset* output) {
  if (input == nullptr || output == nullptr) return;
  if (output->getElementType() < elementFloat) {
    std::cerr
        << " EuclideanDistanceTransform2D::computeTwoSided(): Element datatype of dataset needs to be a "
           "floating point type."
        << std::endl;
    return;
  }
  visitPlane(plane, [&](auto p) {
    auto const out = firstSlice<p>(output);
    computeAllSlicesTwoSided(firstSlice<p>(input), out);
  });
}

void EuclideanDistanceTransform2D::computeTwoSided(Dataset const* input, Dataset* output, int slice) {
  // Generic views read and write; this one only reads.
  Dataset* const readable = const_cast<Dataset*>(input);
  visitPlane(plane, [&](auto p) {
    auto const out = firstSlice<p>(output);
    computeSingleSliceTwoSided(firstSlice<p>(readable), out, slice);
  });
}

void EuclideanDistanceTransform2D::computeTwoSided(ImageDataset const* input, TImageDataset<float, 3>* output,
                                                   int slice) {
  visitElementType(input->type_id(), [&]<class T>(std::type_identity<T>) {
    computeTwoSidedT(static_cast<TImageDataset<T, 3> const*>(input), output, slice);
  });
}

void EuclideanDistanceTransform2D::computeTwoSided(ImageDataset const* input,
                                                   TImageDataset<float, 3>* output) {
  if (input == nullptr) return;
  visitElementType(input->type_id(), [&]<class T>(std::type_identity<T>) {
    computeTwoSidedT(static_cast<TImageDataset<T, 3> const*>(input), output);
  });
}

template <class T>
void EuclideanDistanceTransform2D::computeTwoSidedT(TImageDataset<T, 3> const* input,
                                                    TImageDataset<float, 3>* output) {
  if (input == nullptr || output == nullptr) return;
  visitPlane(plane, [&](auto p) {
    auto const out = firstSlice<MutableSlice<p, float>>(output);
    computeAllSlicesTwoSided(firstSlice<ConstSlice<p, T>>(input), out);
  });
}

template <class T>
void EuclideanDistanceTransform2D::computeTwoSidedT(TImageDataset<T, 3> const* input,
                                                    TImageDataset<float, 3>* output, int slice) {
  visitPlane(plane, [&](auto p) {
    auto const out = firstSlice<MutableSlice<p, float>>(output);
    computeSingleSliceTwoSided(firstSlice<ConstSlice<p, T>>(input), out, slice);
  });
}

#define LORB_INSTANCE template LORB_EXPORT
LORB_FOR_EACH_ELEMENT_TYPE(LORB_INSTANTIATE_VOLUME_WORK)

}  // namespace lorb
