// Which voxels of a volume are the object.
#pragma once

#include "tools/parseNumber.h"

#include <lorb/dataset/TImageDataset.h>

namespace lorb::tools {

/// What makes a voxel belong to the object; by default a value above 0.
struct ObjectRule {
  enum class Kind {
    above,  ///< values greater than `value`
    label,  ///< values equal to `value`
  };
  Kind kind = Kind::above;
  ExactNumber value = 0;
};

using Mask = TImageDataset<unsigned char, 3>;

/// A volume of the same extents that holds 1 where the voxel belongs to the object and 0 elsewhere.
///
/// Comparison is exact for every element type: 2⁵³ + 1 is above 2⁵³, 0.5 is no label of whole numbers.
/// NaN voxels never belong to the object. Throws `std::invalid_argument` when the volume's `type_id()`
/// names no element type. Linear in the voxels.
Mask objectMask(ImageDataset const& volume, ObjectRule const& rule);

}  // namespace lorb::tools
