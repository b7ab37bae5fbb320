// Nanoseconds per voxel of the signed distance transform, next to the literal procedure in the same run.
//
//   lorb-benchmark --benchmark_filter=/512/ --benchmark_repetitions=5
//
// Names are WHO/PLANE/SIDE/WORKLOAD. The counter ns_voxel is what the tables quote.

#include "benchmarks/workloads.h"
#include "tests/reference/literalTransform.h"

#include <lorb/algorithm/EuclideanDistanceTransform2D.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <string>

namespace {

using benchmarks::Workload;
using lorb::TImageDataset;
using Transform = lorb::EuclideanDistanceTransform2D;

constexpr char const* planeNames[] = {"YZ", "XZ", "XY"};

/// A volume of square slices of the given plane, each with a pattern of its own.
TImageDataset<unsigned char, 3> makeVolume(Workload workload, int plane, int side) {
  int const slices = std::clamp((1 << 20) / (side * side), 2, 16);
  auto const n = static_cast<std::uint64_t>(side);
  auto const count = static_cast<std::uint64_t>(slices);
  TImageDataset<unsigned char, 3> volume(plane == 2 ? TImageDataset<unsigned char, 3>::Extents{n, n, count}
                                         : plane == 1
                                             ? TImageDataset<unsigned char, 3>::Extents{n, count, n}
                                             : TImageDataset<unsigned char, 3>::Extents{count, n, n});
  for (int k = 0; k < slices; ++k) {
    auto const slice = benchmarks::makeSlice(workload, side, static_cast<unsigned>(k + 1));
    auto voxel = slice.begin();
    for (int j = 0; j < side; ++j) {
      for (int i = 0; i < side; ++i) {
        std::uint64_t x = 0, y = 0, z = 0;
        reference::place(plane, i, j, k, x, y, z);
        volume(x, y, z) = *voxel++;
      }
    }
  }
  return volume;
}

void reportPerVoxel(benchmark::State& state, std::size_t voxels) {
  state.counters["ns_voxel"] =
      benchmark::Counter(static_cast<double>(voxels) * 1e-9,
                         benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void library(benchmark::State& state, Workload workload, int plane, int side) {
  auto const input = makeVolume(workload, plane, side);
  TImageDataset<float, 3> output(input.extents);
  Transform transform;
  transform.setPlane(static_cast<Transform::PlaneOrientationE>(plane));
  for (auto _ : state) {
    transform.computeTwoSided(&input, &output);
    benchmark::DoNotOptimize(output.voxels().data());
  }
  reportPerVoxel(state, input.voxels().size());
}

void literal(benchmark::State& state, Workload workload, int plane, int side) {
  auto const input = makeVolume(workload, plane, side);
  TImageDataset<float, 3> output(input.extents);
  for (auto _ : state) {
    reference::literalTransform(input, output, plane);
    benchmark::DoNotOptimize(output.voxels().data());
  }
  reportPerVoxel(state, input.voxels().size());
}

}  // namespace

int main(int argc, char** argv) {
  for (int const side : {256, 512, 2048}) {
    for (int const plane : {2, 1, 0}) {
      for (Workload const workload : benchmarks::allWorkloads) {
        std::string const suffix = std::string("/") + planeNames[plane] + "/" + std::to_string(side) + "/" +
                                   benchmarks::nameOf(workload);
        benchmark::RegisterBenchmark(("lorb" + suffix).c_str(), library, workload, plane, side)
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark(("literal" + suffix).c_str(), literal, workload, plane, side)
            ->Unit(benchmark::kMillisecond);
      }
    }
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  benchmark::RunSpecifiedBenchmarks();
}
