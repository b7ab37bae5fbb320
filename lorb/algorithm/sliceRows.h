#pragma once

#include <lorb/algorithm/EuclideanDistanceTransform2D.h>

#include <cstdint>

/// Rows of slices in plain buffers: the one place where element type and plane of a slice matter.
/// Each function works on the positions (begin, j) to (begin + count − 1, j) of the view's slice.
namespace lorb::rows {

using Transform = EuclideanDistanceTransform2D;

/// A row of a generic dataset is read and written by one library call, which checks its position once.
template <Transform::PlaneOrientationE Plane>
void get(Transform::GenericSlice<Plane> const& view, int j, int begin, int count, float* values) {
  view.dataset->getRow(view.moveTo(begin, j), Transform::axesOf(Plane).i, count, values);
}

template <Transform::PlaneOrientationE Plane>
void set(Transform::GenericSlice<Plane> const& view, int j, int begin, int count, float const* values) {
  view.dataset->setRow(view.moveTo(begin, j), Transform::axesOf(Plane).i, count, values);
}

template <Transform::PlaneOrientationE Plane, class Volume>
void set(Transform::TypedSlice<Plane, Volume> const& view, int j, int begin, int count, float const* values) {
  for (int k = 0; k < count; ++k) view.set(begin + k, j, values[k]);
}

/// inside[k] = 1 where the voxel's value is greater than zero, 0 elsewhere, NaN included.
template <Transform::PlaneOrientationE Plane>
void getInside(Transform::GenericSlice<Plane> const& view, int j, int begin, int count,
               std::uint8_t* inside) {
  constexpr int block = 256;
  float values[block];
  for (int done = 0; done < count; done += block) {
    int const length = count - done < block ? count - done : block;
    get(view, j, begin + done, length, values);
    for (int k = 0; k < length; ++k) inside[done + k] = values[k] > 0.0F;
  }
}

template <Transform::PlaneOrientationE Plane, class Volume>
void getInside(Transform::TypedSlice<Plane, Volume> const& view, int j, int begin, int count,
               std::uint8_t* inside) {
  for (int k = 0; k < count; ++k) inside[k] = view.get(begin + k, j) > 0;
}

}  // namespace lorb::rows
