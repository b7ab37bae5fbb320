#pragma once

#include <lorb/algorithm/ColumnCounts.h>
#include <lorb/algorithm/EuclideanDistanceTransform2D.h>
#include <lorb/algorithm/alignedArray.h>
#include <lorb/algorithm/slabs.h>
#include <lorb/algorithm/voxelRows.h>

#include <hwy/cache_control.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

/// Rows of slices in plain buffers: the one place where element type and plane of a slice matter.
namespace lorb::rows {

using Transform = EuclideanDistanceTransform2D;

// --- rows of one slice: positions (begin, j) to (begin + count − 1, j) -------------------------------

/// A row of a generic dataset is read and written by one library call, which checks its position once.
template <Transform::PlaneOrientationE Plane>
void get(Transform::GenericSlice<Plane> const& view, int j, int begin, int count, float* values) {
  view.dataset->getRow(view.moveTo(begin, j), Transform::axesOf(Plane).i, count, values);
}

template <Transform::PlaneOrientationE Plane, class T>
void set(Transform::GenericSlice<Plane> const& view, int j, int begin, int count, T const* values) {
  view.dataset->setRow(view.moveTo(begin, j), Transform::axesOf(Plane).i, count, values);
}

template <Transform::PlaneOrientationE Plane, class Volume>
void set(Transform::TypedSlice<Plane, Volume> const& view, int j, int begin, int count, float const* values) {
  for (int k = 0; k < count; ++k) view.set(begin + k, j, values[k]);
}

/// inside[k] is 1 where the voxel's value is greater than zero, 0 elsewhere, NaN included.
template <Transform::PlaneOrientationE Plane>
void getInside(Transform::GenericSlice<Plane> const& view, int j, int begin, int count,
               std::uint8_t* inside) {
  constexpr int block = 512;
  float values[block];
  for (int done = 0; done < count; done += block) {
    int const length = std::min(count - done, block);
    get(view, j, begin + done, length, values);
    voxel_rows::flagFunctions<float>().along(values, 0, static_cast<std::size_t>(length), inside + done);
  }
}

template <Transform::PlaneOrientationE Plane, class Volume>
void getInside(Transform::TypedSlice<Plane, Volume> const& view, int j, int begin, int count,
               std::uint8_t* inside) {
  for (int k = 0; k < count; ++k) inside[k] = view.get(begin + k, j) > 0;
}

/// The view moved to another slice.
template <class View>
View at(View view, std::int64_t slice) {
  view.slice = static_cast<int>(slice);
  return view;
}

/// Whether the first voxel of a slice is inside.
template <class View>
bool startsInside(View const& view) {
  std::uint8_t inside = 0;
  getInside(view, 0, 0, 1, &inside);
  return inside != 0;
}

// --- rows of a slab on their way in ------------------------------------------------------------------

/// How many slices are worked on together, so that memory is read and written in longer pieces than the
/// row of one slice: the rows of neighbouring XZ slices follow each other, and those of YZ slices share
/// their cache lines.
template <class View>
constexpr int slabSize = 1;
template <class Volume>
constexpr int slabSize<Transform::TypedSlice<Transform::planeXZ, Volume>> = 8;
template <class Volume>
constexpr int slabSize<Transform::TypedSlice<Transform::planeYZ, Volume>> =
    static_cast<int>(voxel_rows::maxAcross);

/// Address of a volume's first voxel; of `bool` volumes, of the word that holds it.
template <class T>
T const* firstVoxel(TImageDataset<T, 3> const& volume) {
  if constexpr (std::is_same_v<T, bool>) {
    return reinterpret_cast<bool const*>(volume.pages[0].data.begin()._M_p);
  } else {
    return volume.pages[0].data.data();
  }
}

template <class View>
class ViewedInput : public SlabInput {
 public:
  explicit ViewedInput(View const& view) : SlabInput(view.width, view.height), view_(view) {}

  bool startsInside(std::int64_t slice) const override { return rows::startsInside(at(view_, slice)); }

 protected:
  View view_;
};

template <class View>
class SlabInputOf;

template <Transform::PlaneOrientationE Plane>
class SlabInputOf<Transform::GenericSlice<Plane>> final : public ViewedInput<Transform::GenericSlice<Plane>> {
 public:
  using ViewedInput<Transform::GenericSlice<Plane>>::ViewedInput;

