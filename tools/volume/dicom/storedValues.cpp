#include "tools/volume/dicom/storedValues.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

namespace lorb::tools::dicom {
namespace {

bool isScaled(Frame const& frame) {
  return frame.slope != 1.0 || frame.intercept != 0.0;
}

template <class T>
bool holds(double lowest, double highest) {
  return lowest >= double(std::numeric_limits<T>::lowest()) &&
         highest <= double(std::numeric_limits<T>::max());
}

TypeID integerFor(double lowest, double highest, bool isByte) {
  if (isByte && holds<std::uint8_t>(lowest, highest)) return typeUInt8;
  if (isByte && holds<std::int8_t>(lowest, highest)) return typeInt8;
  if (holds<std::int16_t>(lowest, highest)) return typeInt16;
  if (holds<std::uint16_t>(lowest, highest)) return typeUInt16;
  if (holds<std::int32_t>(lowest, highest)) return typeInt32;
  if (holds<std::uint32_t>(lowest, highest)) return typeUInt32;
  return typeDouble;
}

/// Calls `f` with the number that each element stands for, before scaling.
template <class Unsigned, class F>
void forEachElement(Frame const& frame, std::span<std::byte const> stored, F f) {
  int const unused = int(sizeof(Unsigned) * 8) - frame.stored.storedBits;
  std::size_t const count = stored.size() / sizeof(Unsigned);
  for (std::size_t k = 0; k < count; ++k) {
    Unsigned element;
    std::memcpy(&element, stored.data() + k * sizeof element, sizeof element);
    // Shifted up and down again, unused bits become copies of the sign or 0.
    auto const shifted = static_cast<Unsigned>(element << unused);
    if (frame.stored.isSigned) {
      f(k, std::int64_t(static_cast<std::make_signed_t<Unsigned>>(shifted)) >> unused);
    } else {
      f(k, static_cast<std::int64_t>(shifted >> unused));
    }
  }
}

template <class F>
void forEachBit(std::uint64_t count, std::span<std::byte const> stored, unsigned firstBit, F f) {
  for (std::uint64_t k = 0; k < count; ++k) {
    std::uint64_t const bit = k + firstBit;
    f(k, static_cast<std::int64_t>(std::to_integer<unsigned>(stored[bit / 8]) >> bit % 8 & 1U));
  }
}

template <class F>
void forEachStored(Frame const& frame, std::span<std::byte const> stored, unsigned firstBit, F f) {
  switch (frame.stored.allocatedBits) {
    case 1:
      return forEachBit(voxelCount(frame.extents), stored, firstBit, f);
    case 8:
      return forEachElement<std::uint8_t>(frame, stored, f);
    case 16:
      return forEachElement<std::uint16_t>(frame, stored, f);
    default:
      return forEachElement<std::uint32_t>(frame, stored, f);
  }
}

}  // namespace

std::uint64_t storedBytes(Frame const& frame) {
  return (voxelCount(frame.extents) * static_cast<std::uint64_t>(frame.stored.allocatedBits) + 7) / 8;
}

TypeID valueTypeOf(std::vector<Frame> const& frames) {
  double lowest = std::numeric_limits<double>::max(), highest = std::numeric_limits<double>::lowest();
  bool isByte = true, isWhole = true;
  for (Frame const& frame : frames) {
    double const a = double(frame.stored.lowest()) * frame.slope + frame.intercept;
    double const b = double(frame.stored.highest()) * frame.slope + frame.intercept;
    lowest = std::min({lowest, a, b});
    highest = std::max({highest, a, b});
    isByte = isByte && frame.stored.allocatedBits <= 8;
    isWhole =
        isWhole && std::trunc(frame.slope) == frame.slope && std::trunc(frame.intercept) == frame.intercept;
  }
  return isWhole ? integerFor(lowest, highest, isByte) : typeDouble;
}

void writeValues(Frame const& frame, std::span<std::byte const> stored, unsigned firstBit, TypeID type,
                 std::byte* values) {
  visitElementType(type, [&]<class T>(std::type_identity<T>) {
    auto const put = [values](std::size_t k, T value) {
      std::memcpy(values + k * sizeof value, &value, sizeof value);
    };
    if (isScaled(frame)) {
      forEachStored(frame, stored, firstBit, [&](std::size_t k, std::int64_t element) {
        put(k, static_cast<T>(double(element) * frame.slope + frame.intercept));
      });
    } else {
      forEachStored(frame, stored, firstBit,
                    [&](std::size_t k, std::int64_t element) { put(k, static_cast<T>(element)); });
    }
  });
}

}  // namespace lorb::tools::dicom
