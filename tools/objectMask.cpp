#include "tools/objectMask.h"

#include <cmath>
#include <limits>
#include <optional>
#include <stdexcept>
#include <type_traits>

namespace lorb::tools {
namespace {

/// The greatest `T` that is at most `number`, so that comparing a voxel with it is comparing it with
/// the number. Nothing when all of `T` lies above.
template <class T>
std::optional<T> greatestAtMost(ExactNumber number) {
  using Limits = std::numeric_limits<T>;
  if constexpr (std::is_floating_point_v<T>) {
    T const rounded = static_cast<T>(number);
    return rounded > number ? std::nextafter(rounded, -Limits::infinity()) : rounded;
  } else {
    if (number < ExactNumber(Limits::min())) return std::nullopt;
    if (number >= ExactNumber(Limits::max())) return Limits::max();
    return static_cast<T>(std::floor(number));
  }
}

template <class T, class Belongs>
void fill(Mask& mask, TImageDataset<T, 3> const& volume, Belongs belongs) {
  auto const& values = volume.pages[0].data;
  auto& inside = mask.pages[0].data;
  for (std::size_t k = 0; k < values.size(); ++k) inside[k] = belongs(static_cast<T>(values[k])) ? 1 : 0;
}

template <class T>
void fillAbove(Mask& mask, TImageDataset<T, 3> const& volume, ExactNumber threshold) {
  if (auto const bound = greatestAtMost<T>(threshold)) {
    fill(mask, volume, [bound = *bound](T value) { return value > bound; });
  } else {
    fill(mask, volume, [](T) { return true; });
  }
}

template <class T>
void fillLabel(Mask& mask, TImageDataset<T, 3> const& volume, ExactNumber label) {
  auto const candidate = greatestAtMost<T>(label);
  if (!candidate || ExactNumber(*candidate) != label) return;  // no value of this type is the label
  fill(mask, volume, [candidate = *candidate](T value) { return value == candidate; });
}

}  // namespace

Mask objectMask(ImageDataset const& volume, ObjectRule const& rule) {
  std::uint64_t const* const size = volume.size_array();
  Mask mask({size[0], size[1], size[2]});
  bool const known = visitElementType(volume.type_id(), [&]<class T>(std::type_identity<T>) {
    auto const& typed = static_cast<TImageDataset<T, 3> const&>(volume);
    if (rule.kind == ObjectRule::Kind::label) {
      fillLabel(mask, typed, rule.value);
    } else {
      fillAbove(mask, typed, rule.value);
    }
  });
  if (!known) throw std::invalid_argument("objectMask: the volume has no known element type");
  return mask;
}

}  // namespace lorb::tools
