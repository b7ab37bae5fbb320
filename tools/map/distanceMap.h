// From mask to map, by the library's public interface, on as many threads as asked for.
#pragma once

#include "tools/map/slices.h"

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace lorb::tools {

using DistanceMap = TImageDataset<float, 3>;

/// The transform's own filling of slices without a boundary, but for the sign: width² + height².
std::uint64_t boundlessDistance(SliceShape const& shape);

/// What slices without a boundary hold in a map.
enum class NoBoundary {
  diagonal,  ///< ±√(width² + height²), which no distance in the slice exceeds
  constant,  ///< ±(width² + height²), as the transform has it
  nan,       ///< NaN
};

/// Processors that this process may use, at least 1.
unsigned processorCount();

/// How to compute a map.
struct MapSettings {
  SliceChoice choice;
  NoBoundary noBoundary = NoBoundary::diagonal;
  double voxelLength = 1.0;  ///< what distances in voxels are multiplied by; ±(width² + height²) is not
  unsigned threads = 1;      ///< at least 1
};

/// What is in a slice of a map.
struct SliceSummary {
  std::uint64_t slice;
  std::uint64_t inside;  ///< voxels
  float least, greatest;
  bool hasBoundary;
};

/// What a slice of this shape without a boundary holds when its voxels are outside.
float valueWithoutBoundary(SliceShape const& shape, MapSettings const& settings);

/// Throws `std::invalid_argument` when the chosen slice is none of a volume of these extents or when the
/// slices are too large for the transform, see there.
void requireComputable(std::array<std::uint64_t, 3> const& extents, SliceChoice const& choice);

/// Called with the number of slices done since the last call, from any thread.
using SlicesDone = std::function<void(std::uint64_t)>;

/// Signed distances, slice by slice, of a volume of the same extents; 0 in every slice that was not chosen.
/// Every slice that holds inside and outside voxels has a boundary, also where the transform sees none since
/// it lies in row 0 alone. The result is the same for every number of threads, of which each takes a
/// transform and work memory of its own. Adds what is in the computed slices to `summaries`, in ascending
/// order, when that is not null. The caller sees to `requireComputable`.
DistanceMap distanceMap(TImageDataset<unsigned char, 3> const& mask, MapSettings const& settings,
                        std::vector<SliceSummary>* summaries = nullptr, SlicesDone const& done = {});

/// The same for many volumes, on all threads of the caller's arena, whatever `settings.threads` says. The
/// threads' transforms and work memory last as long as this object. May be called from several threads at a
/// time.
class DistanceMapper {
 public:
  DistanceMapper();
  ~DistanceMapper();
  DistanceMapper(DistanceMapper const&) = delete;
  DistanceMapper& operator=(DistanceMapper const&) = delete;

  DistanceMap map(TImageDataset<unsigned char, 3> const& mask, MapSettings const& settings,
                  std::vector<SliceSummary>* summaries, SlicesDone const& done);

 private:
  struct Transforms;
  std::unique_ptr<Transforms> transforms_;
};

}  // namespace lorb::tools
