#include "tools/makeMap.h"

#include "tools/base/Stopwatch.h"
#include "tools/map/slabPlan.h"

#include <utility>

namespace lorb::tools {
namespace {

/// The chosen slice as counted in a slab; nothing when it is elsewhere.
std::optional<int> sliceInSlab(int slice, std::uint64_t first, std::uint64_t count) {
  auto const k = static_cast<std::uint64_t>(slice);
  if (k < first || k >= first + count) return std::nullopt;
  return static_cast<int>(k - first);
}

/// The map of a slab, its summary added to that of the whole.
DistanceMap mapOfSlab(Mask const& mask, std::uint64_t first, MapSettings settings, MapSummary& whole,
                      SlicesDone const& done) {
  if (settings.choice.slice) {
    auto const count = sliceShape(mask, settings.choice.plane).count;
    settings.choice.slice = sliceInSlab(*settings.choice.slice, first, count);
    if (!settings.choice.slice) return DistanceMap(mask.extents);
  }
  std::size_t const before = whole.slices.size();
  DistanceMap map = distanceMap(mask, settings, &whole.slices, done);
  SliceShape const shape = sliceShape(mask, settings.choice.plane);
  for (std::size_t k = before; k < whole.slices.size(); ++k) {
    whole.slices[k].slice += first;
    whole.count.inside += whole.slices[k].inside;
    whole.count.all += shape.width * shape.height;
  }
  return map;
}

}  // namespace

Slabs::Slabs(VolumeSource& source, Plane plane, std::uint64_t slices, bool keep)
    : source_(source),
      plane_(plane),
      slices_(sliceShape(source.header().extents, plane).count),
      step_(slices),
      keep_(keep),
      type_(source.header().type) {}

Region Slabs::region(std::uint64_t slab) const {
  return slabRegion(source_.header().extents, plane_, firstSlice(slab), step_);
}

std::shared_ptr<ImageDataset const> Slabs::read(std::uint64_t slab) {
  if (kept_ && keptSlab_ == slab) return kept_;
  kept_.reset();
  std::shared_ptr<ImageDataset const> voxels = source_.read(region(slab));
  type_ = voxels->type_id();
  if (keep_) {
    kept_ = voxels;
    keptSlab_ = slab;
  }
  return voxels;
}

MapSummary makeMap(Slabs& slabs, ObjectRule const& rule, MapSettings const& settings, MapWriter& writer,
                   Phases& phases, SlicesDone const& done, MapViewer const& view) {
  MapSummary summary;
  for (std::uint64_t slab = 0; slab < slabs.count(); ++slab) {
    Stopwatch watch;
    auto voxels = slabs.read(slab);
    phases.read += watch.lap();
    std::optional<Mask> mask = objectMask(*voxels, rule);
    if (!view) voxels.reset();
    phases.select += watch.lap();
    DistanceMap map = mapOfSlab(*mask, slabs.firstSlice(slab), settings, summary, done);
    mask.reset();
    phases.compute += watch.lap();
    if (view) view(map, slab, *voxels);
    phases.picture += watch.lap();
    writer.write(std::move(map), slabs.region(slab));
    phases.write += watch.lap();
  }
  return summary;
}

std::set<ExactNumber> labelsIn(Slabs& slabs, Phases& phases) {
  std::set<ExactNumber> labels;
  for (std::uint64_t slab = 0; slab < slabs.count(); ++slab) {
    Stopwatch watch;
    auto const voxels = slabs.read(slab);
    phases.read += watch.lap();
    collectLabels(*voxels, labels);
    phases.select += watch.lap();
  }
  return labels;
}

}  // namespace lorb::tools
