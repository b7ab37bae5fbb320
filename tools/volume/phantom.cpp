#include "tools/volume/phantom.h"

#include <cmath>
#include <cstddef>
#include <numbers>

namespace lorb::tools {
namespace {

constexpr Extents extents = {256, 256, 64};
constexpr Vector3 spacing = {0.9, 0.9, 2.5};

/// Adds `value` to what lies within. Centre and half axes are fractions of half the volume, the angle
/// turns about z.
struct Ellipsoid {
  short value;
  Vector3 halfAxes;
  Vector3 centre;
  double degrees;
};

// Whole numbers, so that what the ventricles take away leaves exactly nothing.
constexpr Ellipsoid ellipsoids[] = {
    {100, {0.6900, 0.920, 0.90}, {0.00, 0.0000, 0.00}, 0.0},  // skull
    {-80, {0.6624, 0.874, 0.84}, {0.00, -0.0184, 0.00}, 0.0},
    {-20, {0.1100, 0.310, 0.35}, {0.22, 0.0000, 0.05}, -18.0},  // ventricles
    {-20, {0.1600, 0.410, 0.35}, {-0.22, 0.0000, 0.05}, 18.0},
    {10, {0.2100, 0.250, 0.40}, {0.00, 0.3500, 0.00}, 0.0},  // lesions
    {10, {0.0460, 0.046, 0.09}, {0.00, 0.1000, 0.10}, 0.0},
    {10, {0.0460, 0.046, 0.09}, {0.00, -0.1000, 0.10}, 0.0},
    {10, {0.0460, 0.023, 0.06}, {-0.08, -0.6050, 0.00}, 0.0},
    {10, {0.0230, 0.023, 0.05}, {0.00, -0.6060, 0.00}, 0.0},
    {10, {0.0230, 0.046, 0.06}, {0.06, -0.6050, 0.00}, 0.0},
};

/// Where index `k` of `count` lies, from −1 at one face of the volume to +1 at the other.
double fraction(std::uint64_t k, std::uint64_t count) {
  return (2.0 * double(k) + 1.0) / double(count) - 1.0;
}

bool contains(Ellipsoid const& e, Vector3 const& p) {
  double const angle = e.degrees * std::numbers::pi / 180.0;
  double const x = p[0] - e.centre[0], y = p[1] - e.centre[1], z = p[2] - e.centre[2];
  double const u = (x * std::cos(angle) + y * std::sin(angle)) / e.halfAxes[0];
  double const v = (y * std::cos(angle) - x * std::sin(angle)) / e.halfAxes[1];
  double const w = z / e.halfAxes[2];
  return u * u + v * v + w * w <= 1.0;
}

void add(Ellipsoid const& ellipsoid, TImageDataset<short, 3>& volume) {
  for (std::uint64_t z = 0; z < extents[2]; ++z) {
    double const pz = fraction(z, extents[2]);
    // Most slices miss the small ones altogether.
    if (std::abs(pz - ellipsoid.centre[2]) > ellipsoid.halfAxes[2]) continue;
    for (std::uint64_t y = 0; y < extents[1]; ++y) {
      for (std::uint64_t x = 0; x < extents[0]; ++x) {
        if (!contains(ellipsoid, {fraction(x, extents[0]), fraction(y, extents[1]), pz})) continue;
        volume(x, y, z) = static_cast<short>(volume(x, y, z) + ellipsoid.value);
      }
    }
  }
}

}  // namespace

Volume headPhantom() {
  auto voxels = std::make_unique<TImageDataset<short, 3>>(extents);
  for (Ellipsoid const& ellipsoid : ellipsoids) add(ellipsoid, *voxels);
  Volume volume;
  volume.voxels = std::move(voxels);
  volume.geometry.spacing = spacing;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    volume.geometry.origin[axis] = -0.5 * spacing[axis] * double(extents[axis] - 1);
  }
  return volume;
}

}  // namespace lorb::tools
