// What memory allows: one pass that reads the mask and writes a float for every voxel.

#include "benchmarks/subjects.h"

namespace benchmarks {
namespace {

void memoryPass(benchmark::State& state, Case const& c) {
  auto const input = inputOf<unsigned char>(c).voxels();
  auto const output = outputFor(c).voxels();
  timePerVoxel(state, c, [&] {
    unsigned char const* const from = input.data();
    float* const to = output.data();
    for (std::size_t k = 0; k < input.size(); ++k) to[k] = static_cast<float>(from[k]);
  });
}

}  // namespace

void registerMemoryPass() {
  add(comparedCases().front().name("pass"), comparedCases().front(), memoryPass);
  add(planeCases().front().name("pass"), planeCases().front(), memoryPass);
}

}  // namespace benchmarks
