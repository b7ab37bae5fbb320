#include "tools/run/oneInput.h"

#include "tools/base/Stopwatch.h"
#include "tools/base/errors.h"
#include "tools/base/memory.h"
#include "tools/makeMap.h"
#include "tools/map/slabPlan.h"
#include "tools/output/MapWriter.h"
#include "tools/output/Targets.h"
#include "tools/output/joinVolumes.h"
#include "tools/output/namePattern.h"
#include "tools/picture/MapPicture.h"
#include "tools/report/Progress.h"
#include "tools/report/Report.h"
#include "tools/report/sidecar.h"
#include "tools/volume/VolumeFile.h"
#include "tools/volume/formatTable.h"
#include "tools/volume/phantom.h"
#include "tools/volume/standardStreams.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <numbers>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace lorb::tools {
namespace fs = std::filesystem;
namespace {

/// The phantom, as if it came from a file.
class PhantomSource : public VolumeSource {
 public:
  PhantomSource() : phantom_(headPhantom()) {
    header_.type = phantom_.voxels->type_id();
    header_.extents = extentsOf(*phantom_.voxels);
    header_.geometry = phantom_.geometry;
    header_.inPatient = false;
  }
  VolumeHeader const& header() const override { return header_; }
  bool readsParts() const override { return false; }
  std::uint64_t workBytes(Region const&) const override { return 0; }
  std::unique_ptr<ImageDataset> read(Region const&) override {
    return phantom_.voxels ? std::move(phantom_.voxels) : headPhantom().voxels;
  }

 private:
  Volume phantom_;
  VolumeHeader header_;
};

std::unique_ptr<VolumeSource> openInput(Options const& options) {
  if (!options.input) return std::make_unique<PhantomSource>();
  InputChoice choice = options.inputChoice;
  if (options.allVolumes) choice.volume = 0;
  return openVolume(*options.input, choice);
}

/// How messages begin.
std::string namedInput(Options const& options) {
  return "input " + nameOfInput(options);
}

/// Throws `InputError` when the slices are sheared within their plane.
void requireUprightSlices(Options const& options, Geometry const& geometry) {
  auto const axes = EuclideanDistanceTransform2D::axesOf(options.map.choice.plane);
  double cosine = 0.0;
  for (Vector3 const& row : geometry.direction) cosine += row[std::size_t(axes.i)] * row[std::size_t(axes.j)];
  constexpr double tolerance = 1e-3;
  if (std::abs(cosine) <= tolerance) return;
  double const degrees = std::acos(std::clamp(cosine, -1.0, 1.0)) * 180.0 / std::numbers::pi;
  throw InputError(namedInput(options) + ": has axes in plane " + nameOf(options.map.choice.plane) +
                   " at an angle of " + toText(std::round(10.0 * degrees) / 10.0) +
                   " degrees; expected a right angle for --units mm");
}

/// Millimetres that a voxel is long and wide within the slices.
double voxelLength(Options const& options, VolumeHeader const& header) {
  if (options.units == Units::voxels) return 1.0;
  auto const axes = EuclideanDistanceTransform2D::axesOf(options.map.choice.plane);
  if (!header.spacingKnown[std::size_t(axes.i)] || !header.spacingKnown[std::size_t(axes.j)]) {
    throw InputError(nameOfInput(options) + ": does not say the spacing of its voxels in plane " +
                     nameOf(options.map.choice.plane) +
                     ", so that distances in mm are unknown; expected --units voxels");
  }
  double const i = header.geometry.spacing[std::size_t(axes.i)];
  double const j = header.geometry.spacing[std::size_t(axes.j)];
  requireUprightSlices(options, header.geometry);
  constexpr double tolerance = 1e-3;  // spacings are often written with three digits
  if (std::abs(i - j) <= tolerance * i) return (i + j) / 2.0;
  throw InputError(namedInput(options) + ": has voxels of " + toText(i) + " × " + toText(j) +
                   " mm in plane " + nameOf(options.map.choice.plane) +
                   ", whose distances in voxels are none in mm; expected square ones for --units mm");
}

PieceRules pieceRules(fs::path const& output, Extents const& extents) {
  return {takesPieces(output, PieceOrder::memory), takesPieces(output, PieceOrder::any),
          sliceStepOf(extents)};
}

SlabPlan planOf(Options const& options, VolumeSource const& source, std::uint64_t more) {
  Extents const& extents = source.header().extents;
  PieceRules const rules = pieceRules(options.output, extents);
  std::uint64_t const budget = options.memory.value_or(availableMemory() / 10 * 9);
  auto const plan =
      planSlabs(source, options.map, rules, {budget, more, options.preview.has_value(), options.eachLabel});
  if (plan && plan->slices > 0) return *plan;
  MemoryNeed const need = memoryNeed(source, options.map, more, rules);
  std::string const shortage = namedInput(options) + ": its map takes about " + bytesText(need.whole) +
                               " of memory, and there are " + bytesText(budget);
  if (plan) {
    throw MemoryError(shortage + "; expected " + bytesText(need.fixed + rules.sliceStep * need.perSlice) +
                      " at least, with which it is made slab by slab");
  }
  throw MemoryError(shortage +
                    "; expected more, or what is made slab by slab: of MetaImage, NIfTI, NRRD and legacy VTK "
                    "files maps in plane xy without --preview, or both without compression");
}

struct MapFiles {
  StagedFile map;
  std::optional<StagedFile> picture, sidecar;
};

/// The work on one input, from options to report.
class Run {
 public:
  Run(Options const& options, Neighbours const& neighbours, std::ostream& warnings)
      : options_(options), warnings_(warnings), targets_(options.force), report_{.options = options_} {
    targets_.protect(neighbours.inputs);
    targets_.shareIn(neighbours.targets);
  }

