#include "tools/picture/DistanceScale.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>

namespace lorb::tools {
namespace {

constexpr double shownShare = 0.85;
constexpr int mostTicksPerSide = 5;

/// The least of 1, 2 and 5 times a power of ten by which `mostTicksPerSide` steps reach `distance`.
double roundStep(double distance) {
  double const least = distance / mostTicksPerSide;
  double const power = std::pow(10.0, std::floor(std::log10(least)));
  for (double const digit : {1.0, 2.0, 5.0}) {
    // Quotients that should be whole are off by some bits.
    if (digit * power * (1 + 1e-9) >= least) return digit * power;
  }
  return 10.0 * power;
}

/// The finite samples of all slices that have a boundary, in ascending order.
std::vector<float> sortedDistances(std::vector<SliceGrid> const& maps) {
  std::vector<float> distances;
  for (SliceGrid const& map : maps) {
    if (!hasBoundary(map)) continue;
    std::copy_if(map.samples.begin(), map.samples.end(), std::back_inserter(distances),
                 [](float sample) { return std::isfinite(sample); });
  }
  std::sort(distances.begin(), distances.end());
  return distances;
}

/// The least distance within which `shownShare` lies, of the mean of both sides' shares.
double reachedBy(std::vector<float> const& sorted) {
  auto const outside = std::lower_bound(sorted.begin(), sorted.end(), 0.0F);
  double const perInside = 0.5 / double(std::max<std::ptrdiff_t>(1, outside - sorted.begin()));
  double const perOutside = 0.5 / double(std::max<std::ptrdiff_t>(1, sorted.end() - outside));
  // Away from the boundary on both sides, the nearer sample first.
  auto in = std::make_reverse_iterator(outside);
  auto out = outside;
  double share = 0, reached = 0;
  while (share < shownShare && (in != sorted.rend() || out != sorted.end())) {
    bool const insideNext = in != sorted.rend() && (out == sorted.end() || -*in <= *out);
    share += insideNext ? perInside : perOutside;
    reached = insideNext ? -*in++ : *out++;
  }
  return reached;
}

}  // namespace

int DistanceScale::ticksPerSide() const {
  return static_cast<int>(std::lround(range / step));
}

std::optional<DistanceScale> distanceScale(std::vector<SliceGrid> const& maps) {
  std::vector<float> const distances = sortedDistances(maps);
  if (distances.empty()) return std::nullopt;
  double const reached = reachedBy(distances);
  if (!(reached > 0)) return std::nullopt;
  double const step = roundStep(reached);
  double const range = step * std::ceil(reached / step * (1 - 1e-9));
  return DistanceScale{range, step, distances.front() < -range, distances.back() > range};
}

}  // namespace lorb::tools
