// The command line of lorb-distance.
#pragma once

#include "tools/map/distanceMap.h"
#include "tools/object/objectMask.h"
#include "tools/volume/VolumeSource.h"

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <optional>

namespace lorb::tools {

enum class Units { voxels, millimetres };

/// What the command line asks for.
struct Options {
  std::optional<std::filesystem::path> input;  ///< nothing: the phantom
  InputChoice inputChoice;
  ObjectRule rule;
  bool eachLabel = false;
  std::filesystem::path output;
  MapSettings map;  ///< but for the length of a voxel, which the input tells
  Units units = Units::voxels;
  std::optional<std::filesystem::path> preview;      ///< picture to write
  std::optional<std::filesystem::path> previewOver;  ///< grey image beneath; "input" for the input itself
  std::optional<std::filesystem::path> json;
  std::optional<std::uint64_t> memory;  ///< bytes
  bool selfTest = false;                ///< nothing else is asked for
  bool force = false, quiet = false, verbose = false;
};

/// Reads the command line. Prints the answer to --help or --version on `out` and returns nothing when
/// that is all there is to do. Throws `UsageError`.
std::optional<Options> parseOptions(int argc, char const* const* argv, std::ostream& out);

}  // namespace lorb::tools
