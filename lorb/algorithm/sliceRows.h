#pragma once

#include <lorb/algorithm/ColumnCounts.h>
#include <lorb/algorithm/EuclideanDistanceTransform2D.h>
#include <lorb/algorithm/alignedArray.h>
#include <lorb/algorithm/voxelRows.h>

#include <hwy/cache_control.h>

#include <algorithm>
#include <cstdint>
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

// --- rows of a slab: several slices side by side -----------------------------------------------------

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

/// How many slices from `view.slice` on go into one slab of at most `most`. YZ slabs end where the cache
/// lines of the output do, so that lines are written whole.
template <class View>
int slabLength(View const&, int most) {
  return most;
}

template <class Volume>
int slabLength(Transform::TypedSlice<Transform::planeYZ, Volume> const& view, int most) {
  auto const address =
      reinterpret_cast<std::uintptr_t>(view.dataset->pages[0].data.data() + view.index(0, 0));
  auto const beyondLine = static_cast<int>(address / sizeof(float) % voxel_rows::maxAcross);
  return std::min(most, static_cast<int>(voxel_rows::maxAcross) - beyondLine);
}

/// Flags of neighbouring slices that share cache lines, a bit each: the lines are read once for as many
/// slices as they hold. Bit b of pack k is that of slice begin + 16 k + b.
struct PackedSlices {
  std::int64_t begin = 0;
  std::int64_t end = 0;
  AlignedArray<std::uint16_t> packs;
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

/// Where the rows of a slab pass through.
struct SlabBuffers {
  SlabBuffers(int width, int slices)
      : rowLength((static_cast<std::size_t>(width) + 63) / 64 * 64),
        flags(rowLength),
        values(2 * rowLength * static_cast<std::size_t>(slices)) {}

