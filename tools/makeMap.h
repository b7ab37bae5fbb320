// From volume to map: read, choose the object, compute and hand on, all at once or slab by slab.
#pragma once

#include "tools/map/distanceMap.h"
#include "tools/map/slabPlan.h"
#include "tools/object/objectMask.h"
#include "tools/output/MapWriter.h"
#include "tools/volume/VolumeSource.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <vector>

namespace lorb::tools {

/// Seconds spent on each part of the work, some of them side by side.
struct Phases {
  double open = 0.0, read = 0.0, select = 0.0, compute = 0.0, write = 0.0, picture = 0.0;
  Phases& operator+=(Phases const& other);
};

/// A volume in slabs of neighbouring slices.
class Slabs {
 public:
  Slabs(VolumeSource& source, Plane plane, SlabPlan const& plan);

  VolumeSource const& source() const { return source_; }
  Plane plane() const { return plane_; }
  std::uint64_t count() const { return (slices_ + plan_.slices - 1) / plan_.slices; }
  std::uint64_t inFlight() const { return plan_.inFlight; }
  std::uint64_t firstSlice(std::uint64_t slab) const { return slab * plan_.slices; }
  Region region(std::uint64_t slab) const;

  /// Element type of the slab read last; before, as the header has it.
  TypeID type() const { return type_; }

  /// Reads a slab, unless the whole is kept.
  std::shared_ptr<ImageDataset const> read(std::uint64_t slab);

 private:
  VolumeSource& source_;
  Plane plane_;
  std::uint64_t slices_;
  SlabPlan plan_;
  TypeID type_;
  std::shared_ptr<ImageDataset const> kept_;
};

/// How many of the chosen voxels are inside, and how many there are.
struct InsideCount {
  std::uint64_t inside = 0, all = 0;
};

/// What came out.
struct MapSummary {
  InsideCount count;
  std::vector<SliceSummary> slices;
};

/// Gets to see each piece of the map, the slab that it is, and the volume there.
using MapViewer = std::function<void(DistanceMap const& map, std::uint64_t slab, ImageDataset const& volume)>;

/// Makes the map of an object and has it written, but not finished. Adds the seconds it takes to `phases`.
/// Throws `InputError`, `OutputError`.
MapSummary makeMap(Slabs& slabs, ObjectRule const& rule, MapSettings const& settings, MapWriter& writer,
                   Phases& phases, SlicesDone const& done = {}, MapViewer const& view = {});

/// The labels that the whole volume holds; see `collectLabels`.
std::set<ExactNumber> labelsIn(Slabs& slabs, Phases& phases);

}  // namespace lorb::tools