  void enter(std::int64_t first, int count, std::int64_t /*readable*/,
             std::vector<ColumnCounts>& slices) override {
    for (int s = 0; s < count; ++s) {
      auto const view = at(this->view_, first + s);
      for (int j = 0; j < this->height; ++j) {
        getInside(view, j, 0, this->width, flags_.data());
        slices[static_cast<std::size_t>(s)].enterRow(j, flags_.data());
      }
    }
  }

 private:
  std::vector<std::uint8_t> flags_ = std::vector<std::uint8_t>(static_cast<std::size_t>(this->width));
};

template <Transform::PlaneOrientationE Plane, class T>
class SlabInputOf<Transform::TypedSlice<Plane, TImageDataset<T, 3> const>> final
    : public ViewedInput<Transform::TypedSlice<Plane, TImageDataset<T, 3> const>> {
 public:
  using ViewedInput<Transform::TypedSlice<Plane, TImageDataset<T, 3> const>>::ViewedInput;

  void enter(std::int64_t first, int count, std::int64_t /*readable*/,
             std::vector<ColumnCounts>& slices) override {
    T const* const base = firstVoxel(*this->view_.dataset);
    auto const width = static_cast<std::size_t>(this->width);
    for (int j = 0; j < this->height; ++j) {
      for (int s = 0; s < count; ++s) {
        auto const view = at(this->view_, first + s);
        auto const begin = view.index(0, j);
        // The next rows lie whole XY planes away: without this, XZ takes 7 % longer at 512³.
        if (Plane == Transform::planeXZ && j + 1 < this->height)
          voxel_rows::fetch(base, view.index(0, j + 1), width);
        std::uint8_t const* flags = flags_.data();
        if constexpr (std::is_same_v<T, unsigned char>) {
          flags = base + begin;  // values are flags
        } else {
          voxel_rows::flagFunctions<T>().along(base, begin, width, flags_.data());
        }
        slices[static_cast<std::size_t>(s)].enterRow(j, flags);
      }
    }
  }

 private:
  std::vector<std::uint8_t> flags_ = std::vector<std::uint8_t>(static_cast<std::size_t>(this->width));
};

/// Slices that share cache lines: lines are read once for as many slices as they hold, where rows are whole
/// lines, and kept as a bit a slice. Bit b of pack k is that of slice packedBegin_ + 16 k + b.
template <class T>
class SlabInputOf<Transform::TypedSlice<Transform::planeYZ, TImageDataset<T, 3> const>> final
    : public ViewedInput<Transform::TypedSlice<Transform::planeYZ, TImageDataset<T, 3> const>> {
 public:
  using ViewedInput<Transform::TypedSlice<Transform::planeYZ, TImageDataset<T, 3> const>>::ViewedInput;

  void enter(std::int64_t first, int count, std::int64_t readable,
             std::vector<ColumnCounts>& slices) override {
    for (int s = 0; s < count; ++s) {
      if (first + s >= packedEnd_) pack(first + s, readable);
      auto const place = static_cast<std::size_t>(first + s - packedBegin_);
      std::uint16_t const* row = packs_.get() + place / voxel_rows::maxAcross * partLength_;
      auto const bit = static_cast<unsigned>(place % voxel_rows::maxAcross);
      for (int j = 0; j < this->height; ++j, row += rowLength_)
        slices[static_cast<std::size_t>(s)].enterRow(j, row, bit);
    }
  }

 private:
  static constexpr std::size_t parts = voxel_rows::maxPacked / voxel_rows::maxAcross;

  /// The slices from `first` on, up to the end of cache lines.
  void pack(std::int64_t first, std::int64_t readable) {
    if (!packs_) packs_ = allocateAligned<std::uint16_t>(parts * partLength_);
    auto const view = at(this->view_, first);
    auto const& volume = *view.dataset;
    std::size_t const bit = slicesSinceLine(firstVoxel(volume), view.index(0, 0));
    packedBegin_ = first - static_cast<std::int64_t>(bit);
    packedEnd_ = std::min(packedBegin_ + static_cast<int>(voxel_rows::maxPacked), readable);
    auto const width = static_cast<std::size_t>(this->width);
    for (int j = 0; j < this->height; ++j) {
      std::uint16_t* const row = packs_.get() + static_cast<std::size_t>(j) * rowLength_;
      voxel_rows::flagFunctions<T>().pack(firstVoxel(volume), view.index(0, j), volume.pages[0].extents[0],
                                          width, static_cast<std::size_t>(packedEnd_ - first), bit, row,
                                          partLength_);
      for (std::size_t k = 0; k < parts; ++k) {
        std::uint16_t* const part = row + k * partLength_;
        std::fill(part + width, part + rowLength_, part[width - 1]);
      }
    }
  }

  /// How many voxels before voxel `number` lie in its cache line; of bits, in its word.
  static std::size_t slicesSinceLine(T const* base, std::uint64_t number) {
    if constexpr (std::is_same_v<T, bool>) {
      return number % voxel_rows::maxPacked;
    } else {
      constexpr std::size_t line = 64;
      return reinterpret_cast<std::uintptr_t>(base + number) % line / sizeof(T);
    }
  }

  std::size_t rowLength_ = wholeVectors(this->width);
  std::size_t partLength_ = rowLength_ * static_cast<std::size_t>(this->height);
  std::int64_t packedBegin_ = 0;
  std::int64_t packedEnd_ = std::numeric_limits<std::int64_t>::min();
  AlignedArray<std::uint16_t> packs_;
};

// --- rows of a slab on their way out -----------------------------------------------------------------

template <class View>
class SlabOutputOf;

template <Transform::PlaneOrientationE Plane>
class SlabOutputOf<Transform::GenericSlice<Plane>> final : public SlabOutput {
 public:
  SlabOutputOf(Transform::GenericSlice<Plane> const& view, int /*size*/)
      : view_(view), values_(static_cast<std::size_t>(view.width)) {}

