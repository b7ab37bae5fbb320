// What both directions of the bridge are tested with.

#pragma once

#include <lorb/dataset/TImageDataset.h>

#include <tests/ElementTypes.h>
#include <tests/dataset/expectedConversion.h>

#include <algorithm>
#include <array>
#include <cstddef>

#include <vtkImageData.h>
#include <vtkNew.h>
#include <vtkSmartPointer.h>

namespace lorb::test {

/// The VTK scalar type that stands for an element type; 0 for `bool`, which has none.
template <class T>
inline constexpr int vtkTypeOf = 0;
template <>
inline constexpr int vtkTypeOf<signed char> = 2;
template <>
inline constexpr int vtkTypeOf<unsigned char> = 3;
template <>
inline constexpr int vtkTypeOf<short> = 4;
template <>
inline constexpr int vtkTypeOf<unsigned short> = 5;
template <>
inline constexpr int vtkTypeOf<int> = 6;
template <>
inline constexpr int vtkTypeOf<unsigned int> = 7;
template <>
inline constexpr int vtkTypeOf<long> = 16;
template <>
inline constexpr int vtkTypeOf<unsigned long> = 17;
template <>
inline constexpr int vtkTypeOf<float> = 10;
template <>
inline constexpr int vtkTypeOf<double> = 11;

/// Calls `f(std::type_identity<T>{})` for the ten element types that VTK has as well.
template <class F>
void forEachVtkElementType(F f) {
  forEachElementType([&]<class T>(std::type_identity<T> type) {
    if constexpr (vtkTypeOf<T> != 0) f(type);
  });
}

/// Gives `image` extents 4 × 3 × 2, origin (1.5, −2, 0), spacing (0.5, 0.5, 2) and unset scalars.
inline void shape4x3x2(vtkImageData* image, int scalarType) {
  image->SetExtent(0, 3, 0, 2, 0, 1);
  image->SetOrigin(1.5, -2.0, 0.0);
  image->SetSpacing(0.5, 0.5, 2.0);
  image->AllocateScalars(scalarType, 1);
}

/// A volume of as many voxels along x as there are edge values, placed as above.
template <class T>
TImageDataset<T, 3> edgeVolume() {
  auto const values = edgeValues<T>();
  TImageDataset<T, 3> volume({values.size(), 1, 1});
  std::copy(values.begin(), values.end(), volume.pages[0].data.begin());
  volume.worldEmbedding().setDatasetOrigin(WorldCoordinates(1.5, -2.0, 0.0, 0.0));
  volume.worldEmbedding().setVoxelSpacing(WorldCoordinates(0.5, 0.5, 2.0, 0.0));
  return volume;
}

/// An image of the edge values of `T`.
template <class T>
vtkSmartPointer<vtkImageData> edgeImage() {
  auto const values = edgeValues<T>();
  auto const image = vtkSmartPointer<vtkImageData>::New();
  image->SetDimensions(static_cast<int>(values.size()), 1, 1);
  image->AllocateScalars(vtkTypeOf<T>, 1);
  std::copy(values.begin(), values.end(), static_cast<T*>(image->GetScalarPointer()));
  return image;
}

}  // namespace lorb::test
