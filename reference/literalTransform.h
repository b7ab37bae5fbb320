#pragma once

// The distance transform step by step and voxel by voxel, as plainly as it can be said. It is the oracle
// that the library must equal bit for bit, and the yardstick of the benchmarks. It shares no code with
// the library beyond the volumes.

#include <lorb/algorithm/EuclideanDistanceTransform2D.h>

#include <cmath>
#include <cstdint>
#include <vector>

namespace reference {

using Transform = lorb::EuclideanDistanceTransform2D;

/// One slice as the procedure sees it: `inside(i, j)` of the input, `get(i, j)` and `set(i, j, value)` of
/// the output, work values in `scratch`, element (i, j) at j·width + i.
template <class Inside, class Get, class Set>
class LiteralSlice {
 public:
  /// `negatives`: whether the scratch holds numbers below 0, and not 0 in their place.
  LiteralSlice(int width, int height, Inside inside, Get get, Set set, float const* roots,
               bool negatives = false)
      : width_(width),
        height_(height),
        inside_(inside),
        get_(get),
        set_(set),
        roots_(roots),
        negatives_(negatives),
        scratch_(width > 0 ? static_cast<std::size_t>(width) * static_cast<std::size_t>(height) : 0) {}

  void compute() {
    if (twoSidedIn()) {
      twoSidedOut();
    } else {
      fill();
    }
  }

  bool twoSidedIn() {
    if (width_ < 1) return false;
    columnPass(inside_);
    if (allInside_ || allOutside_) return false;
    rowPass([&](int u, int j, float root) { set_(u, j, root > 0.0F ? -root : 1.0F); });
    return true;
  }

  void twoSidedOut() {
    columnPass([&](int i, int j) { return get_(i, j) > 0.0F; });
    rowPass([&](int u, int j, float root) {
      if (root > 0.0F) set_(u, j, root);
    });
  }

  void fill() {
    int const n = bound();
    float const value =
        static_cast<float>(inside_(0, 0) ? static_cast<int>(0U - static_cast<unsigned>(n)) : n);
    for (int j = 0; j < height_; ++j) {
      for (int i = 0; i < width_; ++i) set_(i, j, value);
    }
  }

  std::vector<float> const& scratch() const { return scratch_; }

  /// The element of the scratch that was read or written last.
  int lastScratchI() const { return lastI_; }
  int lastScratchJ() const { return lastJ_; }

 private:
  int bound() const {
    return static_cast<int>(static_cast<unsigned>(width_) * static_cast<unsigned>(width_) +
                            static_cast<unsigned>(height_) * static_cast<unsigned>(height_));
  }

  float& scratch(int i, int j) {
    lastI_ = i;
    lastJ_ = j;
    return scratch_[static_cast<std::size_t>(j) * static_cast<std::size_t>(width_) +
                    static_cast<std::size_t>(i)];
  }

  std::uint32_t g(std::uint32_t i, int j) {
    return static_cast<std::uint32_t>(static_cast<std::int64_t>(scratch(static_cast<int>(i), j)));
  }

  template <class Source>
  void columnPass(Source source) {
    allInside_ = true;
    allOutside_ = true;
    for (int i = 0; i < width_; ++i) {
      auto const infinity = static_cast<float>(bound());
      scratch(i, 0) = source(i, 0) ? (negatives_ ? infinity : std::max(infinity, 0.0F)) : 0.0F;
      int increment = 1;
      for (int j = 1; j < height_; ++j) {
        if (source(i, j)) {
          scratch(i, j) = scratch(i, j - 1) + static_cast<float>(increment);
          increment += 2;
          allOutside_ = false;
        } else {
          scratch(i, j) = 0.0F;
          increment = 1;
          allInside_ = false;
        }
      }
      increment = 1;
      for (int j = height_ - 2; j >= 0; --j) {
        float const a = scratch(i, j);
        float const b = scratch(i, j + 1);
        if (a > b) {
          scratch(i, j) = scratch(i, j + 1) + static_cast<float>(increment);
          increment += 2;
        } else {
          increment = 1;
        }
      }
    }
  }

  template <class Write>
  void rowPass(Write write) {
    using U = std::uint32_t;
    std::vector<U> s(static_cast<std::size_t>(width_));
    std::vector<U> t(static_cast<std::size_t>(width_));
    for (int j = 0; j < height_; ++j) {
      int q = 0;
      auto const top = [&] { return static_cast<std::size_t>(q); };
      s[0] = 0;
      t[0] = 0;
      for (U u = 1; u < static_cast<U>(width_); ++u) {
        U const gu = g(u, j);
        while (q >= 0) {
          U const a = (t[top()] - u) * (t[top()] - u) + gu;
          U const b = (t[top()] - s[top()]) * (t[top()] - s[top()]) + g(s[top()], j);
          if (!(a < b)) break;
          --q;
        }
        if (q < 0) {
          q = 0;
          s[0] = u;
        } else {
          U const site = s[top()];
          U const w = (u * u - site * site + gu - g(site, j)) / (2 * (u - site)) + 1;
          if (static_cast<std::int32_t>(w) < width_) {
            ++q;
            s[top()] = u;
            t[top()] = w;
          }
        }
      }
      for (int u = width_ - 1; u >= 0; --u) {
        U const x = static_cast<U>(u);
        U const d = g(s[top()], j) + (x - s[top()]) * (x - s[top()]);
        write(u, j, roots_[d]);
        if (t[top()] == x) --q;
      }
    }
  }

