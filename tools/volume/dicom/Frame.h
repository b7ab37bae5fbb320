// What a DICOM header says of a frame: its place, its size, and what its stored values mean.
#pragma once

#include "tools/volume/Volume.h"
#include "tools/volume/dicom/attributes.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace lorb::tools::dicom {

/// How an element is stored.
struct StoredType {
  int allocatedBits = 0, storedBits = 0;
  bool isSigned = false;
  bool operator==(StoredType const&) const = default;
  std::int64_t lowest() const;
  std::int64_t highest() const;
};

/// Unit vectors along the rows (to the next column) and along the columns.
struct Orientation {
  Vector3 row, column;
  Vector3 normal() const;
};

/// A slice: the image of a file, or one of several.
struct Frame {
  std::filesystem::path file;
  std::size_t index = 0;       ///< in its file
  std::size_t frameCount = 1;  ///< of its file

  Extents extents = {0, 0, 1};
  StoredType stored;
  double slope = 1.0, intercept = 0.0;  ///< value = stored · slope + intercept
  std::string transferSyntax;
  std::uint64_t pixelOffset = 0;  ///< see FileAttributes

  std::optional<Vector3> position;  ///< of the first voxel's centre
  std::optional<Orientation> orientation;
  std::optional<std::array<double, 2>> spacing;  ///< within a row and between rows
  std::optional<double> thickness;               ///< distance to the next slice, as the header has it

  /// Tells frames at the same place apart: their dimension indices, or the number of their file.
  std::vector<double> order;

  /// What a person should know about the meaning of its values and sizes, a line each.
  std::vector<std::string> remarks;

  /// "IM3", or "IM3 frame 5", counted from 1 as in DICOM.
  std::string name() const;
};

/// The frames of a file. Throws `InputError` naming the file when a value is none that its attribute may
/// have, or when voxels are not single numbers.
std::vector<Frame> framesOf(std::filesystem::path const& path, FileAttributes const& attributes);

/// Number of frames that a header promises; 1 when it does not say.
std::uint64_t frameCountOf(FileAttributes const& attributes);

}  // namespace lorb::tools::dicom
