// Which voxels of a volume are the object.
#pragma once

#include "tools/base/parseNumber.h"

#include <lorb/dataset/TImageDataset.h>

#include <set>
#include <vector>

namespace lorb::tools {

/// What makes a voxel belong to the object; by default a value above 0.
struct ObjectRule {
  enum class Kind {
    above,    ///< values greater than the first
    below,    ///< values less than the first
    between,  ///< values from the first to the second, both included
    labels,   ///< values equal to any
  };
  Kind kind = Kind::above;
  std::vector<ExactNumber> values = {0};
  bool inverted = false;  ///< all other numbers instead
};

using Mask = TImageDataset<unsigned char, 3>;

/// A volume of the same extents that holds 1 where the voxel belongs to the object and 0 elsewhere.
///
/// Comparison is exact for every element type: 2⁵³ + 1 is above 2⁵³, 0.5 is no label of whole numbers.
/// NaN voxels never belong to the object, inverted or not. Throws `std::invalid_argument` when the volume's
/// `type_id()` names no element type. Linear in the voxels, for labels times their number.
Mask objectMask(ImageDataset const& volume, ObjectRule const& rule);

/// Adds the labels that the volume holds to `labels`: its values but 0 and NaN. Throws
/// `std::invalid_argument` naming the value when one is no whole number, and when there are more than
/// `mostLabels`.
void collectLabels(ImageDataset const& volume, std::set<ExactNumber>& labels);
constexpr std::size_t mostLabels = 1000;

}  // namespace lorb::tools
