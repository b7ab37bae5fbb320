#pragma once

#include <lorb/dataset/ImageDataset.h>

namespace lorb {

/// Writes every voxel of `volume` into `buffer`, x fastest, then y, then z, as elements of `type`.
///
/// `buffer` has room for nx·ny·nz elements; type 1 is an array of C++ `bool`. All 11 × 11 pairs of
/// types are converted by the rule of `convertElement`; equal types copy bits. Linear in the voxels,
/// nothing is allocated. Throws `std::invalid_argument` naming the code when `type` or the volume's
/// own type is none of 1 to 11; the buffer is then untouched.
LORB_EXPORT void dump(ImageDataset const* volume, void* buffer, TypeID type);

/// Reads every voxel of `volume` from `buffer`; the mirror image of the function above. The volume
/// already has its extents and storage, and keeps its value range.
LORB_EXPORT void dump(void const* buffer, TypeID type, ImageDataset* volume);

}  // namespace lorb