  std::size_t rowLength;
  std::vector<std::uint8_t> flags;
  std::vector<float> values;  // two rows for each slice
  PackedSlices packed;
  std::optional<RowsAcross> waiting;
};

/// Address of a volume's first voxel; of `bool` volumes, of the word that holds it.
template <class T>
void const* firstVoxel(TImageDataset<T, 3> const& volume) {
  if constexpr (std::is_same_v<T, bool>) {
    return volume.pages[0].data.begin()._M_p;
  } else {
    return volume.pages[0].data.data();
  }
}

/// Hands all rows of `count` slices from `view.slice` on to `slices`. What is read ahead for later slabs ends
/// with slice `readable` − 1.
template <Transform::PlaneOrientationE Plane>
void enter(Transform::GenericSlice<Plane> const& view, std::vector<ColumnCounts>& slices, int count,
           std::int64_t /*readable*/, SlabBuffers& buffers) {
  Transform::GenericSlice<Plane> row = view;
  for (int s = 0; s < count; ++s, ++row.slice) {
    for (int j = 0; j < view.height; ++j) {
      getInside(row, j, 0, view.width, buffers.flags.data());
      slices[static_cast<std::size_t>(s)].enterRow(j, buffers.flags.data());
    }
  }
}

template <Transform::PlaneOrientationE Plane, class T>
void enter(Transform::TypedSlice<Plane, TImageDataset<T, 3> const> const& view,
           std::vector<ColumnCounts>& slices, int count, std::int64_t /*readable*/, SlabBuffers& buffers) {
  void const* const base = firstVoxel(*view.dataset);
  auto const width = static_cast<std::size_t>(view.width);
  for (int j = 0; j < view.height; ++j) {
    auto row = view;
    for (int s = 0; s < count; ++s, ++row.slice) {
      ColumnCounts& slice = slices[static_cast<std::size_t>(s)];
      if (j + 1 < view.height) voxel_rows::fetch(static_cast<T const*>(base), row.index(0, j + 1), width);
      if constexpr (std::is_same_v<T, unsigned char>) {
        slice.enterRow(j, static_cast<unsigned char const*>(base) + row.index(0, j));  // values are flags
      } else {
        voxel_rows::flagFunctions<T>().along(base, row.index(0, j), width, buffers.flags.data());
        slice.enterRow(j, buffers.flags.data());
      }
    }
  }
}

/// How many slices of plane YZ before `view.slice` share the cache line of its first voxel.
template <class T>
std::size_t slicesSinceLine(
    Transform::TypedSlice<Transform::planeYZ, TImageDataset<T, 3> const> const& view) {
  if constexpr (std::is_same_v<T, bool>) {
    return view.index(0, 0) % voxel_rows::maxPacked;
  } else {
    auto const* const voxel = static_cast<T const*>(firstVoxel(*view.dataset)) + view.index(0, 0);
    return reinterpret_cast<std::uintptr_t>(voxel) / sizeof(T) % (64 / sizeof(T));
  }
}

/// Packs the slices from `view.slice` on, up to the end of cache lines, so that none is read twice.
template <class T>
void pack(Transform::TypedSlice<Transform::planeYZ, TImageDataset<T, 3> const> const& view,
          std::int64_t readable, SlabBuffers& buffers) {
  using voxel_rows::maxAcross;
  using voxel_rows::maxPacked;
  std::size_t const partLength = buffers.rowLength * static_cast<std::size_t>(view.height);
  PackedSlices& packed = buffers.packed;
  if (!packed.packs) packed.packs = allocateAligned<std::uint16_t>(maxPacked / maxAcross * partLength);
  std::size_t const bit = slicesSinceLine(view);
  packed.begin = view.slice - static_cast<std::int64_t>(bit);
  packed.end = std::min(packed.begin + static_cast<int>(maxPacked), readable);
  auto const width = static_cast<std::size_t>(view.width);
  for (int j = 0; j < view.height; ++j) {
    std::uint16_t* const row = packed.packs.get() + static_cast<std::size_t>(j) * buffers.rowLength;
    voxel_rows::flagFunctions<T>().pack(
        firstVoxel(*view.dataset), view.index(0, j), view.dataset->pages[0].extents[0], width,
        static_cast<std::size_t>(packed.end - view.slice), bit, row, partLength);
    for (std::size_t k = 0; k < maxPacked / maxAcross; ++k) {
      std::uint16_t* const part = row + k * partLength;
      std::fill(part + width, part + buffers.rowLength, part[width - 1]);
    }
  }
}

template <class T>
void enter(Transform::TypedSlice<Transform::planeYZ, TImageDataset<T, 3> const> const& view,
           std::vector<ColumnCounts>& slices, int count, std::int64_t readable, SlabBuffers& buffers) {
  PackedSlices const& packed = buffers.packed;
  std::size_t const partLength = buffers.rowLength * static_cast<std::size_t>(view.height);
  auto slice = view;
  for (int s = 0; s < count; ++s, ++slice.slice) {
    if (slice.slice >= packed.end) pack(slice, readable, buffers);
    auto const place = static_cast<std::size_t>(slice.slice - packed.begin);
    std::uint16_t const* row = packed.packs.get() + place / voxel_rows::maxAcross * partLength;
    auto const bit = static_cast<unsigned>(place % voxel_rows::maxAcross);
    for (int j = 0; j < view.height; ++j, row += buffers.rowLength) {
      slices[static_cast<std::size_t>(s)].enterRow(j, row, bit);
    }
  }
}

/// Writes row `j` of the slices from `view.slice` on; `solve(s, values)` provides that of slice s.
template <Transform::PlaneOrientationE Plane, class Solve>
void leave(Transform::GenericSlice<Plane> const& view, int j, int count, SlabBuffers& buffers, Solve solve) {
  Transform::GenericSlice<Plane> row = view;
  for (int s = 0; s < count; ++s, ++row.slice) {
    solve(s, buffers.values.data());
    set(row, j, 0, view.width, buffers.values.data());
  }
}

/// Whether whole cache lines are written, and so many that none would stay in a cache: then they need not be
/// read before.
inline bool goesPastCache(TImageDataset<float, 3> const& volume, float const* target, std::size_t count) {
  constexpr std::size_t cachedBytes = 16 << 20;
  constexpr std::size_t line = voxel_rows::maxAcross;
  return count == line && reinterpret_cast<std::uintptr_t>(target) % (line * sizeof(float)) == 0 &&
         volume.pages[0].extents[0] % line == 0 && volume.pages[0].data.size() >= cachedBytes / sizeof(float);
}

template <Transform::PlaneOrientationE Plane, class Solve>
void leave(Transform::TypedSlice<Plane, TImageDataset<float, 3>> const& view, int j, int count,
           SlabBuffers& buffers, Solve solve) {
  float* const base = view.dataset->pages[0].data.data();
  auto const width = static_cast<std::size_t>(view.width);
  if constexpr (Plane == Transform::planeYZ) {
    // The rows of one j are written in shares while those of the next are searched: memory is slower.
    auto const across = static_cast<std::size_t>(count);
    float* const values = buffers.values.data() + (j % 2 == 0 ? 0 : buffers.values.size() / 2);
    float* const target = base + view.index(0, j);
    RowsAcross const rows = {values,
                             buffers.rowLength,
                             width,
                             across,
                             target,
                             view.dataset->pages[0].extents[0],
                             goesPastCache(*view.dataset, target, across)};
    for (std::size_t s = 0; s < across; ++s) {
      if (buffers.waiting) buffers.waiting->storeShare(s);
      rows.fetchShare(s);
      solve(static_cast<int>(s), values + s * buffers.rowLength);
    }
    buffers.waiting = rows;
    if (j > 0) return;
    for (std::size_t s = 0; s < across; ++s) rows.storeShare(s);
    buffers.waiting.reset();
    hwy::FlushStream();
  } else {
    auto row = view;
    for (int s = 0; s < count; ++s, ++row.slice) {
      float* const target = base + row.index(0, j);
      voxel_rows::fetch(target, 0, width);
      solve(s, target);
    }
  }
}

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