  int width_;
  int height_;
  Inside inside_;
  Get get_;
  Set set_;
  float const* roots_;
  bool negatives_;
  std::vector<float> scratch_;
  int lastI_ = -1;
  int lastJ_ = -1;
  bool allInside_ = true;
  bool allOutside_ = true;
};

/// Square roots of 0 to `n`.
inline std::vector<float> squareRoots(int n) {
  std::vector<float> roots;
  for (int k = 0; k <= n; ++k) roots.push_back(std::sqrt(static_cast<float>(k)));
  return roots;
}

/// Which volume axes a plane's i, j and slice index run along, written out once more.
inline void place(int plane, int i, int j, int k, std::uint64_t& x, std::uint64_t& y, std::uint64_t& z) {
  auto const a = static_cast<std::uint64_t>(i);
  auto const b = static_cast<std::uint64_t>(j);
  auto const c = static_cast<std::uint64_t>(k);
  if (plane == 2) x = a, y = b, z = c;
  if (plane == 1) x = a, y = c, z = b;
  if (plane == 0) x = c, y = a, z = b;
}

struct PlaneExtents {
  int width, height, slices;
};

inline PlaneExtents planeExtents(int plane, int nx, int ny, int nz) {
  if (plane == 2) return {nx, ny, nz};
  if (plane == 1) return {nx, nz, ny};
  return {ny, nz, nx};
}

/// The transform of every slice of a typed volume, or of slice `only` when that is not negative. `roots`,
/// when given, must hold the square roots up to the squared diagonal of a slice.
template <class T>
void literalTransform(lorb::TImageDataset<T, 3> const& input, lorb::TImageDataset<float, 3>& output,
                      int plane, int only = -1, float const* roots = nullptr) {
  auto const* size = input.size_array();
  auto const [width, height, slices] =
      planeExtents(plane, static_cast<int>(size[0]), static_cast<int>(size[1]), static_cast<int>(size[2]));
  std::vector<float> ownRoots;
  if (roots == nullptr) {
    ownRoots = squareRoots(width * width + height * height);
    roots = ownRoots.data();
  }
  auto const offset = [&, nx = size[0], ny = size[1]](int i, int j, int k) {
    std::uint64_t x = 0, y = 0, z = 0;
    place(plane, i, j, k, x, y, z);
    return (z * ny + y) * nx + x;
  };
  std::uint64_t const perI = offset(1, 0, 0), perJ = offset(0, 1, 0), perSlice = offset(0, 0, 1);
  std::uint64_t first = 0;  // voxel of the slice at hand
  auto const index = [&first, perI, perJ](int i, int j) {
    return first + static_cast<std::uint64_t>(i) * perI + static_cast<std::uint64_t>(j) * perJ;
  };
  auto const& from = input.pages[0].data;
  auto& to = output.pages[0].data;
  LiteralSlice slice(
      width, height, [&from, index](int i, int j) { return from[index(i, j)] > 0; },
      [&to, index](int i, int j) { return to[index(i, j)]; },
      [&to, index](int i, int j, float value) { to[index(i, j)] = value; }, roots);
  for (int k = only < 0 ? 0 : only; k < (only < 0 ? slices : only + 1); ++k) {
    first = static_cast<std::uint64_t>(k) * perSlice;
    slice.compute();
  }
}

/// The same for generic datasets, every voxel through their float accessors.
inline void literalTransform(lorb::Dataset& input, lorb::Dataset& output, int plane, int only = -1) {
  auto const size = input.getSize();
  auto const [width, height, slices] = planeExtents(plane, size[0], size[1], size[2]);
  // Outputs without negative numbers lose the inside voxels, and with them every bound below this one.
  std::vector<float> const roots = squareRoots(2 * (width * width + height * height));
  for (int k = only < 0 ? 0 : only; k < (only < 0 ? slices : only + 1); ++k) {
    auto const at = [&, plane, k](int i, int j) {
      std::uint64_t x = 0, y = 0, z = 0;
      place(plane, i, j, k, x, y, z);
      return lorb::DatasetCoordinates(static_cast<int>(x), static_cast<int>(y), static_cast<int>(z), 0, 0);
    };
    LiteralSlice slice(
        width, height, [&](int i, int j) { return input.getElement<float>(at(i, j)) > 0.0F; },
        [&](int i, int j) { return output.getElement<float>(at(i, j)); },
        [&](int i, int j, float value) { output.setElement<float>(at(i, j), value); }, roots.data());
    slice.compute();
  }
}

}  // namespace reference
