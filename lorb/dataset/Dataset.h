#pragma once

#include <lorb/dataset/DatasetWorldEmbedding.h>
#include <lorb/dataset/TypeID.h>

#include <cstddef>
#include <cstdint>
#include <memory>

namespace lorb {

/// Element type of a generic dataset. Each family of types has a block of codes in order of width,
/// 8 to 64 bits, with one code in reserve: signed integers from 2, unsigned integers from 7, floating
/// types from 12. Hence a code of 12 or above is a floating type and every lower one is not.
///
/// | code | element          | code | element            | code | element  |
/// |------|------------------|------|--------------------|------|----------|
/// | 0    | none             | 2    | `signed char`      | 7    | `unsigned char`  |
/// | 1    | `bool`, one byte | 3    | `short`            | 8    | `unsigned short` |
/// | 12   | `float`          | 4    | `int`              | 9    | `unsigned int`   |
/// | 13   | `double`         | 5    | `long`, 64 bits    | 10   | `unsigned long`, 64 bits |
enum LORB_EXPORT LORBElementType : std::int32_t {
  elementNone = 0,
#define LORB_ENUMERATOR(id, code, T, name) element##name = code,
  LORB_FOR_EACH_ELEMENT_TYPE(LORB_ENUMERATOR)
#undef LORB_ENUMERATOR
};

/// A generic dataset of up to five axes (x, y, z, time, channel) and any element type of the list,
/// reached element by element or row by row. Values are converted by the rule of `convertElement`.
///
/// A position outside the extents throws `std::out_of_range` that names both, and touches nothing.
class LORB_EXPORT Dataset {
 public:
  /// An empty dataset: extents 0, element type `elementNone`. `zeroed` says whether `newDataset` sets
  /// the elements to zero or leaves them unspecified; those must be written before they are read.
  explicit Dataset(bool zeroed);
  ~Dataset();
  Dataset(Dataset const&) = delete;
  Dataset& operator=(Dataset const&) = delete;

  DatasetCoordinates getSize() const { return size_; }
  LORBElementType getElementType() const { return type_; }
  DatasetWorldEmbedding const& worldEmbedding() const { return embedding_; }

  /// Gives the dataset new storage; what it held is lost. Extents of 0 are allowed.
  /// Throws `std::invalid_argument` for a negative extent or a code that names no element type,
  /// `std::bad_alloc` when the storage can't be had; the dataset is then as it was.
  void newDataset(DatasetCoordinates const& extents, LORBElementType type,
                  DatasetWorldEmbedding const& embedding);

  /// Announces that every element may be accessed from now on. All storage is resident, so there is
  /// nothing to fetch.
  void announceAccessToFullDataset();

  /// The element at `position`. It only reads; the missing `const` is part of the family's interface.
  template <class T>
  T getElement(DatasetCoordinates const& position);

  /// Stores `value` at `position`.
  template <class T>
  void setElement(DatasetCoordinates const& position, T value);

  /// Reads `count` elements from `first` onwards along `axis` (0 to 4): what as many calls of
  /// `getElement<T>` would read, with the positions checked once. Nothing for a count below 1.
  /// `T` is `float` or `unsigned int`.
  template <class T>
  void getRow(DatasetCoordinates const& first, int axis, int count, T* values) const;

  /// Stores `count` values from `first` onwards along `axis`; the counterpart of `getRow`.
  template <class T>
  void setRow(DatasetCoordinates const& first, int axis, int count, T const* values);

 private:
  std::size_t offsetOf(DatasetCoordinates const& position) const;
  std::size_t offsetOfRow(DatasetCoordinates const& first, int axis, int count) const;
  std::ptrdiff_t strideAlong(int axis) const;

  DatasetCoordinates size_;
  LORBElementType type_ = elementNone;
  bool zeroed_;
  DatasetWorldEmbedding embedding_;
  std::unique_ptr<std::byte[]> storage_;
};

// What the library is compiled for. `LORB_INSTANCE` is what each instantiation begins with: here a
// declaration, in the library's source the definition.
#define LORB_INSTANTIATE_ELEMENT(id, code, T, name)                  \
  LORB_INSTANCE T Dataset::getElement<T>(DatasetCoordinates const&); \
  LORB_INSTANCE void Dataset::setElement<T>(DatasetCoordinates const&, T);
#define LORB_INSTANTIATE_ROW(T)                                                         \
  LORB_INSTANCE void Dataset::getRow<T>(DatasetCoordinates const&, int, int, T*) const; \
  LORB_INSTANCE void Dataset::setRow<T>(DatasetCoordinates const&, int, int, T const*);
#define LORB_INSTANTIATE_DATASET                       \
  LORB_FOR_EACH_ELEMENT_TYPE(LORB_INSTANTIATE_ELEMENT) \
  LORB_INSTANTIATE_ROW(float)                          \
  LORB_INSTANTIATE_ROW(unsigned int)

#define LORB_INSTANCE extern template
LORB_INSTANTIATE_DATASET
#undef LORB_INSTANCE

}  // namespace lorb
