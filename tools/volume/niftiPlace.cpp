#include "tools/volume/niftiPlace.h"

#include "tools/base/errors.h"
#include "tools/volume/VolumeSource.h"

#include <nifti/nifti1.h>

#include <algorithm>
#include <cmath>

namespace lorb::tools {
namespace {

using Matrix = std::array<Vector3, 3>;

/// Coordinates of NIfTI run to the right and anterior, those of a geometry to the left and posterior.
constexpr Vector3 turned = {-1.0, -1.0, 1.0};

template <class Numbers>
bool allFinite(Numbers const& numbers) {
  return std::all_of(numbers.begin(), numbers.end(), [](double number) { return std::isfinite(number); });
}

double length(Vector3 const& v) {
  return std::hypot(v[0], v[1], v[2]);
}

Vector3 cross(Vector3 const& a, Vector3 const& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

double dot(Vector3 const& a, Vector3 const& b) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

Vector3 column(Matrix const& m, std::size_t axis) {
  return {m[0][axis], m[1][axis], m[2][axis]};
}

void setColumn(Matrix& m, std::size_t axis, Vector3 const& v) {
  for (std::size_t row = 0; row < 3; ++row) m[row][axis] = v[row];
}

/// The length that stands for one of the file's, in millimetres.
double unitOf(NiftiNotes const& notes) {
  switch (XYZT_TO_SPACE(notes.units)) {
    case NIFTI_UNITS_METER:
      return 1000.0;
    case NIFTI_UNITS_MICRON:
      return 0.001;
    default:
      return 1.0;
  }
}

/// Spacing by the header alone. A file of two dimensions has none along the third.
Vector3 spacingOf(NiftiNotes const& notes) {
  double const third = notes.voxelSize[3];
  return {notes.voxelSize[1], notes.voxelSize[2], notes.isFlat && !(third > 0.0) ? 1.0 : third};
}

/// A place in the file's units and directions, as a geometry.
Geometry geometryOf(Matrix const& direction, Vector3 const& spacing, Vector3 const& origin, double unit) {
  Geometry geometry;
  for (std::size_t row = 0; row < 3; ++row) {
    geometry.spacing[row] = spacing[row] * unit;
    geometry.origin[row] = turned[row] * origin[row] * unit;
    for (std::size_t axis = 0; axis < 3; ++axis) {
      geometry.direction[row][axis] = turned[row] * direction[row][axis];
    }
  }
  return geometry;
}

/// The rotation of a unit quaternion (a, b, c, d).
Matrix rotationBy(double a, Vector3 const& q) {
  double const b = q[0], c = q[1], d = q[2];
  return {{{a * a + b * b - c * c - d * d, 2.0 * (b * c - a * d), 2.0 * (b * d + a * c)},
           {2.0 * (b * c + a * d), a * a + c * c - b * b - d * d, 2.0 * (c * d - a * b)},
           {2.0 * (b * d - a * c), 2.0 * (c * d + a * b), a * a + d * d - b * b - c * c}}};
}

Geometry byQuaternion(NiftiNotes const& notes) {
  // What rounding makes longer than 1 is shortened.
  double const norm = std::max(1.0, length(notes.quaternion));
  Vector3 const q = {notes.quaternion[0] / norm, notes.quaternion[1] / norm, notes.quaternion[2] / norm};
  Matrix direction = rotationBy(std::sqrt(std::max(0.0, 1.0 - dot(q, q))), q);
  if (notes.voxelSize[0] < 0.0) {
    for (Vector3& row : direction) row[2] = -row[2];
  }
  return geometryOf(direction, spacingOf(notes), notes.offset, unitOf(notes));
}

Geometry byMatrix(NiftiNotes const& notes) {
  Matrix direction;
  Vector3 spacing, origin;
  for (std::size_t row = 0; row < 3; ++row) {
    std::copy_n(notes.matrix[row].begin(), 3, direction[row].begin());
    origin[row] = notes.matrix[row][3];
  }
  if (notes.isFlat && length(column(direction, 2)) == 0.0) {
    Vector3 normal = cross(column(direction, 0), column(direction, 1));
    double const scale = spacingOf(notes)[2] / length(normal);
    for (double& x : normal) x *= scale;
    setColumn(direction, 2, normal);
  }
  for (std::size_t axis = 0; axis < 3; ++axis) {
    Vector3 step = column(direction, axis);
    spacing[axis] = length(step);
    for (double& x : step) x /= spacing[axis] > 0.0 ? spacing[axis] : 1.0;
    setColumn(direction, axis, step);
    // The header's own number lacks the rounding of three.
    double const noted = spacingOf(notes)[axis];
    if (std::abs(noted - spacing[axis]) <= 1e-6 * noted) spacing[axis] = noted;
  }
  return geometryOf(direction, spacing, origin, unitOf(notes));
}

/// Method 1 of the NIfTI standard.
Geometry bySpacing(NiftiNotes const& notes) {
  return geometryOf(Geometry().direction, spacingOf(notes), {}, unitOf(notes));
}

/// The first axis runs to the left, and the voxel at the origin is the one that SPM notes, or the middle.
Geometry placeOfAnalyze(NiftiHeader const& header) {
  Vector3 const& noted = header.spmOrigin;
  bool isNoted = noted != Vector3{};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    double const size = static_cast<double>(header.sizes[axis]);
    isNoted = isNoted && noted[axis] > -size && noted[axis] < 2.0 * size;
  }
  Matrix direction = Geometry().direction;
  direction[0][0] = -1.0;
  Vector3 const spacing = spacingOf(header.notes);
  Vector3 origin;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    double const middle = (static_cast<double>(header.sizes[axis]) - 1.0) / 2.0;
    origin[axis] = -direction[axis][axis] * spacing[axis] * (isNoted ? noted[axis] - 1.0 : middle);
  }
  return geometryOf(direction, spacing, origin, 1.0);
}

void requireFinitePlaces(NiftiNotes const& notes, std::filesystem::path const& path) {
  bool const quaternion = allFinite(notes.quaternion) && allFinite(notes.offset);
  bool const matrix =
      std::all_of(notes.matrix.begin(), notes.matrix.end(), [](auto const& row) { return allFinite(row); });
  if ((notes.qformCode > 0 && !quaternion) || (notes.sformCode > 0 && !matrix)) {
    refuseInput(path, "is placed by numbers that are not finite");
  }
}

void requireQuaternion(NiftiNotes const& notes, std::filesystem::path const& path) {
  constexpr double most = 1.0001;
  if (length(notes.quaternion) <= most) return;
  refuseInput(path,
              "is placed by the quaternion " + toText(notes.quaternion) + "; expected one no longer than 1");
}

std::string codeText(int code) {
  return " (code " + std::to_string(code) + ")";
}

/// Of a file that is placed by its sform.
std::optional<std::string> noticeOfDifference(NiftiNotes const& notes, Geometry const& taken,
                                              Extents const& extents) {
  if (notes.qformCode > 0) {
    Geometry const other = byQuaternion(notes);
    if (samePlace(taken, other, extents)) return std::nullopt;
    return "places its voxels twice, up to " + toMillimetres(farthestShift(taken, other, extents)) +
           " apart; took the sform" + codeText(notes.sformCode) + ", not the qform" +
           codeText(notes.qformCode);
  }
  Vector3 spacing = spacingOf(notes);
  bool same = true;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    spacing[axis] *= unitOf(notes);
    same = same && std::abs(spacing[axis] - taken.spacing[axis]) <= 1e-3 * taken.spacing[axis];
  }
  if (same) return std::nullopt;
  return "has voxels of " + toText(taken.spacing) + " mm by its sform, which was taken, and of " +
         toText(spacing) + " mm by its pixdim";
}

}  // namespace

