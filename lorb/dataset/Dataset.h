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
  /// the elements to zero or leaves them unspecified until they are written.
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

  /// Reads `count` elements from `first` onwards along `axis` (0 to 4) as floats: what as many calls
  /// of `getElement<float>` would read, with the positions checked once. Nothing for a count below 1.
  void getRow(DatasetCoordinates const& first, int axis, int count, float* values) const;

  /// Stores `count` floats from `first` onwards along `axis`; the counterpart of `getRow`.
  void setRow(DatasetCoordinates const& first, int axis, int count, float const* values);

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

#define LORB_EXTERN(id, code, T, name)                                 \
  extern template T Dataset::getElement<T>(DatasetCoordinates const&); \
  extern template void Dataset::setElement<T>(DatasetCoordinates const&, T);
LORB_FOR_EACH_ELEMENT_TYPE(LORB_EXTERN)
#undef LORB_EXTERN

}  // namespace lorb
