#include <lorb/dataset/Dataset.h>
#include <lorb/dataset/convert.h>
#include <lorb/dataset/hugePages.h>
#include <lorb/dataset/rowConversion.h>

#include <cstring>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

namespace lorb {
namespace {

/// Calls `f` with the C++ type that `type` names; false, without a call, when it names none.
template <class F>
bool visitStoredType(LORBElementType type, F&& f) {
  switch (type) {
    case elementNone:
      return false;
#define LORB_CASE(id, code, T, name) \
  case element##name:                \
    f(std::type_identity<T>{});      \
    return true;
      LORB_FOR_EACH_ELEMENT_TYPE(LORB_CASE)
#undef LORB_CASE
  }
  return false;  // a value that is not in the list
}

std::string toText(DatasetCoordinates const& coordinates) {
  std::string text = "(";
  for (int axis = 0; axis < DatasetCoordinates::axisCount; ++axis) {
    if (axis > 0) text += ", ";
    text += std::to_string(coordinates[axis]);
  }
  return text + ")";
}

bool isInside(DatasetCoordinates const& position, DatasetCoordinates const& size) {
  bool inside = true;
  for (int axis = 0; axis < DatasetCoordinates::axisCount; ++axis) {
    // A negative component turns into a large unsigned one, so one comparison checks both ends.
    inside &= static_cast<unsigned>(position[axis]) < static_cast<unsigned>(size[axis]);
  }
  return inside;
}

[[noreturn]] void throwOutside(DatasetCoordinates const& position, DatasetCoordinates const& size) {
  throw std::out_of_range("lorb::Dataset: position " + toText(position) + " lies outside the extents " +
                          toText(size));
}

}  // namespace

Dataset::Dataset(bool zeroed) : zeroed_(zeroed) {}

Dataset::~Dataset() = default;

void Dataset::newDataset(DatasetCoordinates const& extents, LORBElementType type,
                         DatasetWorldEmbedding const& embedding) {
  std::size_t bytes = 0;
  if (!visitStoredType(type, [&]<class T>(std::type_identity<T>) { bytes = sizeof(T); })) {
    throw std::invalid_argument("lorb::Dataset: element type code " + std::to_string(type) +
                                " names no element type");
  }
  bool empty = false;
  for (int axis = 0; axis < DatasetCoordinates::axisCount; ++axis) {
    if (extents[axis] < 0) {
      throw std::invalid_argument("lorb::Dataset: extents " + toText(extents) + " must not be negative");
    }
    empty |= extents[axis] == 0;
  }
  for (int axis = 0; axis < DatasetCoordinates::axisCount && !empty; ++axis) {
    if (__builtin_mul_overflow(bytes, static_cast<std::size_t>(extents[axis]), &bytes)) {
      throw std::bad_array_new_length();
    }
  }
  if (empty) bytes = 0;
  std::unique_ptr<std::byte[]> storage(new std::byte[bytes]);
  preferHugePages(storage.get(), bytes);
  if (zeroed_) std::memset(storage.get(), 0, bytes);
  storage_ = std::move(storage);
  size_ = extents;
  type_ = type;
  embedding_ = embedding;
}

void Dataset::announceAccessToFullDataset() {}

template <class T>
T Dataset::getElement(DatasetCoordinates const& position) {
  std::size_t const offset = offsetOf(position);
  T value{};
  visitStoredType(type_, [&]<class Stored>(std::type_identity<Stored>) {
    value = convertElement<T>(reinterpret_cast<Stored const*>(storage_.get())[offset]);
  });
  return value;
}

template <class T>
void Dataset::setElement(DatasetCoordinates const& position, T value) {
  std::size_t const offset = offsetOf(position);
  visitStoredType(type_, [&]<class Stored>(std::type_identity<Stored>) {
    reinterpret_cast<Stored*>(storage_.get())[offset] = convertElement<Stored>(value);
  });
}

template <class T>
void Dataset::getRow(DatasetCoordinates const& first, int axis, int count, T* values) const {
  if (count < 1) return;
  std::size_t const offset = offsetOfRow(first, axis, count);
  std::ptrdiff_t const stride = strideAlong(axis);
  visitStoredType(type_, [&]<class Stored>(std::type_identity<Stored>) {
    Stored const* row = reinterpret_cast<Stored const*>(storage_.get()) + offset;
    if (stride == 1) {
      return rowConversion(typeIDOf<Stored>, typeIDOf<T>)(row, values, static_cast<std::size_t>(count));
    }
    for (int k = 0; k < count; ++k) values[k] = convertElement<T>(row[k * stride]);
  });
}

template <class T>
void Dataset::setRow(DatasetCoordinates const& first, int axis, int count, T const* values) {
  if (count < 1) return;
  std::size_t const offset = offsetOfRow(first, axis, count);
  std::ptrdiff_t const stride = strideAlong(axis);
  visitStoredType(type_, [&]<class Stored>(std::type_identity<Stored>) {
    Stored* row = reinterpret_cast<Stored*>(storage_.get()) + offset;
    if (stride == 1) {
      return rowConversion(typeIDOf<T>, typeIDOf<Stored>)(values, row, static_cast<std::size_t>(count));
    }
    for (int k = 0; k < count; ++k) row[k * stride] = convertElement<Stored>(values[k]);
  });
}

std::size_t Dataset::offsetOf(DatasetCoordinates const& position) const {
  if (!isInside(position, size_)) throwOutside(position, size_);
  std::size_t offset = 0;
  for (int axis = DatasetCoordinates::axisCount - 1; axis >= 0; --axis) {
    offset = offset * static_cast<std::size_t>(size_[axis]) + static_cast<std::size_t>(position[axis]);
  }
  return offset;
}

std::size_t Dataset::offsetOfRow(DatasetCoordinates const& first, int axis, int count) const {
  std::size_t const offset = offsetOf(first);
  if (count > size_[axis] - first[axis]) {
    DatasetCoordinates outside = first;
    outside[axis] = size_[axis];
    throwOutside(outside, size_);
  }
  return offset;
}

std::ptrdiff_t Dataset::strideAlong(int axis) const {
  std::ptrdiff_t stride = 1;
  for (int lower = 0; lower < axis; ++lower) stride *= size_[lower];
  return stride;
}

#define LORB_INSTANCE template LORB_EXPORT
LORB_INSTANTIATE_DATASET

}  // namespace lorb
