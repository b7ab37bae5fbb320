// Volumes that are hard on file formats: odd extents, three different spacings, an origin away from 0 and
// axes that are oblique to all others.
#pragma once

#include "tools/volume/Volume.h"

#include <cmath>
#include <random>
#include <type_traits>

namespace lorb::tools {

/// A turn about x, then z, by angles that have no simple sines.
inline Geometry obliqueGeometry() {
  Geometry geometry;
  geometry.origin = {-91.25, 126.5, -72.75};
  geometry.spacing = {0.75, 1.25, 2.5};
  double const cx = std::cos(0.3), sx = std::sin(0.3), cz = std::cos(-0.5), sz = std::sin(-0.5);
  geometry.direction = {{{cz, -sz * cx, sz * sx}, {sz, cz * cx, -cz * sx}, {0.0, sx, cx}}};
  return geometry;
}

/// Every element has other bits than its neighbours; the limits of the type occur.
inline Volume sampleVolume(TypeID type, Extents const& extents = {7, 5, 4}) {
  Volume volume;
  volume.geometry = obliqueGeometry();
  volume.voxels = makeVoxels(type, extents);
  std::mt19937_64 random(20240229);
  visitElementType(type, [&]<class T>(std::type_identity<T>) {
    auto& data = static_cast<TImageDataset<T, 3>&>(*volume.voxels).pages[0].data;
    for (std::size_t k = 0; k < data.size(); ++k) {
      if constexpr (std::is_floating_point_v<T>) {
        data[k] = static_cast<T>(static_cast<double>(random() % 2000) / 7.0 - 140.0);
      } else {
        data[k] = static_cast<T>(random());
      }
    }
    data[0] = std::numeric_limits<T>::lowest();
    data[1] = std::numeric_limits<T>::max();
  });
  return volume;
}

}  // namespace lorb::tools
