#include "tools/report/sidecar.h"

#include "tools/report/words.h"

namespace lorb::tools {

std::string sidecarText(MapReport const& map, Report const& report) {
  Options const& options = report.options;
  json document = {
      {"Description",
       "Signed Euclidean distance to the boundary of the object within each slice, from centre to "
       "centre of voxels: negative inside, positive outside"},
      {"Sources", {nameOfInput(options)}},
      {"Units", nameOf(options.units)},
      {"Object", ruleText(map.rule)}};
  if (map.label) document["Label"] = exactJson(*map.label);
  document["Plane"] = nameOf(options.map.choice.plane);
  if (options.map.choice.slice) document["Slice"] = *options.map.choice.slice;
  document["NoBoundary"] = nameOf(options.map.noBoundary);
  document["InsideVoxels"] = map.summary.count.inside;
  document["AllVoxels"] = map.summary.count.all;
  json const program = programJson();
  document["GeneratedBy"] = json::array({{{"Name", program["name"]}, {"Version", program["version"]}}});
  return document.dump(2, ' ', false, json::error_handler_t::replace) + "\n";
}

}  // namespace lorb::tools
