// The command line of lorb-distance.
#pragma once

#include "tools/map/distanceMap.h"
#include "tools/object/objectMask.h"
#include "tools/output/deflate.h"
#include "tools/volume/VolumeSource.h"

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace lorb::tools {

enum class Units { voxels, millimetres };

/// Several inputs, each with maps of its own.
struct ManyInputs {
  std::vector<std::filesystem::path> inputs;
  std::filesystem::path folder;        ///< of all maps and pictures
  std::optional<std::string> pattern;  ///< of the names of maps, see output/namePattern.h
  unsigned jobs = 1;                   ///< inputs at a time
};

/// What the command line asks for.
struct Options {
  std::optional<ManyInputs> many;  ///< in place of `input` and `output`; `preview` is a pattern then
  std::optional<std::filesystem::path> input;  ///< nothing: the phantom
  InputChoice inputChoice;
  bool allVolumes = false;  ///< of an input that holds several, into a map that does
  ObjectRule rule;
  bool eachLabel = false;
  std::filesystem::path output;
  MapSettings map;  ///< but for the length of a voxel, which the input tells
  Units units = Units::voxels;
  std::optional<std::filesystem::path> preview;      ///< picture to write
  std::optional<std::filesystem::path> previewOver;  ///< grey image beneath; "input" for the input itself
  std::optional<std::filesystem::path> json;
  bool sidecar = false;  ///< a JSON file beside each map that says what it is
  int compression = defaultCompression;
  std::optional<std::uint64_t> memory;  ///< bytes
  bool selfTest = false;                ///< nothing else is asked for
  bool force = false, quiet = false, verbose = false;
};

/// Reads the command line. Prints the answer to --help or --version on `out` and returns nothing when
/// that is all there is to do. Throws `UsageError`.
std::optional<Options> parseOptions(int argc, char const* const* argv, std::ostream& out);

}  // namespace lorb::tools
