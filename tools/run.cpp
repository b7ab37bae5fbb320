#include "tools/run.h"

#include "tools/VolumeFile.h"
#include "tools/errors.h"
#include "tools/phantom.h"

#include <cstdio>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>

namespace lorb::tools {
namespace {

std::string nameOfPlane(Plane plane) {
  switch (plane) {
    case EuclideanDistanceTransform2D::planeYZ:
      return "yz";
    case EuclideanDistanceTransform2D::planeXZ:
      return "xz";
    case EuclideanDistanceTransform2D::planeXY:
      return "xy";
  }
  return "none";
}

std::string nameOfInput(Options const& options) {
  return options.input ? options.input->string() : "built-in phantom";
}

std::string percent(InsideCount const& count) {
  char text[16];
  std::snprintf(text, sizeof text, "%.2f %%", 100.0 * double(count.inside) / double(count.all));
  return text;
}

DistanceMap computeMap(Mask const& mask, Options const& options) try {
  return distanceMap(mask, options.choice);
} catch (std::invalid_argument const& error) {
  throw InputError("input " + nameOfInput(options) + ": " + error.what());
}

std::string slicesText(SliceChoice const& choice, SliceShape const& shape) {
  std::string const shapeText = std::to_string(shape.width) + " × " + std::to_string(shape.height);
  if (choice.slice) {
    return "slice " + std::to_string(*choice.slice) + " of " + std::to_string(shape.count) + ", " + shapeText;
  }
  return std::to_string(shape.count) + " slices of " + shapeText;
}

void warn(std::ostream& warnings, InsideCount const& count, SliceShape const& shape) {
  if (count.inside > 0 && count.inside < count.all) return;
  bool const none = count.inside == 0;
  warnings << "lorb-distance: warning: the object " << (none ? "is empty" : "fills everything")
           << "; with no boundary to measure to, the map holds " << (none ? "+" : "-")
           << boundlessDistance(shape) << " throughout\n";
}

void tell(std::ostream& report, Options const& options, Volume const& input, InsideCount const& count) {
  report << "input:  " << nameOfInput(options) << "\n"
         << "volume: " << toText(extentsOf(*input.voxels)) << " voxels of " << nameOf(input.voxels->type_id())
         << ", spacing " << toText(input.geometry.spacing) << "\n"
         << "plane:  " << nameOfPlane(options.choice.plane) << ", "
         << slicesText(options.choice, sliceShape(*input.voxels, options.choice.plane)) << "\n"
         << "object: " << count.inside << " of " << count.all << " voxels (" << percent(count) << ")\n"
         << "map:    " << options.output.string() << "\n";
}

Volume readInput(Options const& options, std::ostream& warnings) {
  if (!options.input) return headPhantom();
  auto const source = openVolume(*options.input, options.inputChoice);
  for (std::string const& notice : source->notices) warnings << "lorb-distance: warning: " << notice << "\n";
  VolumeHeader const& header = source->header();
  return {source->read(wholeRegion(header.extents)), header.geometry, header.notes};
}

}  // namespace

void run(Options const& options, std::ostream& report, std::ostream& warnings) {
  requireTarget(options.output, options.force, options.input);
  Volume const input = readInput(options, warnings);
  Mask const mask = objectMask(*input.voxels, options.rule);
  Volume map;
  map.voxels = std::make_unique<DistanceMap>(computeMap(mask, options));
  map.geometry = input.geometry;
  map.notes = input.notes;
  writeVolume(map, options.output, options.force);

  InsideCount const count = countInside(mask, options.choice);
  warn(warnings, count, sliceShape(mask, options.choice.plane));
  tell(report, options, input, count);
}

}  // namespace lorb::tools
