#include "benchmarks/cases.h"

#include <algorithm>

namespace benchmarks {

std::array<std::uint64_t, 3> Case::extents() const {
  auto const axes = Transform::axesOf(plane);
  std::array<std::uint64_t, 3> extents{};
  extents[static_cast<std::size_t>(axes.i)] = static_cast<std::uint64_t>(side);
  extents[static_cast<std::size_t>(axes.j)] = static_cast<std::uint64_t>(side);
  extents[static_cast<std::size_t>(axes.slice)] = static_cast<std::uint64_t>(slices);
  return extents;
}

std::size_t Case::voxels() const {
  auto const [nx, ny, nz] = extents();
  return nx * ny * nz;
}

std::string Case::name(std::string const& who, std::string const& type) const {
  static constexpr char const* planeNames[] = {"YZ", "XZ", "XY"};
  return who + "/" + planeNames[plane] + "/" + type + "/" + std::to_string(side) + "x" +
         std::to_string(slices) + "/" + nameOf(workload);
}

std::vector<Case> comparedCases() {
  std::vector<Case> cases;
  for (Workload const workload : allWorkloads) cases.push_back({Transform::planeXY, 512, 32, workload});
  return cases;
}

std::vector<Case> sizeCases() {
  constexpr int voxels = 1 << 25, leastSlices = 8;
  std::vector<Case> cases;
  for (Workload const workload : {Workload::blobs, Workload::thin}) {
    for (int const side : {128, 256, 512, 1024, 2048, 4096}) {
      cases.push_back({Transform::planeXY, side, std::max(voxels / (side * side), leastSlices), workload});
    }
  }
  return cases;
}

std::vector<Case> planeCases() {
  std::vector<Case> cases;
  for (Plane const plane : {Transform::planeXY, Transform::planeXZ, Transform::planeYZ}) {
    cases.push_back({plane, 512, 512, Workload::blobs});
  }
  return cases;
}

FloatVolume& outputFor(Case const& c) {
  static std::map<std::array<std::uint64_t, 3>, FloatVolume> volumes;
  auto& volume = volumes[c.extents()];
  volume.resize(c.extents());
  return volume;
}

}  // namespace benchmarks
