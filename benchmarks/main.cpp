// Nanoseconds per voxel of the signed distance transform, next to the literal procedure, a plain pass over
// memory and other libraries in the same run.
//
//   lorb-benchmark --benchmark_filter=/512x32/ --benchmark_repetitions=5
//   lorb-benchmark --write-masks FOLDER      the masks, for peers in other languages
//
// Names are WHO/PLANE/TYPE/SIDExSLICES/WORKLOAD. The counter ns_voxel is what the tables quote. All that
// is timed runs on one thread. The whole run keeps about 2.5 GiB of volumes.

#include "benchmarks/subjects.h"
#include "benchmarks/writeMasks.h"

#include <hwy/highway.h>

#include <malloc.h>

#include <exception>
#include <iostream>
#include <string_view>

namespace {

void describeBuild() {
  benchmark::AddCustomContext("compiler", LORB_BENCHMARK_COMPILER);
  benchmark::AddCustomContext("library flags", LORB_BENCHMARK_FLAGS);
  std::int64_t const targets = hwy::SupportedTargets() & HWY_TARGETS;
  benchmark::AddCustomContext("vector unit", hwy::TargetName(targets & -targets));
}

/// What is freed stays with the process, as in a program that has more to do: where memory comes from the
/// system anew, its pages can cost more than the map. What they cost is timed by itself.
void keepFreedMemory() {
  mallopt(M_MMAP_MAX, 0);
  mallopt(M_TRIM_THRESHOLD, -1);
}

void registerAll() {
  benchmarks::registerLibrary();
  benchmarks::registerLiteral();
  benchmarks::registerMemoryPass();
  benchmarks::registerMemoryUse();
#ifdef LORB_BENCHMARK_OPENCV
  benchmarks::registerOpenCV();
#endif
#ifdef LORB_BENCHMARK_ITK
  benchmarks::registerITK();
#endif
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc == 3 && std::string_view(argv[1]) == "--write-masks") {
    benchmarks::writeMasks(argv[2]);
    return 0;
  }
  keepFreedMemory();
  describeBuild();
  registerAll();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  benchmark::RunSpecifiedBenchmarks();
} catch (std::exception const& error) {
  std::cerr << "lorb-benchmark: " << error.what() << "\n";
  return 1;
}