NiftiPlace placeOf(NiftiHeader const& header, std::filesystem::path const& path) {
  NiftiNotes const& notes = header.notes;
  requireFinitePlaces(notes, path);
  NiftiPlace place;
  if (header.kind == NiftiKind::analyze) {
    place = {
        placeOfAnalyze(header), false,
        "is an Analyze file, which says no directions; took the first axis as running to the left, as SPM "
        "and nibabel do"};
  } else if (notes.sformCode > 0) {
    place.geometry = byMatrix(notes);
    place.notice =
        noticeOfDifference(notes, place.geometry, {header.sizes[0], header.sizes[1], header.sizes[2]});
  } else if (notes.qformCode > 0) {
    requireQuaternion(notes, path);
    place.geometry = byQuaternion(notes);
  } else {
    place = {
        bySpacing(notes), false,
        "says no directions (qform and sform have code 0); placed it by its voxel sizes alone, with axes "
        "to the right, anterior and superior"};
  }
  requirePlace(place.geometry, path);
  if (place.notice) place.notice = "input " + path.string() + ": " + *place.notice;
  return place;
}

namespace {

/// Whether the columns stand at right angles to each other, as far as single precision tells.
bool isUpright(Matrix const& direction) {
  for (std::size_t axis = 0; axis < 3; ++axis) {
    if (std::abs(dot(column(direction, axis), column(direction, (axis + 1) % 3))) > 1e-6) return false;
  }
  return true;
}

/// The vector part of the unit quaternion, of scalar part 0 at least, that rotates like `m`. Divides by the
/// largest of its four parts. After: S. W. Shepperd, "Quaternion from rotation matrix", Journal of Guidance
/// and Control 1 (1978), doi:10.2514/3.55767b.
Vector3 quaternionOf(Matrix const& m) {
  std::array<double, 4> const squares = {1.0 + m[0][0] + m[1][1] + m[2][2], 1.0 + m[0][0] - m[1][1] - m[2][2],
                                         1.0 - m[0][0] + m[1][1] - m[2][2],
                                         1.0 - m[0][0] - m[1][1] + m[2][2]};  // times 4
  std::array<double, 3> const differences = {m[2][1] - m[1][2], m[0][2] - m[2][0], m[1][0] - m[0][1]};
  auto const largest =
      static_cast<std::size_t>(std::max_element(squares.begin(), squares.end()) - squares.begin());
  double const part = 2.0 * std::sqrt(squares[largest]);  // 4 times the largest part
  Vector3 q;
  if (largest == 0) {
    for (std::size_t k = 0; k < 3; ++k) q[k] = differences[k] / part;
    return q;
  }
  std::size_t const axis = largest - 1;
  for (std::size_t k = 0; k < 3; ++k) q[k] = (m[axis][k] + m[k][axis]) / part;
  q[axis] = part / 4.0;
  if (differences[axis] < 0.0) {
    for (double& x : q) x = -x;
  }
  return q;
}

}  // namespace

NiftiNotes notesFor(Geometry const& geometry) {
  NiftiNotes notes;
  Vector3 const origin = geometry.firstVoxel();
  Matrix direction;
  for (std::size_t row = 0; row < 3; ++row) {
    for (std::size_t axis = 0; axis < 3; ++axis) {
      direction[row][axis] = turned[row] * geometry.direction[row][axis];
      notes.matrix[row][axis] = direction[row][axis] * geometry.spacing[axis];
    }
    notes.offset[row] = notes.matrix[row][3] = turned[row] * origin[row];
    notes.voxelSize[row + 1] = geometry.spacing[row];
  }
  bool const isMirrored = dot(cross(column(direction, 0), column(direction, 1)), column(direction, 2)) < 0.0;
  notes.voxelSize[0] = isMirrored ? -1.0 : 1.0;
  notes.units = NIFTI_UNITS_MM;
  notes.sformCode = NIFTI_XFORM_SCANNER_ANAT;
  if (!isUpright(direction)) return notes;
  notes.qformCode = NIFTI_XFORM_SCANNER_ANAT;
  for (Vector3& row : direction) row[2] *= notes.voxelSize[0];
  notes.quaternion = quaternionOf(direction);
  return notes;
}

}  // namespace lorb::tools
