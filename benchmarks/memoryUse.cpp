// How much memory one computation takes beside the volumes, in slices of floats: the growth of the
// process' resident memory at its highest. Linux only, like the scripts.

#include "benchmarks/subjects.h"

#include <malloc.h>

#include <fstream>
#include <string>

namespace benchmarks {
namespace {

/// A line of /proc/self/status, in bytes.
double memoryStatus(std::string const& key) {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    double kibibytes = 0.0;
    if (word == key && status >> kibibytes) return kibibytes * 1024.0;
  }
  return 0.0;
}

void memoryUse(benchmark::State& state, Case const& c) {
  auto const& input = inputOf<unsigned char>(c);
  auto& output = outputFor(c);
  auto const compute = [&] {
    Transform transform;
    transform.setPlane(c.plane);
    transform.computeTwoSided(&input, &output);
  };
  compute();  // code and volumes are resident from here on

  double extra = 0.0;
  for (auto _ : state) {
    malloc_trim(0);
    std::ofstream("/proc/self/clear_refs") << 5;  // the high-water mark starts anew
    double const before = memoryStatus("VmRSS:");
    compute();
    extra = memoryStatus("VmHWM:") - before;
  }
  state.counters["extra_slices"] = extra / (4.0 * c.side * c.side);
}

}  // namespace

void registerMemoryUse() {
  for (Plane const plane : {Transform::planeXY, Transform::planeXZ, Transform::planeYZ}) {
    Case const c = {plane, 512, 128, Workload::blobs};
    benchmark::RegisterBenchmark(c.name("memory").c_str(), memoryUse, c)->Unit(benchmark::kMillisecond);
  }
}

}  // namespace benchmarks
