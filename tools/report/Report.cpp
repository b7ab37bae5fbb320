#include "tools/report/Report.h"

#include "tools/base/memory.h"
#include "tools/report/unboundedSlices.h"
#include "tools/report/words.h"

#include <cmath>
#include <cstdio>
#include <ostream>

namespace lorb::tools {
namespace {

double percentOf(InsideCount const& count) {
  return count.all == 0 ? 0.0 : 100.0 * double(count.inside) / double(count.all);
}

std::string joined(std::vector<ExactNumber> const& numbers, std::string const& between) {
  std::string text;
  for (ExactNumber const number : numbers) text += (text.empty() ? "" : between) + numberText(number);
  return text;
}

std::string slicesText(SliceChoice const& choice, SliceShape const& shape) {
  std::string const shapeText = std::to_string(shape.width) + " × " + std::to_string(shape.height);
  if (choice.slice) {
    return "slice " + std::to_string(*choice.slice) + " of " + std::to_string(shape.count) + ", " + shapeText;
  }
  return std::to_string(shape.count) + " slices of " + shapeText;
}

/// ", segment liver" or nothing
std::string segmentsText(std::vector<std::string> const& names) {
  std::string text;
  for (std::string const& name : names) text += ", segment " + name;
  return text;
}

void tellFilledSlices(std::ostream& out, std::vector<SliceSummary> const& slices) {
  std::vector<SliceRange> const ranges = unboundedRanges(slices);
  if (ranges.empty()) return;
  std::uint64_t const count = sliceCount(ranges);
  out << "filled: " << count << " of " << slices.size() << " slices without a boundary, with "
      << fillingText(slices) << ": " << rangesText(ranges) << "\n";
}

/// Nothing of a single one.
std::string volumesText(std::uint64_t volumes) {
  return volumes == 1 ? "" : " in each of " + std::to_string(volumes) + " volumes";
}

void tellMap(std::ostream& out, MapReport const& map) {
  InsideCount const& count = map.summary.count;
  out << "object: " << ruleText(map.rule) << ": " << count.inside << " of " << count.all << " voxels ("
      << decimals(percentOf(count)) << " %)\n"
      << "map:    " << map.path.string() << "\n";
  tellFilledSlices(out, map.summary.slices);
  if (map.picture) out << "image:  " << map.picture->string() << "\n";
}

void tellEffort(std::ostream& out, Report const& report) {
  Phases const& phases = report.phases;
  SliceShape const shape = sliceShape(report.header.extents, report.options.map.choice.plane);
  out << "time:   open " << decimals(phases.open) << " s, read " << decimals(phases.read) << " s, select "
      << decimals(phases.select) << " s, compute " << decimals(phases.compute) << " s on "
      << report.options.map.threads << (report.options.map.threads == 1 ? " thread" : " threads")
      << ", write " << decimals(phases.write) << " s, picture " << decimals(phases.picture) << " s; "
      << decimals(report.totalSeconds) << " s in all\n"
      << "memory: " << bytesText(peakMemory()) << " at most, " << report.slicesAtATime << " of "
      << shape.count << " slices at a time\n";
}

/// NaN, which JSON does not have, is null.
json numberOrNull(float number) {
  return std::isfinite(number) ? json(number) : json(nullptr);
}

json toJson(std::vector<SliceRange> const& ranges) {
  json list = json::array();
  for (SliceRange const& range : ranges) list.push_back({range.begin, range.end - 1});
  return {{"count", sliceCount(ranges)}, {"ranges", list}};
}

json toJson(MapReport const& map) {
  json slices = json::array();
  for (SliceSummary const& slice : map.summary.slices) {
    slices.push_back({{"slice", slice.slice},
                      {"minimum", numberOrNull(slice.least)},
                      {"maximum", numberOrNull(slice.greatest)},
                      {"hasBoundary", slice.hasBoundary}});
  }
  InsideCount const& count = map.summary.count;
  return {{"path", map.path.string()},
          {"picture", map.picture ? json(map.picture->string()) : json(nullptr)},
          {"sidecar", map.sidecar ? json(map.sidecar->string()) : json(nullptr)},
          {"object", ruleText(map.rule)},
          {"label", map.label ? exactJson(*map.label) : json(nullptr)},
          {"insideVoxels", count.inside},
          {"allVoxels", count.all},
          {"insidePercent", percentOf(count)},
          {"withoutBoundary", toJson(unboundedRanges(map.summary.slices))},
          {"slices", slices}};
}

json inputJson(Report const& report) {
  VolumeHeader const& header = report.header;
  Options const& options = report.options;
  auto const optional = [](auto const& value) { return value ? json(*value) : json(nullptr); };
  Geometry const& geometry = header.geometry;
  return {{"path", nameOfInput(options)},
          {"volume", optional(options.inputChoice.volume)},
          {"volumes", report.volumes},
          {"series", optional(options.inputChoice.series)},
          {"segments", options.inputChoice.segments},
          {"type", nameOf(header.type)},
          {"extents", header.extents},
          {"origin", geometry.firstVoxel()},
          {"spacing", geometry.spacing},
          {"direction", geometry.direction}};
}

json toJson(Options const& options) {
  auto const& slice = options.map.choice.slice;
  return {{"plane", nameOf(options.map.choice.plane)},
          {"slice", slice ? json(*slice) : json(nullptr)},
          {"units", nameOf(options.units)},
          {"voxelLength", options.map.voxelLength},
          {"noBoundary", nameOf(options.map.noBoundary)},
          {"threads", options.map.threads}};
}

}  // namespace

std::string nameOfInput(Options const& options) {
  return options.input ? options.input->string() : "built-in phantom";
}

std::string ruleText(ObjectRule const& rule) {
  std::string const prefix = rule.inverted ? "all but " : "";
  switch (rule.kind) {
    case ObjectRule::Kind::above:
      return prefix + "values > " + numberText(rule.values[0]);
    case ObjectRule::Kind::below:
      return prefix + "values < " + numberText(rule.values[0]);
    case ObjectRule::Kind::between:
      return prefix + "values from " + joined(rule.values, " to ");
    case ObjectRule::Kind::labels:
      break;
  }
  return prefix + (rule.values.size() == 1 ? "label " : "labels ") + joined(rule.values, ", ");
}

std::optional<std::string> emptinessOf(MapReport const& map, Report const& report) {
  InsideCount const& count = map.summary.count;
  if (count.inside > 0 && count.inside < count.all) return std::nullopt;
  bool const none = count.inside == 0;
  SliceShape const shape = sliceShape(report.header.extents, report.options.map.choice.plane);
  float const value = valueWithoutBoundary(shape, report.options.map);
  std::string const held = fillingText(none ? value : -value);
  return "the object (" + ruleText(map.rule) + ") " + (none ? "is empty" : "fills everything") +
         "; with no boundary to measure to, the map holds " + held +
         (report.options.map.choice.slice ? " in that slice" : " throughout");
}

void tell(std::ostream& out, Report const& report) {
  Options const& options = report.options;
  VolumeHeader const& header = report.header;
  out << "input:  " << nameOfInput(options) << segmentsText(options.inputChoice.segments) << "\n"
      << "volume: " << toText(header.extents) << " voxels" << volumesText(report.volumes) << " of "
      << nameOf(header.type) << ", spacing " << toText(header.geometry.spacing) << "\n"
      << "plane:  " << nameOf(options.map.choice.plane) << ", "
      << slicesText(options.map.choice, sliceShape(header.extents, options.map.choice.plane)) << ", in "
      << nameOf(options.units) << "\n";
  for (MapReport const& map : report.maps) tellMap(out, map);
  if (options.verbose) tellEffort(out, report);
}

std::string jsonText(Report const& report) {
  Phases const& phases = report.phases;
  json maps = json::array();
  for (MapReport const& map : report.maps) maps.push_back(toJson(map));
  json const document = {{"schema", 1},
                         {"program", programJson()},
                         {"input", inputJson(report)},
                         {"settings", toJson(report.options)},
                         {"warnings", report.warnings},
                         {"maps", maps},
                         {"seconds",
                          {{"open", phases.open},
                           {"read", phases.read},
                           {"select", phases.select},
                           {"compute", phases.compute},
                           {"write", phases.write},
                           {"picture", phases.picture},
                           {"total", report.totalSeconds}}},
                         {"memory", {{"peakBytes", peakMemory()}, {"slicesAtATime", report.slicesAtATime}}}};
  // Names of files may be any bytes.
  return document.dump(2, ' ', false, json::error_handler_t::replace) + "\n";
}

}  // namespace lorb::tools
