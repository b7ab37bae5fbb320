#include "tools/Options.h"

#include "tools/VolumeFile.h"
#include "tools/errors.h"

#include <CLI/CLI.hpp>

#include <ostream>
#include <sstream>
#include <string>

namespace lorb::tools {
namespace {

/// The options as they are typed.
struct Words {
  std::string input, output, plane = "xy", above, label, slice, volume, series;
  bool phantom = false, uneven = false, force = false;
};

void declare(CLI::App& app, Words& words) {
  app.add_option(
      "INPUT", words.input,
      "Volume to read: " + readableExtensions() + ", a folder of DICOM files, or - for standard input");
  app.add_flag("--phantom", words.phantom, "Use a built-in head phantom in place of INPUT");
  app.add_option("-o,--output", words.output, "Map to write, float32; its extension picks the format")
      ->required();
  app.add_option("--plane", words.plane, "Plane in which the slices lie: xy, xz or yz")
      ->capture_default_str();
  app.add_option("--above", words.above,
                 "The object is the voxels with values above this number (default: 0)");
  app.add_option("--label", words.label, "The object is the voxels with exactly this value");
  app.add_option("--slice", words.slice, "Compute this slice alone, counted from 0; all others hold 0");
  app.add_option("--volume", words.volume, "Volume of an input that holds several, counted from 0");
  app.add_option("--series", words.series, "UID of the DICOM series to take (default: the largest)");
  app.add_flag("--uneven", words.uneven,
               "Take DICOM slices that are unevenly spaced or shifted all the same");
  app.add_flag("--force", words.force, "Replace the output if it exists");
  app.set_version_flag("--version", "lorb-distance " LORB_VERSION);
  app.footer(
      "Distances are in voxels from centre to centre, within each slice: negative inside the object,\n"
      "positive outside. A slice without a boundary is filled with -N or +N, N = width^2 + height^2.\n"
      "Origin, spacing and direction are the input's; in .vti files they are LPS, as in MetaImage files.\n"
      "\n"
      "Exit codes: 0 done, 2 usage, 3 input, 4 output, 5 internal error.");
}

Plane planeNamed(std::string const& name) {
  if (name == "xy") return EuclideanDistanceTransform2D::planeXY;
  if (name == "xz") return EuclideanDistanceTransform2D::planeXZ;
  if (name == "yz") return EuclideanDistanceTransform2D::planeYZ;
  throw UsageError("--plane '" + name + "' names no plane; expected xy, xz or yz");
}

ObjectRule rule(ObjectRule::Kind kind, std::string const& option, std::string const& text) {
  if (auto const number = parseNumber(text)) return {kind, *number};
  throw UsageError(option + " '" + text + "' is no finite number; expected one such as 60 or 0.5");
}

ObjectRule ruleOf(CLI::App const& app, Words const& words) {
  bool const above = app.count("--above") > 0;
  bool const label = app.count("--label") > 0;
  if (above && label) throw UsageError("--above and --label exclude each other; expected one of them");
  if (above) return rule(ObjectRule::Kind::above, "--above", words.above);
  if (label) return rule(ObjectRule::Kind::label, "--label", words.label);
  return {};
}

int countedFromZero(std::string const& option, std::string const& text) {
  auto const number = parseInteger(text);
  if (number && *number >= 0) return *number;
  throw UsageError(option + " '" + text + "' is no " + option.substr(2) +
                   " number; expected a whole number from 0");
}

Options optionsOf(CLI::App const& app, Words const& words) {
  Options options;
  bool const named = app.count("INPUT") > 0;
  if (named && words.phantom) {
    throw UsageError("--phantom excludes the input '" + words.input + "'; expected one of them");
  }
  if (!named && !words.phantom) throw UsageError("no input; expected a file name or --phantom");
  if (named) options.input = words.input;
  options.output = words.output;
  options.choice.plane = planeNamed(words.plane);
  if (app.count("--slice") > 0) options.choice.slice = countedFromZero("--slice", words.slice);
  if (app.count("--volume") > 0) options.inputChoice.volume = countedFromZero("--volume", words.volume);
  if (app.count("--series") > 0) options.inputChoice.series = words.series;
  options.inputChoice.uneven = words.uneven;
  options.rule = ruleOf(app, words);
  options.force = words.force;
  return options;
}

}  // namespace

std::optional<Options> parseOptions(int argc, char const* const* argv, std::ostream& out) {
  CLI::App app("Signed distance map of an object in a medical volume, exact and slice by slice",
               "lorb-distance");
  Words words;
  declare(app, words);
  try {
    app.parse(argc, argv);
  } catch (CLI::ParseError const& error) {
    std::ostringstream complaint;
    if (app.exit(error, out, complaint) == 0) return std::nullopt;
    throw UsageError(std::string(error.what()) + "; see lorb-distance --help");
  }
  return optionsOf(app, words);
}

}  // namespace lorb::tools
