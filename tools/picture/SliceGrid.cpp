#include "tools/picture/SliceGrid.h"

#include <lorb/dataset/TImageDataset.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <type_traits>

namespace lorb::tools {
namespace {

/// The voxels along one side that a sample covers: from `begin` up to `end`, in units of voxels.
struct Cover {
  double begin, end;

  std::uint64_t first() const { return static_cast<std::uint64_t>(begin); }
  double share(std::uint64_t voxel) const {
    return std::min(end, double(voxel) + 1.0) - std::max(begin, double(voxel));
  }
};

/// Divides the voxels of one side evenly among the samples.
struct Side {
  DisplayAxis axis;
  std::uint64_t voxels;
  int samples;

  Side(DisplayAxis const& displayed, std::uint64_t const* size, int most)
      : axis(displayed),
        voxels(size[displayed.axis]),
        samples(static_cast<int>(std::min(voxels, static_cast<std::uint64_t>(most)))) {}

  Cover cover(int sample) const {
    double const perSample = double(voxels) / samples;
    // The ends that lie on voxels' edges are meant to do so to the last bit.
    return {samples == int(voxels) ? sample : sample * perSample,
            samples == int(voxels) ? sample + 1 : std::min(double(voxels), (sample + 1) * perSample)};
  }
  std::uint64_t index(std::uint64_t voxel) const { return axis.reversed ? voxels - 1 - voxel : voxel; }
};

/// A mean in which NaN counts only by itself.
class Mean {
 public:
  void add(double value, double weight) {
    if (std::isnan(value)) return;
    sum_ += weight * value;
    weights_ += weight;
  }
  float value() const {
    return weights_ > 0 ? static_cast<float>(sum_ / weights_) : std::numeric_limits<float>::quiet_NaN();
  }

 private:
  double sum_ = 0.0, weights_ = 0.0;
};

/// `read(i, j)` is the voxel in column i and row j of the slice as it is looked at.
template <class Read>
SliceGrid sampled(Side const& across, Side const& down, Read read) {
  SliceGrid grid{across.samples, down.samples, {}};
  grid.samples.reserve(static_cast<std::size_t>(grid.width) * static_cast<std::size_t>(grid.height));
  for (int v = 0; v < grid.height; ++v) {
    Cover const rows = down.cover(v);
    for (int u = 0; u < grid.width; ++u) {
      Cover const columns = across.cover(u);
      Mean mean;
      for (std::uint64_t j = rows.first(); double(j) < rows.end; ++j) {
        for (std::uint64_t i = columns.first(); double(i) < columns.end; ++i) {
          double const value = read(i, j);
          grid.negative |= value < 0;
          grid.positive |= value > 0;
          mean.add(value, rows.share(j) * columns.share(i));
        }
      }
      grid.samples.push_back(mean.value());
    }
  }
  return grid;
}

}  // namespace

float SliceGrid::nearest(int i, int j) const {
  auto const column = static_cast<std::size_t>(std::clamp(i, 0, width - 1));
  auto const row = static_cast<std::size_t>(std::clamp(j, 0, height - 1));
  return samples[row * static_cast<std::size_t>(width) + column];
}

double SliceGrid::interpolated(double x, double y) const {
  double const left = std::floor(x - 0.5), top = std::floor(y - 0.5);
  double const across = x - 0.5 - left, down = y - 0.5 - top;
  int const i = static_cast<int>(left), j = static_cast<int>(top);
  // Weights of 0 are left out, since 0 times NaN or infinity is NaN.
  auto const mix = [](double a, double b, double t) { return t == 0 || a == b ? a : a + t * (b - a); };
  return mix(mix(nearest(i, j), nearest(i + 1, j), across),
             down == 0 ? 0.0 : mix(nearest(i, j + 1), nearest(i + 1, j + 1), across), down);
}

SliceGrid sliceGrid(ImageDataset const& volume, SliceOrientation const& orientation, std::uint64_t slice,
                    int maxWidth, int maxHeight) {
  Side const across(orientation.across, volume.size_array(), maxWidth);
  Side const down(orientation.down, volume.size_array(), maxHeight);
  SliceGrid grid;
  visitElementType(volume.type_id(), [&]<class T>(std::type_identity<T>) {
    auto const& typed = static_cast<TImageDataset<T, 3> const&>(volume);
    grid = sampled(across, down, [&](std::uint64_t i, std::uint64_t j) {
      std::array<std::uint64_t, 3> p = {slice, slice, slice};
      p[static_cast<std::size_t>(across.axis.axis)] = across.index(i);
      p[static_cast<std::size_t>(down.axis.axis)] = down.index(j);
      return static_cast<double>(typed(p[0], p[1], p[2]));
    });
  });
  return grid;
}

}  // namespace lorb::tools
