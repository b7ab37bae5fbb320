// What every reader offers: first what the file says of its volume, then the voxels, all or some of them.
#pragma once

#include "tools/volume/Volume.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace lorb::tools {

/// What is known of a volume before its voxels are read.
struct VolumeHeader {
  TypeID type = typeNone;  ///< `typeNone` when only reading the voxels tells
  Extents extents = {0, 0, 0};
  Geometry geometry;
  std::array<bool, 3> spacingKnown = {true, true, true};  ///< along x, y and z; 1 is assumed where it is not
  bool inPatient = true;  ///< whether directions are those of a patient, and not of just any space
  std::optional<NiftiNotes> notes;
};

/// Which of the volumes that an input holds is meant.
struct InputChoice {
  std::optional<int> volume = std::nullopt;  ///< of a file of more than three dimensions, counted from 0
  std::optional<std::string> series = std::nullopt;  ///< UID of a DICOM series
  std::vector<std::string> segments =
      {};                    ///< names or IDs, of which the union is meant; empty for all values
  bool uneven = false;       ///< take DICOM slices that don't fill a box
  bool skipDamaged = false;  ///< leave out files that may be damaged slices
};

/// A box of voxels.
struct Region {
  Extents begin = {0, 0, 0};
  Extents size = {0, 0, 0};
};

class VolumeSource {
 public:
  virtual ~VolumeSource() = default;

  virtual VolumeHeader const& header() const = 0;

  /// Whether reading a part costs little more than its share of the whole.
  virtual bool readsParts() const = 0;

  /// Whether reading parts of neighbouring XY slices one after the other costs little more than the whole.
  virtual bool readsInOrder() const { return readsParts(); }

  /// Bytes of work memory that reading a region takes beside the result, at most.
  virtual std::uint64_t workBytes(Region const& region) const = 0;

  /// The voxels of a region, which has to be the whole volume unless `readsParts`
  /// or, of XY slices, `readsInOrder`. Throws `InputError`.
  virtual std::unique_ptr<ImageDataset> read(Region const& region) = 0;

  /// From now on `read` is of another volume of the input, counted from 0, if that costs less than opening
  /// the input anew; returns false otherwise.
  virtual bool choose(std::uint64_t) { return false; }

  /// Volumes that the input holds, all of the same extents and in the same place.
  std::uint64_t volumes = 1;

  /// What a person should know about how the volume was put together, a line each.
  std::vector<std::string> notices;

  /// All files that the volume is read from.
  std::vector<std::filesystem::path> files;
};

/// Throws `InputError` unless each dimension has from 1 to 2³¹ − 1 voxels, and all together fit into memory
/// that can be addressed.
void requirePossibleSizes(std::span<std::int64_t const> sizes, std::filesystem::path const& path);

/// Throws `InputError` unless origin, spacing and direction are numbers that files of every format can hold,
/// the spacing is above 0 and the directions span the space.
void requirePlace(Geometry const& geometry, std::filesystem::path const& path);

/// Which of the `count` volumes of a file without segments is meant. Throws `InputError` when it holds no
/// such volume, or several and none is chosen, and when segments are.
std::uint64_t chosenVolume(std::uint64_t count, InputChoice const& choice, std::filesystem::path const& path);

/// The whole of a volume of these extents.
inline Region wholeRegion(Extents const& extents) {
  return {{0, 0, 0}, extents};
}

}  // namespace lorb::tools