  void leave(std::int64_t first, int j, int count, Solve const& solve) override {
    for (int s = 0; s < count; ++s) {
      solve(s, values_.data());
      set(at(view_, first + s), j, 0, view_.width, values_.data());
    }
  }

 private:
  Transform::GenericSlice<Plane> view_;
  std::vector<float> values_;
};

template <Transform::PlaneOrientationE Plane>
class SlabOutputOf<Transform::TypedSlice<Plane, TImageDataset<float, 3>>> final : public SlabOutput {
 public:
  SlabOutputOf(Transform::TypedSlice<Plane, TImageDataset<float, 3>> const& view, int /*size*/)
      : view_(view) {}

  void leave(std::int64_t first, int j, int count, Solve const& solve) override {
    float* const base = view_.dataset->pages[0].data.data();
    for (int s = 0; s < count; ++s) {
      float* const target = base + at(view_, first + s).index(0, j);
      // Without this, writing waits: XY takes a fifth longer at 512².
      voxel_rows::fetch(target, 0, static_cast<std::size_t>(view_.width));
      solve(s, target);
    }
  }

 private:
  Transform::TypedSlice<Plane, TImageDataset<float, 3>> view_;
};

/// Rows of neighbouring slices on their way into a volume in which they lie side by side: element i of row s
/// goes to target[i * stride + s].
struct RowsAcross {
  float const* values;
  std::size_t rowLength;
  std::size_t width;
  std::size_t count;
  float* target;
  std::size_t stride;
  bool pastCache;

  /// One of `count` shares, of which the last may be empty: short ones don't pay.
  void storeShare(std::size_t number) const {
    constexpr std::size_t shortest = 32;
    std::size_t const length = std::max(shortest, (width + 4 * count - 1) / (4 * count) * 4);
    std::size_t const begin = std::min(width, number * length);
    std::size_t const end = std::min(width, begin + length);
    if (begin == end) return;
    voxel_rows::storeAcross(values + begin, rowLength, end - begin, count, target + begin * stride, stride,
                            pastCache);
  }

