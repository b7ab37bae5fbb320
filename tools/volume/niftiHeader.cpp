#include "tools/volume/niftiHeader.h"

#include "tools/base/errors.h"
#include "tools/volume/VolumeSource.h"

#include <nifti/nifti1.h>
#include <nifti/nifti2.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cctype>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <type_traits>

namespace lorb::tools {
namespace fs = std::filesystem;
namespace {

static_assert(sizeof(nifti_1_header) == 348 && sizeof(nifti_2_header) == 540);

using Bytes = std::vector<char>;

template <class T>
T swapped(T number) {
  auto bytes = std::bit_cast<std::array<char, sizeof(T)>>(number);
  std::reverse(bytes.begin(), bytes.end());
  return std::bit_cast<T>(bytes);
}

/// Turns the numbers that are read below. The fields of the second version have no addresses of their own,
/// since it is packed.
template <class Raw>
void swapNumbers(Raw& raw) {
  for (std::size_t k = 0; k < 8; ++k) {
    raw.dim[k] = swapped(raw.dim[k]);
    raw.pixdim[k] = swapped(raw.pixdim[k]);
  }
  for (std::size_t k = 0; k < 4; ++k) {
    raw.srow_x[k] = swapped(raw.srow_x[k]);
    raw.srow_y[k] = swapped(raw.srow_y[k]);
    raw.srow_z[k] = swapped(raw.srow_z[k]);
  }
  raw.datatype = swapped(raw.datatype);
  raw.vox_offset = swapped(raw.vox_offset);
  raw.scl_slope = swapped(raw.scl_slope);
  raw.scl_inter = swapped(raw.scl_inter);
  raw.xyzt_units = swapped(raw.xyzt_units);
  raw.qform_code = swapped(raw.qform_code);
  raw.sform_code = swapped(raw.sform_code);
  raw.quatern_b = swapped(raw.quatern_b);
  raw.quatern_c = swapped(raw.quatern_c);
  raw.quatern_d = swapped(raw.quatern_d);
  raw.qoffset_x = swapped(raw.qoffset_x);
  raw.qoffset_y = swapped(raw.qoffset_y);
  raw.qoffset_z = swapped(raw.qoffset_z);
}

/// The name with another extension in place of ".hdr" or ".img", in its own capitals.
fs::path withExtension(fs::path const& path, std::string extension) {
  std::string name = path.filename().string();
  std::size_t const compressed = name.size() > 3 && std::tolower(name.back()) == 'z' ? 3 : 0;
  std::size_t const begin = name.size() - compressed - extension.size();
  bool const capitals = std::isupper(static_cast<unsigned char>(name[begin + 1])) != 0;
  if (capitals) std::transform(extension.begin(), extension.end(), extension.begin(), ::toupper);
  return path.parent_path() / name.replace(begin, extension.size(), extension);
}

/// Whether the name is that of one of two files.
bool namesPair(fs::path const& path) {
  std::string name = path.filename().string();
  std::transform(name.begin(), name.end(), name.begin(), ::tolower);
  return name.find(".nii", name.size() < 7 ? 0 : name.size() - 7) == std::string::npos;
}

Bytes firstBytes(fs::path const& path, std::size_t most) {
  // Reads uncompressed files as they are.
  std::unique_ptr<gzFile_s, decltype(&gzclose)> const file(gzopen(path.c_str(), "rb"), &gzclose);
  if (file == nullptr) refuseInput(path, "can't be opened: " + whyClosed(path).value_or("too little memory"));
  Bytes bytes(most);
  int const count = gzread(file.get(), bytes.data(), static_cast<unsigned>(most));
  bytes.resize(static_cast<std::size_t>(std::max(0, count)));
  return bytes;
}

template <class Raw>
Raw rawHeader(Bytes const& bytes, bool isSwapped) {
  Raw raw;
  std::memcpy(&raw, bytes.data(), sizeof raw);
  if (isSwapped) swapNumbers(raw);
  return raw;
}

TypeID typeOf(int datatype) {
  switch (datatype) {
    case NIFTI_TYPE_INT8:
      return typeInt8;
    case NIFTI_TYPE_UINT8:
      return typeUInt8;
    case NIFTI_TYPE_INT16:
      return typeInt16;
    case NIFTI_TYPE_UINT16:
      return typeUInt16;
    case NIFTI_TYPE_INT32:
      return typeInt32;
    case NIFTI_TYPE_UINT32:
      return typeUInt32;
    case NIFTI_TYPE_INT64:
      return typeInt64;
    case NIFTI_TYPE_UINT64:
      return typeUInt64;
    case NIFTI_TYPE_FLOAT32:
      return typeFloat;
    case NIFTI_TYPE_FLOAT64:
      return typeDouble;
    default:
      return typeNone;
  }
}

int valuesPerVoxel(int datatype) {
  switch (datatype) {
    case NIFTI_TYPE_COMPLEX64:
    case NIFTI_TYPE_COMPLEX128:
    case NIFTI_TYPE_COMPLEX256:
      return 2;
    case NIFTI_TYPE_RGB24:
      return 3;
    case NIFTI_TYPE_RGBA32:
      return 4;
    default:
      return 1;
  }
}

TypeID requireType(int datatype, fs::path const& path) {
  if (int const count = valuesPerVoxel(datatype); count != 1) {
    refuseInput(path, "holds " + std::to_string(count) + " values a voxel; expected 1");
  }
  TypeID const type = typeOf(datatype);
  if (type != typeNone) return type;
  refuseInput(path, "holds values of NIfTI data type " + std::to_string(datatype) +
                        "; expected integers of 8 to 64 bits, float or double");
}

/// Sizes of all dimensions. A dimension beyond the third of size 0 is one that the writer left out.
template <class Raw>
std::vector<std::uint64_t> sizesIn(Raw const& raw, fs::path const& path) {
  constexpr int most = 7;
  std::int64_t const count = raw.dim[0];
  if (count < 2 || count > most) {
    refuseInput(path, "has " + std::to_string(count) + " dimensions; expected 3, or 2 to 7");
  }
  std::vector<std::int64_t> sizes;
  for (int d = 1; d <= count; ++d) sizes.push_back(d > 3 && raw.dim[d] == 0 ? 1 : raw.dim[d]);
  requirePossibleSizes(sizes, path);
  sizes.resize(std::max<std::size_t>(3, sizes.size()), 1);
  return {sizes.begin(), sizes.end()};
}

/// A slope of 0 says that voxels are not scaled, whatever the intercept.
void takeScaling(NiftiHeader& header, double slope, double intercept, fs::path const& path) {
  if (slope == 0.0 || !std::isfinite(slope)) return;
  if (!std::isfinite(intercept)) {
    refuseInput(path, "has scl_slope " + toText(slope) + " and scl_inter " + toText(intercept) +
                          "; expected a finite scl_inter");
  }
  header.slope = slope;
  header.intercept = intercept;
}

/// `least` is where voxels may begin at the earliest.
void takeOffset(NiftiHeader& header, double offset, std::uint64_t least, fs::path const& path) {
  constexpr double most = 9007199254740992.0;  // beyond, not every whole number is a double
  if (!(offset >= static_cast<double>(least) && offset <= most && offset == std::floor(offset))) {
    refuseInput(
        path, "has vox_offset " + toText(offset) + "; expected a whole number from " + std::to_string(least));
  }
  header.offset = static_cast<std::uint64_t>(offset);
}

template <std::size_t N>
std::string textIn(char const (&field)[N]) {
  return {field, std::find(field, field + N, '\0')};
}

template <class Raw>
NiftiNotes notesIn(Raw const& raw, fs::path const& path) {
  NiftiNotes notes;
  notes.isVersion2 = std::is_same_v<Raw, nifti_2_header>;
  notes.isFlat = raw.dim[0] == 2;
  notes.qformCode = raw.qform_code;
  notes.sformCode = raw.sform_code;
  notes.quaternion = {raw.quatern_b, raw.quatern_c, raw.quatern_d};
  notes.offset = {raw.qoffset_x, raw.qoffset_y, raw.qoffset_z};
  for (std::size_t k = 0; k < 4; ++k) {
    notes.matrix[0][k] = raw.srow_x[k];
    notes.matrix[1][k] = raw.srow_y[k];
    notes.matrix[2][k] = raw.srow_z[k];
    notes.voxelSize[k] = raw.pixdim[k];
  }
  for (std::size_t k = 1; k < 4; ++k) {
    if (!std::isfinite(notes.voxelSize[k])) {
      refuseInput(path, "has spacing " +
                            toText(Vector3{notes.voxelSize[1], notes.voxelSize[2], notes.voxelSize[3]}) +
                            "; expected finite numbers above 0");
    }
  }
  if (raw.dim[0] > 3 && raw.dim[4] > 1) {
    notes.volumeSpacing = raw.pixdim[4];
    notes.firstVolume = raw.toffset;
  }
  notes.units = raw.xyzt_units;
  notes.description = textIn(raw.descrip);
  notes.auxiliaryFile = textIn(raw.aux_file);
  return notes;
}

/// What both versions of NIfTI call by the same names.
template <class Raw>
NiftiHeader headerFrom(Raw const& raw, bool isPair, fs::path const& path) {
  NiftiHeader header;
  constexpr std::uint64_t extension = 4;  // bytes behind the header that say whether more follow
  takeOffset(header, static_cast<double>(raw.vox_offset), isPair ? 0 : sizeof raw + extension, path);
  takeScaling(header, raw.scl_slope, raw.scl_inter, path);
  header.stored = requireType(raw.datatype, path);
  header.sizes = sizesIn(raw, path);
  header.notes = notesIn(raw, path);
  return header;
}

/// SPM keeps a slope where NIfTI does, and an origin where NIfTI keeps its codes.
NiftiHeader analyzeHeader(Bytes const& bytes, bool isSwapped, fs::path const& path) {
  auto const raw = rawHeader<nifti_1_header>(bytes, isSwapped);
  NiftiHeader header;
  header.kind = NiftiKind::analyze;
  takeOffset(header, raw.vox_offset, 0, path);
  takeScaling(header, raw.scl_slope, 0.0, path);
  constexpr int types[] = {DT_UINT8, DT_INT16, DT_INT32, DT_FLOAT32, DT_FLOAT64};
  if (std::find(std::begin(types), std::end(types), raw.datatype) == std::end(types)) {
    refuseInput(path, "holds values of Analyze data type " + std::to_string(raw.datatype) +
                          "; expected single integers of 8 to 32 bits, float or double");
  }
  header.stored = typeOf(raw.datatype);
  header.sizes = sizesIn(raw, path);
  for (std::size_t k = 1; k < 4; ++k) header.notes.voxelSize[k] = std::abs(double(raw.pixdim[k]));
  constexpr std::size_t originator = 253;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    std::int16_t number;
    std::memcpy(&number, bytes.data() + originator + axis * sizeof number, sizeof number);
    header.spmOrigin[axis] = isSwapped ? swapped(number) : number;
  }
  return header;
}

/// A header begins with its own length, in whichever byte order.
struct Beginning {
  std::uint32_t length = 0;
  bool swapped = false;
};

Beginning beginningOf(std::string_view head) {
  Beginning beginning;
  if (head.size() < sizeof beginning.length) return beginning;
  std::memcpy(&beginning.length, head.data(), sizeof beginning.length);
  constexpr std::uint32_t known[] = {sizeof(nifti_1_header), sizeof(nifti_2_header)};
  for (std::uint32_t const length : known) {
    if (beginning.length == swapped(length)) return {length, true};
  }
  return beginning;
}

NiftiHeader headerIn(Bytes const& bytes, bool isPair, fs::path const& path) {
  std::string_view const head(bytes.data(), bytes.size());
  Beginning const beginning = beginningOf(head);
  bool const isSwapped = beginning.swapped;
  if (beginning.length > bytes.size() || bytes.size() < sizeof(nifti_1_header)) {
    refuseInput(path, "is no NIfTI file, or is cut within its header");
  }
  std::string_view const magic = isPair ? "ni" : "n+";
  constexpr std::size_t magic1 = 344, magic2 = 4;
  if (beginning.length == sizeof(nifti_2_header) && head.substr(magic2, 3) == std::string(magic) + '2') {
    auto header = headerFrom(rawHeader<nifti_2_header>(bytes, isSwapped), isPair, path);
    header.kind = NiftiKind::nifti2;
    return header;
  }
  if (beginning.length == sizeof(nifti_1_header)) {
    if (head.substr(magic1, 3) == std::string(magic) + '1') {
      return headerFrom(rawHeader<nifti_1_header>(bytes, isSwapped), isPair, path);
    }
    if (isPair && head[magic1] != 'n') return analyzeHeader(bytes, isSwapped, path);
  }
  refuseInput(path, std::string("is no NIfTI ") + (isPair ? "header" : "file") + "; expected the mark " +
                        std::string(magic) + "1 or " + std::string(magic) + '2' +
                        (isPair ? ", or an Analyze header" : ""));
}

// Writing.

constexpr std::int64_t mostInVersion1 = std::numeric_limits<std::int16_t>::max();

template <std::size_t N>
void putText(char (&field)[N], std::string const& text) {
  text.copy(field, N - 1);
}

int datatypeOf(TypeID type) {
  for (int const datatype :
       {NIFTI_TYPE_INT8, NIFTI_TYPE_UINT8, NIFTI_TYPE_INT16, NIFTI_TYPE_UINT16, NIFTI_TYPE_INT32,
        NIFTI_TYPE_UINT32, NIFTI_TYPE_INT64, NIFTI_TYPE_UINT64, NIFTI_TYPE_FLOAT32, NIFTI_TYPE_FLOAT64}) {
    if (typeOf(datatype) == type) return datatype;
  }
  throw OutputError("no file format stores elements of type " + nameOf(type));
}

/// Fields that are written in both versions; all others are 0.
template <class Raw>
void describe(Raw& raw, TypeID type, Extents const& extents, NiftiNotes const& notes) {
  using Real = std::decay_t<decltype(raw.scl_slope)>;
  using Code = std::decay_t<decltype(raw.qform_code)>;
  raw.sizeof_hdr = sizeof raw;
  raw.datatype = static_cast<std::int16_t>(datatypeOf(type));
  raw.bitpix = static_cast<std::int16_t>(8 * bytesOf(type));
  raw.dim[0] = notes.isFlat && extents[2] == 1 ? 2 : 3;
  for (std::size_t k = 1; k < 8; ++k) {
    raw.dim[k] = static_cast<std::decay_t<decltype(raw.dim[k])>>(k <= 3 ? extents[k - 1] : 1);
    raw.pixdim[k] = static_cast<Real>(k <= 3 ? notes.voxelSize[k] : 1.0);
  }
  if (notes.volumes > 1) {
    raw.dim[0] = 4;
    raw.dim[4] = static_cast<std::decay_t<decltype(raw.dim[4])>>(notes.volumes);
    raw.pixdim[4] = static_cast<Real>(notes.volumeSpacing);
    raw.toffset = static_cast<Real>(notes.firstVolume);
  }
  raw.pixdim[0] = static_cast<Real>(notes.voxelSize[0]);
  raw.vox_offset = sizeof raw + 4;
  raw.scl_slope = Real(1);
  raw.xyzt_units = static_cast<std::decay_t<decltype(raw.xyzt_units)>>(notes.units);
  raw.qform_code = static_cast<Code>(notes.qformCode);
  raw.sform_code = static_cast<Code>(notes.sformCode);
  raw.quatern_b = static_cast<Real>(notes.quaternion[0]);
  raw.quatern_c = static_cast<Real>(notes.quaternion[1]);
  raw.quatern_d = static_cast<Real>(notes.quaternion[2]);
  raw.qoffset_x = static_cast<Real>(notes.offset[0]);
  raw.qoffset_y = static_cast<Real>(notes.offset[1]);
  raw.qoffset_z = static_cast<Real>(notes.offset[2]);
  for (std::size_t k = 0; k < 4; ++k) {
    raw.srow_x[k] = static_cast<Real>(notes.matrix[0][k]);
    raw.srow_y[k] = static_cast<Real>(notes.matrix[1][k]);
    raw.srow_z[k] = static_cast<Real>(notes.matrix[2][k]);
  }
  putText(raw.descrip, notes.description);
  putText(raw.aux_file, notes.auxiliaryFile);
}

template <class Raw>
std::vector<char> headOf(char const* magic, TypeID type, Extents const& extents, NiftiNotes const& notes) {
  Raw raw{};
  describe(raw, type, extents, notes);
  std::memcpy(raw.magic, magic, sizeof raw.magic);
  std::vector<char> head(static_cast<std::size_t>(raw.vox_offset), '\0');
  std::memcpy(head.data(), &raw, sizeof raw);
  return head;
}

}  // namespace

