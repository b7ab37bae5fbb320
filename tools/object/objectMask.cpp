#include "tools/object/objectMask.h"

#include "tools/volume/Volume.h"

#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>
#include <type_traits>

namespace lorb::tools {
namespace {

/// The values of `T` that lie in an interval of numbers, as the least and the greatest of them, so that
/// comparing a voxel with these is comparing it with the numbers.
template <class T>
struct Interval {
  using Limits = std::numeric_limits<T>;
  static constexpr bool isFloating = std::is_floating_point_v<T>;

  T least = isFloating ? -Limits::infinity() : Limits::lowest();
  T greatest = isFloating ? Limits::infinity() : Limits::max();
  bool empty = false;

  void raiseLeast(ExactNumber number, bool included) {
    if constexpr (isFloating) {
      least = static_cast<T>(number);
      if (least < number || (least == number && !included)) least = std::nextafter(least, Limits::infinity());
    } else {
      if (number < ExactNumber(Limits::lowest())) return;
      ExactNumber const bound = included ? std::ceil(number) : std::floor(number) + 1;
      if (bound > ExactNumber(Limits::max())) {
        empty = true;
      } else {
        least = static_cast<T>(bound);
      }
    }
  }

  void lowerGreatest(ExactNumber number, bool included) {
    if constexpr (isFloating) {
      greatest = static_cast<T>(number);
      if (greatest > number || (greatest == number && !included)) {
        greatest = std::nextafter(greatest, -Limits::infinity());
      }
    } else {
      if (number > ExactNumber(Limits::max())) return;
      ExactNumber const bound = included ? std::floor(number) : std::ceil(number) - 1;
      if (bound < ExactNumber(Limits::lowest())) {
        empty = true;
      } else {
        greatest = static_cast<T>(bound);
      }
    }
  }
};

template <class T>
std::vector<Interval<T>> intervalsOf(ObjectRule const& rule) {
  using Kind = ObjectRule::Kind;
  std::vector<Interval<T>> intervals(rule.kind == Kind::labels ? rule.values.size() : 1);
  switch (rule.kind) {
    case Kind::above:
      intervals[0].raiseLeast(rule.values.at(0), false);
      break;
    case Kind::below:
      intervals[0].lowerGreatest(rule.values.at(0), false);
      break;
    case Kind::between:
      intervals[0].raiseLeast(rule.values.at(0), true);
      intervals[0].lowerGreatest(rule.values.at(1), true);
      break;
    case Kind::labels:
      for (std::size_t k = 0; k < intervals.size(); ++k) {
        intervals[k].raiseLeast(rule.values[k], true);
        intervals[k].lowerGreatest(rule.values[k], true);
      }
  }
  return intervals;
}

template <class T, class Belongs>
void forEachVoxel(Mask& mask, TImageDataset<T, 3> const& volume, Belongs belongs) {
  auto const& values = volume.pages[0].data;
  auto& inside = mask.pages[0].data;
  for (std::size_t k = 0; k < values.size(); ++k) belongs(inside[k], static_cast<T>(values[k]));
}

template <class T>
void fill(Mask& mask, TImageDataset<T, 3> const& volume, ObjectRule const& rule) {
  for (Interval<T> const& interval : intervalsOf<T>(rule)) {
    if (interval.empty) continue;
    forEachVoxel(mask, volume, [least = interval.least, greatest = interval.greatest](auto& inside, T value) {
      inside = inside | static_cast<unsigned char>(value >= least && value <= greatest);
    });
  }
  if (!rule.inverted) return;
  forEachVoxel(mask, volume, [](auto& inside, T value) {
    bool isNumber = true;
    if constexpr (std::is_floating_point_v<T>) isNumber = !std::isnan(value);
    inside = static_cast<unsigned char>(inside == 0 && isNumber);
  });
}

template <class T>
void addLabel(T value, std::set<ExactNumber>& labels) {
  ExactNumber const label = value;
  if (std::isnan(label)) return;
  if (label != std::floor(label) || std::isinf(label)) {
    throw std::invalid_argument("holds " + toText(static_cast<double>(label)) +
                                " and so is no map of labels; expected whole numbers");
  }
  labels.insert(label);
  if (labels.size() <= mostLabels) return;
  throw std::invalid_argument("holds more than " + std::to_string(mostLabels) +
                              " different values and so is hardly a map of labels");
}

}  // namespace

Mask objectMask(ImageDataset const& volume, ObjectRule const& rule) {
  std::uint64_t const* const size = volume.size_array();
  Mask mask({size[0], size[1], size[2]});
  bool const known = visitElementType(volume.type_id(), [&]<class T>(std::type_identity<T>) {
    fill(mask, static_cast<TImageDataset<T, 3> const&>(volume), rule);
  });
  if (!known) throw std::invalid_argument("objectMask: the volume has no known element type");
  return mask;
}

void collectLabels(ImageDataset const& volume, std::set<ExactNumber>& labels) {
  visitElementType(volume.type_id(), [&]<class T>(std::type_identity<T>) {
    T last = T();  // neighbours mostly share a label
    for (T const value : static_cast<TImageDataset<T, 3> const&>(volume).pages[0].data) {
      if (value == last) continue;
      last = value;
      if (value != T()) addLabel(value, labels);
    }
  });
}

}  // namespace lorb::tools
