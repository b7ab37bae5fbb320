#pragma once

#include "benchmarks/workloads.h"

#include <lorb/algorithm/EuclideanDistanceTransform2D.h>
#include <lorb/dataset/TImageDataset.h>

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

/// The volumes that are timed.
namespace benchmarks {

using Transform = lorb::EuclideanDistanceTransform2D;
using Plane = Transform::PlaneOrientationE;
using FloatVolume = lorb::TImageDataset<float, 3>;

/// A volume of `slices` square slices of the plane, each with a mask of its own.
struct Case {
  Plane plane;
  int side;
  int slices;
  Workload workload;

  std::array<std::uint64_t, 3> extents() const;
  std::size_t voxels() const;
  /// WHO/PLANE/TYPE/SIDExSLICES/WORKLOAD, what a timing is called.
  std::string name(std::string const& who, std::string const& type = "UInt8") const;
};

/// XY volumes of 32 slices of 512², one of every workload: what all peers are timed on. Input and output
/// together are 40 MiB, more than most caches hold.
std::vector<Case> comparedCases();

/// XY volumes of 128² to 4096², blobs and thin, of 2²⁵ voxels so that memory is used alike, but of 8 slices
/// at least.
std::vector<Case> sizeCases();

/// Cubes of 512³ with blobs, sliced along every plane.
std::vector<Case> planeCases();

/// Fills an empty volume with the masks of the case.
template <class T>
void draw(Case const& c, lorb::TImageDataset<T, 3>& volume) {
  auto const axes = Transform::axesOf(c.plane);
  std::array<std::uint64_t, 3> position{};
  volume.resize(c.extents());
  for (int k = 0; k < c.slices; ++k) {
    auto const mask = makeSlice(c.workload, c.side, static_cast<unsigned>(k + 1));
    auto voxel = mask.begin();
    position[static_cast<std::size_t>(axes.slice)] = static_cast<std::uint64_t>(k);
    for (int j = 0; j < c.side; ++j) {
      position[static_cast<std::size_t>(axes.j)] = static_cast<std::uint64_t>(j);
      for (int i = 0; i < c.side; ++i) {
        position[static_cast<std::size_t>(axes.i)] = static_cast<std::uint64_t>(i);
        volume(position[0], position[1], position[2]) = static_cast<T>(*voxel++);
      }
    }
  }
}

/// The volume of a case. It is drawn at the first call and kept, since interleaved repetitions return to
/// it again and again.
template <class T>
lorb::TImageDataset<T, 3> const& inputOf(Case const& c) {
  static std::map<std::string, lorb::TImageDataset<T, 3>> volumes;
  auto& volume = volumes[c.name("")];
  if (volume.empty()) draw(c, volume);
  return volume;
}

/// Where a map of the case's extents goes: always the same memory, which has been written before, so that
/// nobody pays for the first touch of a page.
FloatVolume& outputFor(Case const& c);

}  // namespace benchmarks