NiftiHeader readNiftiHeader(fs::path const& path) {
  bool const isPair = namesPair(path);
  fs::path const file = isPair ? withExtension(path, ".hdr") : path;
  Bytes const bytes = firstBytes(file, sizeof(nifti_2_header));
  NiftiHeader header = headerIn(bytes, isPair, path);
  header.swapped = beginningOf({bytes.data(), bytes.size()}).swapped;
  header.file = file;
  header.data = isPair ? withExtension(path, ".img") : path;
  if (auto const reason = whyClosed(header.data)) {
    refuseInput(path, "its data file " + header.data.string() + " can't be opened: " + *reason);
  }
  return header;
}

bool beginsLikeNifti(std::string_view head) {
  std::uint32_t const length = beginningOf(head).length;
  constexpr std::size_t magic1 = 344, magic2 = 4;
  if (length == sizeof(nifti_1_header)) return head.size() > magic1 && head.substr(magic1, 2) == "n+";
  return length == sizeof(nifti_2_header) && head.substr(magic2, 2) == "n+";
}

std::vector<char> niftiFileHead(TypeID type, Extents const& extents, NiftiNotes const& notes) {
  bool const isLarge =
      std::max(*std::max_element(extents.begin(), extents.end()), notes.volumes) > mostInVersion1;
  if (notes.isVersion2 || isLarge) {
    return headOf<nifti_2_header>("n+2\0\r\n\032\n", type, extents, notes);
  }
  return headOf<nifti_1_header>("n+1", type, extents, notes);
}

}  // namespace lorb::tools
