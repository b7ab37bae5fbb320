// The procedure voxel by voxel, the yardstick of the library. Its table of square roots is made beforehand.

#include "benchmarks/subjects.h"
#include "reference/literalTransform.h"

namespace benchmarks {
namespace {

void literal(benchmark::State& state, Case const& c) {
  auto const& input = inputOf<unsigned char>(c);
  auto& output = outputFor(c);
  auto const roots = reference::squareRoots(2 * c.side * c.side);
  timePerVoxel(state, c, [&] { reference::literalTransform(input, output, c.plane, -1, roots.data()); });
  requireSameMap(state, c);
}

}  // namespace

void registerLiteral() {
  for (Case const& c : comparedCases()) add(c.name("literal"), c, literal);
}

}  // namespace benchmarks
