// Speed of `dump` for all pairs of element types, both ways, next to memcpy in the same run.
//
//   lorb-dump-benchmark --benchmark_filter=Float --benchmark_repetitions=5
//
// Names are DIRECTION/FROM/TO/VOXELS. GB_s counts the bytes read and written; of_memcpy is that over the
// speed of a memcpy that reads and writes as many bytes, timed in turn with the dumps. Both are of the
// fastest repetition, which other loads on the machine disturb least.

#include <lorb/dataset/TImageDataset.h>
#include <lorb/dataset/dump.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using lorb::TImageDataset;

/// Beyond every cache, and within that of one core.
constexpr std::uint64_t voxelCounts[] = {1U << 24, 1U << 14};

/// Values that most integers hold, half of them negative, with fractions where there are any.
template <class T>
T valueOf(std::uint32_t random) {
  return static_cast<T>(static_cast<double>(random % 512) / 4 - (std::is_signed_v<T> ? 64 : 0));
}

template <>
bool valueOf<bool>(std::uint32_t random) {
  return random % 2;
}

/// Calls `set(k, value)` for every element; the pattern repeats, since it costs more than the dumps.
template <class T, class Set>
void fill(std::uint64_t count, Set set) {
  std::mt19937 random(20210319);
  std::vector<T> pattern(4093);
  for (std::size_t k = 0; k < pattern.size(); ++k)
    pattern[k] = valueOf<T>(static_cast<std::uint32_t>(random()));
  for (std::uint64_t k = 0, p = 0; k < count; ++k, p = p + 1 == pattern.size() ? 0 : p + 1)
    set(k, pattern[p]);
}

template <class F>
double secondsOf(F f) {
  auto const start = std::chrono::steady_clock::now();
  f();
  benchmark::ClobberMemory();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// Times `run`, which moves `bytes` in and out together, in turn with a memcpy that moves as many.
template <class F>
void measure(benchmark::State& state, double bytes, F run) {
  auto const half = static_cast<std::size_t>(bytes / 2);
  std::vector<char> const source(half, 1);
  std::vector<char> target(half);
  double runSeconds = 1e9, copySeconds = 1e9;
  for (auto _ : state) {
    copySeconds = std::min(copySeconds, secondsOf([&] { std::memcpy(target.data(), source.data(), half); }));
    double const seconds = secondsOf(run);
    runSeconds = std::min(runSeconds, seconds);
    state.SetIterationTime(seconds);
  }
  state.counters["GB_s"] = bytes / runSeconds * 1e-9;
  state.counters["of_memcpy"] = copySeconds / runSeconds;
}

/// What a volume and a buffer of `count` elements each take together.
template <class T, class Buffered>
double bytesOf(std::uint64_t count) {
  double const inVolume = std::is_same_v<T, bool> ? 0.125 : sizeof(T);
  return static_cast<double>(count) * (inVolume + sizeof(Buffered));
}

template <class T, class Buffered>
void dumpOut(benchmark::State& state) {
  auto const count = static_cast<std::uint64_t>(state.range(0));
  TImageDataset<T, 3> volume({count, 1, 1});
  fill<T>(count, [&](std::uint64_t k, T value) { volume.pages[0].data[k] = value; });
  auto const buffer = std::make_unique<Buffered[]>(count);
  measure(state, bytesOf<T, Buffered>(count),
          [&] { lorb::dump(&volume, buffer.get(), lorb::typeIDOf<Buffered>); });
}

template <class T, class Buffered>
void dumpIn(benchmark::State& state) {
  auto const count = static_cast<std::uint64_t>(state.range(0));
  auto const buffer = std::make_unique<Buffered[]>(count);
  fill<Buffered>(count, [&](std::uint64_t k, Buffered value) { buffer[k] = value; });
  TImageDataset<T, 3> volume({count, 1, 1});
  measure(state, bytesOf<T, Buffered>(count),
          [&] { lorb::dump(buffer.get(), lorb::typeIDOf<Buffered>, &volume); });
}

template <class T, class Buffered>
void registerPair(std::string const& volumeName, std::string const& bufferName) {
  for (std::uint64_t const count : voxelCounts) {
    auto const add = [&](std::string const& name, auto function) {
      benchmark::RegisterBenchmark(name.c_str(), function)
          ->Arg(static_cast<std::int64_t>(count))
          ->UseManualTime();
    };
    add("out/" + volumeName + "/" + bufferName, dumpOut<T, Buffered>);
    add("in/" + bufferName + "/" + volumeName, dumpIn<T, Buffered>);
  }
}

template <class T>
void registerVolume(std::string const& name) {
#define LORB_PAIR(id, element, Buffered, bufferName) registerPair<T, Buffered>(name, #bufferName);
  LORB_FOR_EACH_ELEMENT_TYPE(LORB_PAIR)
#undef LORB_PAIR
}

}  // namespace

int main(int argc, char** argv) {
#define LORB_VOLUME(id, element, T, name) registerVolume<T>(#name);
  LORB_FOR_EACH_ELEMENT_TYPE(LORB_VOLUME)
#undef LORB_VOLUME
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
}
