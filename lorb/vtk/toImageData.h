#pragma once

#include <lorb/dataset/ImageDataset.h>

class vtkImageData;

namespace lorb {

/// A new image with the volume's extents (starting at 0), voxels, origin and spacing, one component a
/// voxel, in the volume's own element type. The caller holds its one reference and releases it with
/// `Delete()`. Null for a `bool` volume, for which VTK has no scalar type, and for an unknown type.
///
/// 64-bit types become VTK's long-long types and `signed char` becomes `VTK_CHAR`, so that
/// `toImageDataset` gives the same element type back. Extents are narrowed to `int` unchecked.
/// Allocation errors pass through; when there is no room for the voxels, no image is left behind.
LORB_EXPORT vtkImageData* toImageData(ImageDataset const* volume);

/// The same in the element type `target`, 2 to 11, converted by `dump`, for volumes of every element
/// type, `bool` included; null for any other target.
LORB_EXPORT vtkImageData* toImageData(ImageDataset const* volume, TypeID target);

/// Stores a new image of element type `target` in `result`; leaves `result` alone unless `target` is
/// 2 to 11. `S` is the volume's element type, one of all eleven.
template <class S>
LORB_EXPORT void do_convert(ImageDataset const* volume, vtkImageData*& result, TypeID target);

/// The worker from element type `S` to element type `D`, one of the ten other than `bool`. `result`
/// receives the image before it is shaped and filled.
template <class S, class D>
LORB_EXPORT void do_convert(ImageDataset const* volume, vtkImageData*& result);

}  // namespace lorb
