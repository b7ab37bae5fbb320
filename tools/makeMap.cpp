#include "tools/makeMap.h"

#include "tools/base/Stopwatch.h"
#include "tools/base/Workers.h"

#include <oneapi/tbb/parallel_pipeline.h>

#include <cstddef>
#include <cstring>
#include <optional>
#include <utility>

namespace lorb::tools {
namespace {

/// The chosen slice as counted in a slab; nothing when it is elsewhere.
std::optional<int> sliceInSlab(int slice, std::uint64_t first, std::uint64_t count) {
  auto const k = static_cast<std::uint64_t>(slice);
  if (k < first || k >= first + count) return std::nullopt;
  return static_cast<int>(k - first);
}

/// A slab on its way from the file to the map.
struct Slab {
  std::uint64_t number;
  std::shared_ptr<ImageDataset const> voxels;
  MapWriter::Piece piece;
  std::vector<SliceSummary> slices;
  Phases phases;
};

/// One map on its way through all slabs.
class Making {
 public:
  Making(Slabs& slabs, ObjectRule const& rule, MapSettings const& settings, MapWriter& writer,
         SlicesDone const& done, MapViewer const& view)
      : slabs_(slabs), rule_(rule), settings_(settings), writer_(writer), done_(done), view_(view) {}

  /// Slab after slab.
  Slab read(std::uint64_t number) {
    Stopwatch watch;
    Slab slab{number, slabs_.read(number), {}, {}, {}};
    slab.phases.read = watch.lap();
    return slab;
  }

  /// Several slabs at a time.
  void compute(Slab& slab) {
    Stopwatch watch;
    std::optional<Mask> mask = objectMask(*slab.voxels, rule_);
    if (!view_) slab.voxels.reset();
    slab.phases.select = watch.lap();
    DistanceMap map = mapOf(*mask, slab);
    mask.reset();
    slab.phases.compute = watch.lap();
    if (view_) {  // slab after slab as well
      view_(map, slab.number, *slab.voxels);
      slab.phases.picture = watch.lap();
    }
    slab.piece = writer_.prepare(std::move(map), slabs_.region(slab.number));
    slab.phases.write = watch.lap();
  }

  /// Slab after slab.
  void write(Slab slab) {
    Stopwatch watch;
    writer_.append(std::move(slab.piece));
    slab.phases.write += watch.lap();
    SliceShape const shape = sliceShape(slabs_.source().header().extents, slabs_.plane());
    for (SliceSummary& slice : slab.slices) {
      slice.slice += slabs_.firstSlice(slab.number);
      summary_.count.inside += slice.inside;
      summary_.count.all += shape.width * shape.height;
      summary_.slices.push_back(slice);
    }
    phases_ += slab.phases;
  }

  /// Whether somebody looks at the slabs, one after the other.
  bool isViewed() const { return view_ != nullptr; }

  MapSummary const& summary() const { return summary_; }
  Phases const& phases() const { return phases_; }

 private:
  DistanceMap mapOf(Mask const& mask, Slab& slab) {
    MapSettings settings = settings_;
    if (settings.choice.slice) {
      auto const count = sliceShape(mask, settings.choice.plane).count;
      settings.choice.slice = sliceInSlab(*settings.choice.slice, slabs_.firstSlice(slab.number), count);
      if (!settings.choice.slice) return DistanceMap(mask.extents);
    }
    return mapper_.map(mask, settings, &slab.slices, done_);
  }

  Slabs& slabs_;
  ObjectRule const& rule_;
  MapSettings const& settings_;
  MapWriter& writer_;
  SlicesDone const& done_;
  MapViewer const& view_;
  DistanceMapper mapper_;
  MapSummary summary_;
  Phases phases_;
};

/// Reading, computing and writing go on side by side, each of the slabs in flight in one of them.
void makeInFlight(Slabs const& slabs, Making& making) {
  namespace tbb = oneapi::tbb;
  using Passed = std::shared_ptr<Slab>;
  std::uint64_t next = 0;
  auto const read = [&](tbb::flow_control& control) -> Passed {
    if (next < slabs.count()) return std::make_shared<Slab>(making.read(next++));
    control.stop();
    return nullptr;
  };
  auto const compute = [&](Passed slab) {
    making.compute(*slab);
    return slab;
  };
  auto const write = [&](Passed const& slab) { making.write(std::move(*slab)); };
  std::uint64_t const inFlight = making.isViewed() ? 1 : slabs.inFlight();
  tbb::parallel_pipeline(inFlight,
                         tbb::make_filter<void, Passed>(tbb::filter_mode::serial_in_order, read) &
                             tbb::make_filter<Passed, Passed>(tbb::filter_mode::parallel, compute) &
                             tbb::make_filter<Passed, void>(tbb::filter_mode::serial_in_order, write));
}

/// The part of a volume that lies in whole XY slices.
std::shared_ptr<ImageDataset const> copyOf(ImageDataset const& volume, Region const& region) {
  auto part = makeVoxels(volume.type_id(), region.size);
  std::uint64_t const element = bytesOf(volume.type_id());
  std::uint64_t const first = region.begin[2] * region.size[0] * region.size[1] * element;
  std::memcpy(dataOf(*part), static_cast<std::byte const*>(dataOf(volume)) + first,
              voxelCount(region.size) * element);
  return part;
}

}  // namespace

Phases& Phases::operator+=(Phases const& other) {
  open += other.open;
  read += other.read;
  select += other.select;
  compute += other.compute;
  write += other.write;
  picture += other.picture;
  return *this;
}

Slabs::Slabs(VolumeSource& source, Plane plane, SlabPlan const& plan)
    : source_(source),
      plane_(plane),
      slices_(sliceShape(source.header().extents, plane).count),
      plan_(plan),
      type_(source.header().type) {}

Region Slabs::region(std::uint64_t slab) const {
  return slabRegion(source_.header().extents, plane_, firstSlice(slab), plan_.slices);
}

std::shared_ptr<ImageDataset const> Slabs::read(std::uint64_t slab) {
  if (plan_.keepsVolume && !kept_) kept_ = source_.read(wholeRegion(source_.header().extents));
  std::shared_ptr<ImageDataset const> voxels = kept_;
  if (!kept_) voxels = source_.read(region(slab));
  if (kept_ && count() > 1) voxels = copyOf(*kept_, region(slab));
  type_ = voxels->type_id();
  return voxels;
}

MapSummary makeMap(Slabs& slabs, ObjectRule const& rule, MapSettings const& settings, MapWriter& writer,
                   Phases& phases, SlicesDone const& done, MapViewer const& view) {
  Making making(slabs, rule, settings, writer, done, view);
  Workers workers(settings.threads);
  workers.run([&] { makeInFlight(slabs, making); });
  phases += making.phases();
  return making.summary();
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
