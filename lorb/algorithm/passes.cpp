#include <lorb/algorithm/passes.h>

#include <algorithm>
#include <cstddef>

namespace lorb::passes {

void ColumnBlock::start(std::uint8_t const* inside, int count, float infinity) {
  for (int i = 0; i < count; ++i) values[i] = inside[i] ? infinity : 0.0F;
  std::fill_n(increments, count, 1);
}

void ColumnBlock::stepDown(std::uint8_t const* inside, int count) {
  for (int i = 0; i < count; ++i) {
    float const sum = values[i] + static_cast<float>(increments[i]);
    values[i] = inside[i] ? sum : 0.0F;
    increments[i] = inside[i] ? increments[i] + 2 : 1;
  }
}

void ColumnBlock::turn() {
  std::fill_n(increments, width, 1);
}

void ColumnBlock::stepUp(float const* fromAbove, int count) {
  for (int i = 0; i < count; ++i) {
    // The neighbour itself is compared, not the neighbour plus its increment: for squares of whole
    // numbers that gives the minimum of both ways, and rounding keeps the same order everywhere.
    bool const nearerBelow = fromAbove[i] > values[i];
    float const sum = values[i] + static_cast<float>(increments[i]);
    values[i] = nearerBelow ? sum : fromAbove[i];
    increments[i] = nearerBelow ? increments[i] + 2 : 1;
  }
}

RowEnvelope::RowEnvelope(int width)
    : width_(width),
      sites_(new std::uint32_t[static_cast<std::size_t>(width)]),
      starts_(new std::uint32_t[static_cast<std::size_t>(width)]) {}

void RowEnvelope::squaredDistances(std::uint32_t const* g, std::uint32_t* distances) {
  std::uint32_t* const s = sites_.get();
  std::uint32_t* const t = starts_.get();
  auto const width = static_cast<std::uint32_t>(width_);
  auto const parabola = [&](std::uint32_t x, std::uint32_t site) {
    return (x - site) * (x - site) + g[site];
  };

  // 1: the envelope, site by site from the left
  int q = 0;
  s[0] = 0;
  t[0] = 0;
  for (std::uint32_t u = 1; u < width; ++u) {
    while (q >= 0 && parabola(t[q], u) < parabola(t[q], s[q])) --q;
    if (q < 0) {
      q = 0;
      s[0] = u;
      continue;
    }
    std::uint32_t const separator = (u * u - s[q] * s[q] + g[u] - g[s[q]]) / (2 * (u - s[q])) + 1;
    if (static_cast<std::int32_t>(separator) < width_) {
      ++q;
      s[q] = u;
      t[q] = separator;
    }
  }

  // 2: read it off from the right
  for (std::uint32_t u = width; u-- > 0;) {
    distances[u] = parabola(u, s[q]);
    if (t[q] == u) --q;
  }
}

}  // namespace lorb::passes
