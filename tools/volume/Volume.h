// A volume as it lies in a file: voxels of any element type, and where they are in space.
#pragma once

#include <lorb/dataset/TImageDataset.h>

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace lorb::tools {

using Vector3 = std::array<double, 3>;
using Extents = std::array<std::uint64_t, 3>;

/// Where voxels lie in space: the index (i, j, k) is at `origin` + `direction` · (`spacing` ∘ (i, j, k)),
/// in the units of the file, in medical files millimetres.
///
/// Coordinates run to the Left, Posterior and Superior of the patient (LPS), whatever the file's own
/// convention: NIfTI files, which run to the right and anterior, are turned on reading and writing.
struct Geometry {
  Vector3 origin = {0.0, 0.0, 0.0};
  Vector3 spacing = {1.0, 1.0, 1.0};

  /// `direction[row][column]`; column c is the unit vector along index axis c.
  std::array<Vector3, 3> direction = {{{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}};

  /// The index of the first voxel. Only .vti files begin elsewhere than at 0.
  std::array<int, 3> firstIndex = {0, 0, 0};

  /// Position of an index, which may lie between voxels.
  Vector3 position(Vector3 const& index) const;

  /// Position of the voxel that comes first in memory.
  Vector3 firstVoxel() const;
};

/// What a NIfTI header says beyond a geometry, and a map made from it keeps to the last bit. The file may
/// place its voxels twice, for instance in the scanner and in an atlas, of which a geometry is one.
struct NiftiNotes {
  bool isVersion2 = false;                        ///< of NIfTI-2, which keeps double precision
  bool isFlat = false;                            ///< of a file of two dimensions
  int qformCode = 0, sformCode = 0;               ///< what the two placements refer to; 0 for none
  Vector3 quaternion = {}, offset = {};           ///< the qform, with `voxelSize`
  std::array<std::array<double, 4>, 3> matrix{};  ///< rows of the sform
  std::array<double, 4> voxelSize = {};           ///< handedness of the quaternion, then spacing
  int units = 0;
  std::uint64_t volumes = 1;                      ///< of a file of four dimensions
  double volumeSpacing = 1.0, firstVolume = 0.0;  ///< along its fourth dimension, mostly time
  std::string description, auxiliaryFile;
  bool operator==(NiftiNotes const&) const = default;
};

struct Volume {
  std::unique_ptr<ImageDataset> voxels;
  Geometry geometry;
  std::optional<NiftiNotes> notes;  ///< of volumes from NIfTI files
};

/// A volume of the given element type and extents, all voxels 0; null when `type` names no type.
std::unique_ptr<ImageDataset> makeVoxels(TypeID type, Extents const& extents);

/// The voxels, one after the other; null for `bool`, whose bits have no addresses.
void* dataOf(ImageDataset& voxels);
void const* dataOf(ImageDataset const& voxels);

/// Bytes that an element takes; 0 when `type` names no type.
std::uint64_t bytesOf(TypeID type);

/// Number of voxels along x, y and z.
Extents extentsOf(ImageDataset const& voxels);

/// Product of the extents.
std::uint64_t voxelCount(Extents const& extents);

/// "3 × 4 × 5"
std::string toText(Extents const& extents);

/// Fewest digits that name the number: "0.5 × 0.5 × 2"
std::string toText(Vector3 const& numbers);

/// Fewest digits that name the number, whatever the locale: "0.5"
std::string toText(double number);

/// A length to the micrometre: "0.333 mm"
std::string toMillimetres(double length);

/// Name of an element type, such as "Int16"; "none" when `type` names no type.
std::string nameOf(TypeID type);

/// True when both volumes have the same type, extents and voxels, bit for bit.
bool equalVoxels(ImageDataset const& a, ImageDataset const& b);

/// How far the corner of a volume of these extents that moves most lies from where it does in the other
/// geometry.
double farthestShift(Geometry const& a, Geometry const& b, Extents const& extents);

/// True when every corner of a volume of these extents lies where it does in the other geometry, within
/// a thousandth of a voxel and the rounding of single-precision files.
bool samePlace(Geometry const& a, Geometry const& b, Extents const& extents);

/// In what a geometry differs from the expected one, where they are not the same place: "spacing 1 × 1 × 2,
/// not 1 × 1 × 3; first voxel at 0 × 0 × 5, not 0 × 0 × 0".
std::string placeDifferences(Geometry const& found, Geometry const& expected, Extents const& extents);

}  // namespace lorb::tools
