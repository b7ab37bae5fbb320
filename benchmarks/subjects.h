#pragma once

#include "benchmarks/cases.h"

#include <benchmark/benchmark.h>

/// Who is timed. Every function registers the timings of one subject; each subject is one source.
namespace benchmarks {

void registerLibrary();
void registerLiteral();
void registerMemoryPass();
void registerMemoryUse();
void registerOpenCV();
void registerITK();

/// Times `work()` and reports nanoseconds per voxel, the number that all tables quote.
template <class Work>
void timePerVoxel(benchmark::State& state, Case const& c, Work work) {
  auto const& output = outputFor(c);
  for (auto _ : state) {
    work();
    benchmark::DoNotOptimize(output.voxels().data());
    benchmark::ClobberMemory();
  }
  state.counters["ns_voxel"] =
      benchmark::Counter(static_cast<double>(c.voxels()) * 1e-9,
                         benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

/// Registers `run(state, case)` under the case's name.
template <class Run>
void add(std::string const& name, Case const& c, Run run) {
  benchmark::RegisterBenchmark(name.c_str(), run, c)->Unit(benchmark::kMillisecond);
}

/// Marks the timing as failed unless the map just computed is the library's, but for the rounding of
/// floats. `onlyOutside` leaves the distances inside the object out of the comparison.
void requireSameMap(benchmark::State& state, Case const& c, bool onlyOutside = false);

}  // namespace benchmarks
