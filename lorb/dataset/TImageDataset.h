#pragma once

#include <lorb/dataset/ImageDataset.h>

#include <array>
#include <cstddef>
#include <span>
#include <type_traits>
#include <utility>
#include <vector>

namespace lorb {

/// One block of voxels: the values, x fastest, then y, then z, and the counts along x, y and z.
/// A default page is one voxel of value `T()`.
template <class T, int Dimension>
struct Page {
  static_assert(Dimension == 3, "volumes have three dimensions");

  std::vector<T> data = std::vector<T>(1);
  std::array<std::uint64_t, 3> extents = {1, 1, 1};
};

/// A three-dimensional image volume with elements of type `T`, one of the eleven element types.
///
/// All voxels lie in `pages[0]`: voxel (x, y, z) is element (z·ny + y)·nx + x of its `data`, with nx
/// and ny taken from the page's own extents. `bool` volumes store one bit a voxel. A new volume has
/// extents (0, 0, 0) and no page, and so has one that was moved from. Copies are deep.
///
/// Nothing is locked: concurrent readers are safe while nobody writes or resizes.
template <class T, int Dimension>
class LORB_EXPORT TImageDataset : public ImageDataset {
  static_assert(typeIDOf<T> != typeNone, "not an element type");
  static_assert(Dimension == 3, "volumes have three dimensions");

 public:
  using Extents = std::array<std::uint64_t, 3>;
  using Reference = typename std::vector<T>::reference;
  using ConstReference = typename std::vector<T>::const_reference;

  TImageDataset() = default;
  TImageDataset(TImageDataset const&) = default;
  TImageDataset& operator=(TImageDataset const&) = default;
  TImageDataset(TImageDataset&& other) noexcept
      : ImageDataset(other),
        extents(std::exchange(other.extents, Extents{})),
        pages(std::exchange(other.pages, {})) {}
  TImageDataset& operator=(TImageDataset&& other) noexcept {
    ImageDataset::operator=(other);
    extents = std::exchange(other.extents, Extents{});
    pages = std::exchange(other.pages, {});
    return *this;
  }

  /// A volume of the given extents, all voxels `T()`. Throws as `resize`.
  explicit TImageDataset(Extents const& newExtents) { resize(newExtents); }

  TypeID type_id() const override { return typeIDOf<T>; }
  bool empty() const override { return pages.empty(); }
  std::uint64_t const* size_array() const override { return extents.data(); }

  /// Gives the volume new extents, in one page. Values keep their element index, not their position;
  /// added elements are `T()`. The value range becomes "not known yet". Equal extents change nothing.
  /// Throws `std::length_error` or `std::bad_alloc` when the voxels can't be had; the extents are
  /// then the new ones and the voxels still the old. The product of the extents is taken modulo 2⁶⁴.
  void resize(Extents const& newExtents);

  /// The voxel (x, y, z), unchecked.
  Reference operator()(std::uint64_t x, std::uint64_t y, std::uint64_t z) {
    return pages[0].data[index(x, y, z)];
  }
  ConstReference operator()(std::uint64_t x, std::uint64_t y, std::uint64_t z) const {
    return pages[0].data[index(x, y, z)];
  }

  /// The voxel (x, y, z); throws `std::out_of_range` naming position and extents when there is none.
  Reference at(std::uint64_t x, std::uint64_t y, std::uint64_t z) {
    requireInside(x, y, z);
    return (*this)(x, y, z);
  }
  ConstReference at(std::uint64_t x, std::uint64_t y, std::uint64_t z) const {
    requireInside(x, y, z);
    return (*this)(x, y, z);
  }

  /// All voxels, x fastest; empty for a volume without a page. Not for `bool`, whose bits have no
  /// addresses: use `pages[0].data`.
  std::span<T> voxels() requires(!std::is_same_v<T, bool>) { return asSpan<T>(pages); }
  std::span<T const> voxels() const requires(!std::is_same_v<T, bool>) { return asSpan<T const>(pages); }

  Extents extents = {0, 0, 0};
  std::vector<Page<T, Dimension>> pages;

 private:
  std::size_t index(std::uint64_t x, std::uint64_t y, std::uint64_t z) const {
    return (z * pages[0].extents[1] + y) * pages[0].extents[0] + x;
  }
  template <class Element, class Pages>
  static std::span<Element> asSpan(Pages& pages) {
    // Some compilers look into constrained members even where they are constrained away.
    if constexpr (std::is_same_v<T, bool>) {
      return {};
    } else {
      return pages.empty() ? std::span<Element>() : std::span<Element>(pages[0].data);
    }
  }
  void requireInside(std::uint64_t x, std::uint64_t y, std::uint64_t z) const;
};

#define LORB_EXTERN(id, element, T, name) extern template class TImageDataset<T, 3>;
LORB_FOR_EACH_ELEMENT_TYPE(LORB_EXTERN)
#undef LORB_EXTERN

}  // namespace lorb