  Report const& report() const { return report_; }

  /// Makes all files and puts them in place.
  void makeFiles() {
    addTargets();
    Stopwatch total, watch;
    source_ = openInput(options_);
    for (std::string const& notice : source_->notices) warn(notice);
    report_.header = source_->header();
    if (options_.allVolumes) report_.volumes = source_->volumes;
    if (report_.volumes > 1) requireFourDimensions(options_.output);
    options_.map.voxelLength = voxelLength(options_, report_.header);
    requireRoomForPlace(options_.output, report_.header.geometry, report_.header.extents);
    requireComputableSlices();
    MapPicture picture(options_, *source_);
    targets_.protect(source_->files);
    targets_.protect(picture.files());
    plan_ = planOf(options_, *source_, picture.bytesPerVoxel());
    report_.phases.open = watch.lap();

    Slabs slabs(*source_, options_.map.choice.plane, plan_);
    report_.slicesAtATime = std::min(plan_.slices * plan_.inFlight,
                                     sliceShape(report_.header.extents, options_.map.choice.plane).count);
    listMaps(slabs);
    std::uint64_t const slices =
        options_.map.choice.slice ? 1 : sliceShape(report_.header.extents, options_.map.choice.plane).count;
    Progress progress(slices * report_.maps.size() * report_.volumes,
                      options_.quiet ? Progress::Show() : terminalShow(), terminalWidth());
    for (std::size_t k = 0; k < files_.size(); ++k)
      make(files_[k], report_.maps[k], slabs, progress, picture);
    report_.totalSeconds = total.lap();
    if (json_) writeContent(*json_, jsonText(report_));
    targets_.putInPlace();
  }

 private:
  void warn(std::string const& line) {
    report_.warnings.push_back(line);
    warnings_ << "lorb-distance: warning: " << line << "\n";
  }

  /// All but those whose names are known when the input's labels are.
  void addTargets() {
    if (options_.input) targets_.protect({*options_.input});
    requireWritableName(options_.output);
    if (!options_.eachLabel) files_.push_back(filesOf(options_.output, options_.preview));
    if (options_.json) json_ = targets_.add(*options_.json);
  }

  std::optional<fs::path> sidecarOf(fs::path const& map) const {
    return options_.sidecar ? std::optional(withExtension(map, ".json")) : std::nullopt;
  }

  MapFiles filesOf(fs::path const& map, std::optional<fs::path> const& picture) {
    MapFiles files = {targets_.add(map), std::nullopt, std::nullopt};
    if (picture) files.picture = targets_.add(*picture);
    if (auto const sidecar = sidecarOf(map)) files.sidecar = targets_.add(*sidecar);
    return files;
  }

  void requireComputableSlices() const try {
    requireComputable(report_.header.extents, options_.map.choice);
  } catch (std::invalid_argument const& error) {
    throw InputError(namedInput(options_) + ": " + error.what());
  }

