// The library: typed volumes, generic datasets, one slice at a time, a new object every time.

#include "benchmarks/subjects.h"

#include <lorb/dataset/Dataset.h>

#include <malloc.h>

#include <type_traits>

namespace benchmarks {
namespace {

/// An object whose table of square roots is there from maps of this size.
struct UsedTransform : Transform {
  explicit UsedTransform(Case const& c) {
    setPlane(c.plane);
    sqrtTable.init(2 * c.side * c.side);
  }
};

template <class T>
void wholeVolume(benchmark::State& state, Case const& c) {
  auto const& input = inputOf<T>(c);
  auto& output = outputFor(c);
  UsedTransform transform(c);
  transform.computeTwoSided(&input, &output);  // whose memory the process keeps
  timePerVoxel(state, c, [&] { transform.computeTwoSided(&input, &output); });
}

void sliceBySlice(benchmark::State& state, Case const& c) {
  auto const& input = inputOf<unsigned char>(c);
  auto& output = outputFor(c);
  UsedTransform transform(c);
  timePerVoxel(state, c, [&] {
    for (int k = 0; k < c.slices; ++k) transform.computeTwoSided(&input, &output, k);
  });
}

void newObject(benchmark::State& state, Case const& c) {
  auto const& input = inputOf<unsigned char>(c);
  auto& output = outputFor(c);
  timePerVoxel(state, c, [&] {
    Transform transform;
    transform.setPlane(c.plane);
    transform.computeTwoSided(&input, &output);
  });
}

/// Every call takes its memory from the system, as if it were the process' first.
void freshMemory(benchmark::State& state, Case const& c) {
  auto const& input = inputOf<unsigned char>(c);
  auto& output = outputFor(c);
  UsedTransform transform(c);
  timePerVoxel(state, c, [&] {
    state.PauseTiming();
    malloc_trim(0);
    state.ResumeTiming();
    transform.computeTwoSided(&input, &output);
  });
}

void genericDatasets(benchmark::State& state, Case const& c) {
  auto const [nx, ny, nz] = c.extents();
  lorb::DatasetCoordinates const size(static_cast<int>(nx), static_cast<int>(ny), static_cast<int>(nz), 1, 1);
  lorb::Dataset input(false), output(true);
  input.newDataset(size, lorb::elementFloat, {});
  output.newDataset(size, lorb::elementFloat, {});
  float const* voxels = inputOf<float>(c).voxels().data();
  for (int z = 0; z < size[2]; ++z) {
    for (int y = 0; y < size[1]; ++y, voxels += nx) input.setRow({0, y, z, 0, 0}, 0, size[0], voxels);
  }

  UsedTransform transform(c);
  timePerVoxel(state, c, [&] { transform.computeTwoSided(&input, &output); });
}

}  // namespace

void registerLibrary() {
  for (Case const& c : comparedCases()) add(c.name("lorb"), c, wholeVolume<unsigned char>);
  for (Case const& c : sizeCases()) {
    add(c.name("lorb"), c, wholeVolume<unsigned char>);
    if (c.workload != Workload::blobs) continue;
    add(c.name("lorb-new"), c, newObject);
    add(c.name("lorb-fresh"), c, freshMemory);
  }
  for (Case const& c : planeCases()) add(c.name("lorb"), c, wholeVolume<unsigned char>);

  Case const blobs = comparedCases().front();
#define LORB_ADD(id, element, T, type)                     \
  if constexpr (!std::is_same_v<T, unsigned char>) {       \
    add(blobs.name("lorb", #type), blobs, wholeVolume<T>); \
  }
  LORB_FOR_EACH_ELEMENT_TYPE(LORB_ADD)
#undef LORB_ADD

  add(blobs.name("lorb-slices"), blobs, sliceBySlice);
  add(blobs.name("lorb-generic", "Float"), blobs, genericDatasets);
}

}  // namespace benchmarks