  /// Asks for the lines of one of `count` shares, unless they need not be read.
  void fetchShare(std::size_t number) const {
    if (pastCache) return;
    std::size_t const length = (width + count - 1) / count;
    std::size_t const end = std::min(width, (number + 1) * length);
    for (std::size_t i = number * length; i < end; ++i) voxel_rows::fetch(target, i * stride, count);
  }
};

template <>
class SlabOutputOf<Transform::TypedSlice<Transform::planeYZ, TImageDataset<float, 3>>> final
    : public SlabOutput {
 public:
  SlabOutputOf(Transform::TypedSlice<Transform::planeYZ, TImageDataset<float, 3>> const& view, int size)
      : view_(view),
        rowLength_(wholeVectors(view.width)),
        values_(2 * rowLength_ * static_cast<std::size_t>(size)) {}

  /// Slabs end where cache lines do, so that lines are written whole.
  int slabLength(std::int64_t first, int most) const override {
    constexpr auto perLine = static_cast<int>(voxel_rows::maxAcross);
    auto const address = reinterpret_cast<std::uintptr_t>(target(first, 0));
    return std::min(most, perLine - static_cast<int>(address / sizeof(float) % perLine));
  }

  /// The rows of one j are written in shares while those of the next are searched: memory is slower.
  void leave(std::int64_t first, int j, int count, Solve const& solve) override {
    auto const across = static_cast<std::size_t>(count);
    float* const values = values_.data() + (j % 2 == 0 ? 0 : values_.size() / 2);
    RowsAcross const rows = {values,
                             rowLength_,
                             static_cast<std::size_t>(view_.width),
                             across,
                             target(first, j),
                             view_.dataset->pages[0].extents[0],
                             goesPastCache(target(first, j), across)};
    for (std::size_t s = 0; s < across; ++s) {
      if (waiting_) waiting_->storeShare(s);
      rows.fetchShare(s);
      solve(static_cast<int>(s), values + s * rowLength_);
    }
    waiting_ = rows;
    if (j > 0) return;
    for (std::size_t s = 0; s < across; ++s) rows.storeShare(s);
    waiting_.reset();
    hwy::FlushStream();
  }

 private:
  float* target(std::int64_t slice, int j) const {
    return view_.dataset->pages[0].data.data() + at(view_, slice).index(0, j);
  }

  /// Whether whole cache lines are written, and so many that none would stay in a cache: then they need not
  /// be read before.
  bool goesPastCache(float const* target, std::size_t count) const {
    constexpr std::size_t cachedBytes = 16 << 20;
    constexpr std::size_t line = voxel_rows::maxAcross;
    auto const& page = view_.dataset->pages[0];
    return count == line && reinterpret_cast<std::uintptr_t>(target) % (line * sizeof(float)) == 0 &&
           page.extents[0] % line == 0 && page.data.size() >= cachedBytes / sizeof(float);
  }

  Transform::TypedSlice<Transform::planeYZ, TImageDataset<float, 3>> view_;
  std::size_t rowLength_;
  std::vector<float> values_;  // two rows for each slice
  std::optional<RowsAcross> waiting_;
};

// --- what a slice is fit for -------------------------------------------------------------------------

/// Whether positions outside the volume are noticed.
template <class View>
constexpr bool isChecked = false;
template <Transform::PlaneOrientationE Plane>
constexpr bool isChecked<Transform::GenericSlice<Plane>> = true;

/// Whether rows can be written in any order and a float comes back with the bits it was written with.
template <Transform::PlaneOrientationE Plane>
bool takesFloats(Transform::GenericSlice<Plane> const& view) {
  return view.dataset->getElementType() >= elementFloat;
}

/// A page with a shape of its own may hold several rows in the same place.
template <Transform::PlaneOrientationE Plane>
bool takesFloats(Transform::TypedSlice<Plane, TImageDataset<float, 3>> const& view) {
  constexpr Transform::SliceAxes axes = Transform::axesOf(Plane);
  auto const& extents = view.dataset->extents;
  bool const isWhole = !view.dataset->pages.empty() && view.dataset->pages[0].extents == extents;
  return isWhole && static_cast<std::uint64_t>(view.width) <= extents[axes.i] &&
         static_cast<std::uint64_t>(view.height) <= extents[axes.j];
}

}  // namespace lorb::rows