  void listMaps(Slabs& slabs) {
    if (!options_.eachLabel) {
      report_.maps.push_back(
          {options_.output, options_.preview, sidecarOf(options_.output), std::nullopt, options_.rule, {}});
      return;
    }
    for (ExactNumber const label : labels(slabs)) {
      ObjectRule rule = options_.rule;
      rule.values = {label};
      fs::path const path = withLabel(options_.output, label);
      std::optional<fs::path> picture;
      if (options_.preview) picture = withLabel(*options_.preview, label);
      files_.push_back(filesOf(path, picture));
      report_.maps.push_back({path, picture, sidecarOf(path), label, rule, {}});
    }
  }

  std::set<ExactNumber> labels(Slabs& slabs) try {
    std::set<ExactNumber> labels;
    forEachVolume(slabs, [&](Slabs& volume) { labels.merge(labelsIn(volume, report_.phases)); });
    if (labels.empty()) throw std::invalid_argument("holds 0 alone; expected labels for --each-label");
    return labels;
  } catch (std::invalid_argument const& error) {
    throw InputError(namedInput(options_) + ": " + error.what());
  }

  /// Calls `f` with the slabs of each volume, which are `slabs` when there is one.
  template <class F>
  void forEachVolume(Slabs& slabs, F f) {
    if (report_.volumes == 1) return f(slabs);
    for (std::uint64_t k = 0; k < report_.volumes; ++k) {
      if (!source_->choose(k)) {
        InputChoice choice = options_.inputChoice;
        choice.volume = static_cast<int>(k);
        source_ = openVolume(*options_.input, choice);
      }
      Slabs volume(*source_, options_.map.choice.plane, plan_);
      f(volume);
    }
  }

  void make(MapFiles const& files, MapReport& map, Slabs& slabs, Progress& progress, MapPicture& picture) {
    std::vector<fs::path> parts;  // of a map of several volumes
    forEachVolume(slabs, [&](Slabs& volume) {
      StagedFile file = files.map;
      if (report_.volumes > 1) {
        file.path = file.path.parent_path() / ("volume-" + std::to_string(parts.size()) + ".nii");
        parts.push_back(file.path);
      }
      addVolume(file, map, volume, progress, picture);
    });
    if (report_.volumes > 1) joinVolumes(parts, report_.header, files.map);
    for (fs::path const& part : parts) fs::remove(part);
    Stopwatch watch;
    if (files.picture) writeContent(*files.picture, picture.png());
    report_.phases.picture += watch.lap();
    if (files.sidecar) writeContent(*files.sidecar, sidecarText(map, report_));
    if (auto const emptiness = emptinessOf(map, report_)) warn(*emptiness);
  }

  /// Makes the map of a volume in a file, and adds what came out to that of the volumes before.
  void addVolume(StagedFile const& file, MapReport& map, Slabs& slabs, Progress& progress,
                 MapPicture& picture) {
    bool const inOrder = slabs.count() == 1 || slabs.plane() == EuclideanDistanceTransform2D::planeXY;
    MapWriter writer(file, report_.header, inOrder ? PieceOrder::memory : PieceOrder::any,
                     options_.compression);
    MapSummary const summary = makeMap(
        slabs, map.rule, options_.map, writer, report_.phases,
        [&](std::uint64_t slices) { progress.advance(slices); }, picture.viewer(slabs));
    writer.finish();
    report_.header.type = slabs.type();
    addSummary(map.summary, summary);
  }

  /// Slices are counted on from volume to volume.
  void addSummary(MapSummary& all, MapSummary const& volume) const {
    all.count.inside += volume.count.inside;
    all.count.all += volume.count.all;
    std::uint64_t const count = sliceShape(report_.header.extents, options_.map.choice.plane).count;
    std::uint64_t const first = all.slices.empty() ? 0 : (all.slices.back().slice / count + 1) * count;
    for (SliceSummary slice : volume.slices) {
      slice.slice += first;
      all.slices.push_back(slice);
    }
  }

  Options options_;
  std::ostream& warnings_;
  Targets targets_;
  std::unique_ptr<VolumeSource> source_;
  std::vector<MapFiles> files_;  ///< of each map in the report
  std::optional<StagedFile> json_;
  SlabPlan plan_;
  Report report_;
};

}  // namespace

void runOneInput(Options const& options, Neighbours const& neighbours, std::ostream& report,
                 std::ostream& warnings) {
  Run run(options, neighbours, warnings);
  run.makeFiles();
  if (options.quiet) return;
  bool const taken = isStandardStream(options.output) || (options.json && isStandardStream(*options.json));
  tell(taken ? warnings : report, run.report());
}

}  // namespace lorb::tools
