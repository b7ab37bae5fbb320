#pragma once

#include <lorb/dataset/ImageDataset.h>

class vtkImageData;

namespace lorb {

/// The element type of a VTK scalar type; all ones when there is none.
///
/// 64-bit types come from VTK's long-long types alone, never from `VTK_LONG` or `VTK_UNSIGNED_LONG`;
/// `signed char` comes from `VTK_CHAR` alone, never from `VTK_SIGNED_CHAR`; nothing gives `bool`.
LORB_EXPORT TypeID toTypeID(int vtkScalarType);

/// A new volume with the image's dimensions, voxels, origin and spacing, in the image's own element
/// type. The caller owns it and deletes it. Null when the scalar type has no `TypeID`.
///
/// One component per voxel is assumed, the extent's start is not looked at and the origin taken as it
/// is; direction is not carried over. The image must not be null, and have scalars unless it is empty.
/// `std::bad_alloc` and, for sizes beyond all memory, `std::length_error` pass through; a volume that was
/// begun by then is not destroyed.
LORB_EXPORT ImageDataset* toImageDataset(vtkImageData const* image);

/// The same in the element type `target`, 2 to 11, converted by `dump`; null for any other target.
/// An image whose own scalar type has no `TypeID` makes `dump` throw `std::invalid_argument`.
LORB_EXPORT ImageDataset* toImageDataset(vtkImageData const* image, TypeID target);

/// Stores a new volume of element type `target` in `result`; leaves `result` alone unless `target` is
/// 2 to 11. `source` is the type as which the image's scalars are read.
LORB_EXPORT void do_convert(vtkImageData* image, TypeID source, ImageDataset*& result, TypeID target);

/// The worker for one target type, one of the ten types other than `bool`.
template <class T>
LORB_EXPORT void do_convert(vtkImageData* image, TypeID source, ImageDataset*& result);

}  // namespace lorb
