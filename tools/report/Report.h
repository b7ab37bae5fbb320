// What was done, for people and for programs.
#pragma once

#include "tools/commandLine/Options.h"
#include "tools/makeMap.h"
#include "tools/volume/VolumeSource.h"

#include <filesystem>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace lorb::tools {

/// One map that was written.
struct MapReport {
  std::filesystem::path path;
  std::optional<std::filesystem::path> picture, sidecar;
  std::optional<ExactNumber> label;  ///< of --each-label
  ObjectRule rule;
  MapSummary summary;
};

struct Report {
  Options const& options;  ///< with the length of a voxel in its map settings
  VolumeHeader header = {};
  std::uint64_t volumes = 1;  ///< that maps were made of, into one map
  std::vector<std::string> warnings = {};
  std::uint64_t slicesAtATime = 0;
  std::vector<MapReport> maps = {};
  Phases phases = {};
  double totalSeconds = 0.0;
};

/// The input as it was named.
std::string nameOfInput(Options const& options);

/// "values > 60", "all but labels 3, 4"
std::string ruleText(ObjectRule const& rule);

/// A line when the object is empty or fills everything, saying what the map then holds; nothing otherwise.
std::optional<std::string> emptinessOf(MapReport const& map, Report const& report);

/// A few lines for people; with `verbose` also timings and memory.
void tell(std::ostream& out, Report const& report);

/// The report as JSON text, of the schema docs/report.schema.json.
std::string jsonText(Report const& report);

}  // namespace lorb::tools
