#include "benchmarks/subjects.h"

#include <cmath>

namespace benchmarks {

void requireSameMap(benchmark::State& state, Case const& c, bool onlyOutside) {
  if (c.workload == Workload::empty) return;  // a map without a boundary is what everybody makes of it
  FloatVolume expected(c.extents());
  Transform transform;
  transform.setPlane(c.plane);
  transform.computeTwoSided(&inputOf<unsigned char>(c), &expected);

  auto const map = outputFor(c).voxels();
  for (std::size_t k = 0; k < map.size(); ++k) {
    float const distance = expected.voxels()[k];
    if (onlyOutside && distance < 0.0F) continue;
    if (std::abs(map[k] - distance) <= 1e-4F * std::abs(distance)) continue;
    state.SkipWithError("the map differs from the library's");
    return;
  }
}

}  // namespace benchmarks
