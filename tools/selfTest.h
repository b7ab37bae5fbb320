// Whether the library computes what it should on this very machine.
#pragma once

#include "tools/map/distanceMap.h"
#include "tools/volume/Volume.h"

#include <lorb/dataset/Dataset.h>

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace lorb::tools {

/// What is tested: computes the map of every slice in a plane, from a typed volume and from a generic
/// dataset.
struct MapMakers {
  std::function<void(ImageDataset const& volume, DistanceMap& map, Plane plane)> typed;
  std::function<void(Dataset& volume, Dataset& map, Plane plane)> generic;
};

/// The library's own.
MapMakers libraryMaps();

/// A voxel that isn't what comparing every voxel with every other one gives.
struct Disagreement {
  std::string target;  ///< the instruction set, such as "AVX2"
  std::string type;    ///< of the input's elements, such as "Int16"
  std::string plane;   ///< "xy", "xz" or "yz"
  bool generic;        ///< by way of a generic dataset
  Extents extents;     ///< of the volume
  Extents voxel;
  float expected, got;
};

struct TargetResult {
  std::string target;
  std::uint64_t volumes, voxels;  ///< compared
  bool agrees;
};

struct SelfTestResult {
  std::vector<TargetResult> targets;  ///< every instruction set of this machine that the library may use
  std::optional<Disagreement> first;

  bool agrees() const { return !first; }
};

/// Compares maps bit by bit with brute force: every instruction set, every element type, every plane, typed
/// and generic, on random and regular, empty and full masks of various shapes. Takes about a second per
/// instruction set at most. No other thread may use the library meanwhile, since the instruction set is the
/// process's; the best one is chosen again at the end, also when an exception of `makers` passes through.
SelfTestResult selfTest(MapMakers const& makers = libraryMaps());

/// One line per instruction set, and the verdict.
void tell(std::ostream& report, SelfTestResult const& result);

}  // namespace lorb::tools
