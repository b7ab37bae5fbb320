#include "tools/volume/niftiHeader.h"

#include "tools/base/errors.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <fstream>
#include <span>
#include <vector>

namespace lorb::tools {
namespace {

constexpr std::size_t headerBytes = 348;
using Header = std::array<char, headerBytes>;

/// Where the fields lie in the header.
struct Offset {
  static constexpr std::size_t voxelSize = 76, units = 123, description = 148, auxiliaryFile = 228,
                               qformCode = 252, sformCode = 254, placements = 256;
};
constexpr std::size_t descriptionBytes = 80, auxiliaryFileBytes = 24;

/// Calls `f(offset, member)` for each number of the notes.
template <class Notes, class F>
void forEachNumber(Notes& notes, F&& f) {
  f(Offset::qformCode, notes.qformCode);
  f(Offset::sformCode, notes.sformCode);
  f(Offset::units, notes.units);
  for (std::size_t k = 0; k < notes.voxelSize.size(); ++k) f(Offset::voxelSize + 4 * k, notes.voxelSize[k]);
  for (std::size_t k = 0; k < notes.placements.size(); ++k)
    f(Offset::placements + 4 * k, notes.placements[k]);
}

/// Nothing when the file has no room for one.
std::optional<Header> readHeader(std::filesystem::path const& path) {
  Header header;
  gzFile const file = gzopen(path.c_str(), "rb");  // reads uncompressed files as they are
  if (file == nullptr) return std::nullopt;
  int const got = gzread(file, header.data(), headerBytes);
  gzclose(file);
  return got == static_cast<int>(headerBytes) ? std::optional(header) : std::nullopt;
}

/// The header begins with its own length, which shows the byte order.
std::uint32_t lengthIn(Header const& header) {
  std::uint32_t length;
  std::memcpy(&length, header.data(), sizeof length);
  return length;
}

bool isSwapped(Header const& header) {
  return lengthIn(header) != headerBytes;
}

/// The second version of the format has a longer header.
bool isVersion2(Header const& header) {
  constexpr std::uint32_t itsBytes = 540;
  return lengthIn(header) == itsBytes || lengthIn(header) == __builtin_bswap32(itsBytes);
}

std::string textAt(Header const& header, std::size_t offset, std::size_t bytes) {
  std::string const text(header.data() + offset, bytes);
  return text.substr(0, text.find('\0'));
}

void putText(Header& header, std::size_t offset, std::size_t bytes, std::string const& text) {
  std::fill_n(header.begin() + static_cast<std::ptrdiff_t>(offset), bytes, '\0');
  text.copy(header.data() + offset, bytes - 1);
}

void copy(std::ifstream& source, gzFile target) {
  std::vector<char> block(std::size_t(1) << 18);
  do {
    source.read(block.data(), static_cast<std::streamsize>(block.size()));
    auto const bytes = static_cast<unsigned>(source.gcount());
    if (bytes > 0 && gzwrite(target, block.data(), bytes) != static_cast<int>(bytes)) {
      throw OutputError("its compressed data could not be written; is the disk full?");
    }
  } while (source);
}

}  // namespace

std::optional<NiftiNotes> niftiNotes(std::filesystem::path const& path) {
  auto header = readHeader(path);
  if (!header) return std::nullopt;
  NiftiNotes notes;
  forEachNumber(notes, [&, swapped = isSwapped(*header)](std::size_t offset, auto& number) {
    char* const bytes = header->data() + offset;
    if (swapped) std::reverse(bytes, bytes + sizeof number);
    std::memcpy(&number, bytes, sizeof number);
  });
  notes.description = textAt(*header, Offset::description, descriptionBytes);
  notes.auxiliaryFile = textAt(*header, Offset::auxiliaryFile, auxiliaryFileBytes);
  return notes;
}

std::optional<std::string> complaintAboutNifti(std::filesystem::path const& path) {
  auto const header = readHeader(path);
  if (!header) return "is shorter than a NIfTI header";
  if (isVersion2(*header)) return "is NIfTI-2; expected NIfTI-1";
  auto const notes = niftiNotes(path);
  auto const finite = [](float number) { return std::isfinite(number); };
  constexpr std::size_t quaternion = 6;  // numbers of it and its offset, before those of the matrix
  std::span<float const> const placements(notes->placements);
  if (!std::all_of(notes->voxelSize.begin() + 1, notes->voxelSize.end(), finite)) {
    return "has spacing " + toText(Vector3{notes->voxelSize[1], notes->voxelSize[2], notes->voxelSize[3]}) +
           "; expected finite numbers above 0";
  }
  bool const placedByQuaternion = notes->qformCode > 0, placedByMatrix = notes->sformCode > 0;
  auto const matrix = placements.subspan(quaternion);
  if ((placedByQuaternion && !std::all_of(placements.begin(), matrix.begin(), finite)) ||
      (placedByMatrix && !std::all_of(matrix.begin(), matrix.end(), finite))) {
    return "is placed by numbers that are not finite";
  }
  return std::nullopt;
}

void setNiftiNotes(std::filesystem::path const& plain, NiftiNotes const& notes) {
  std::fstream file(plain, std::ios::binary | std::ios::in | std::ios::out);
  Header header;
  if (!file.read(header.data(), headerBytes))
    throw OutputError("its header was not written; is the disk full?");
  forEachNumber(notes, [&](std::size_t offset, auto const& number) {
    std::memcpy(header.data() + offset, &number, sizeof number);
  });
  putText(header, Offset::description, descriptionBytes, notes.description);
  putText(header, Offset::auxiliaryFile, auxiliaryFileBytes, notes.auxiliaryFile);
  file.seekp(0);
  if (!file.write(header.data(), headerBytes).flush()) {
    throw OutputError("its header could not be written; is the disk full?");
  }
}

void gzip(std::filesystem::path const& plain, std::filesystem::path const& compressed) {
  std::ifstream source(plain, std::ios::binary);
  gzFile const target = gzopen(compressed.c_str(), "wb");
  if (!source || target == nullptr) throw OutputError("its compressed data could not be written");
  try {
    copy(source, target);
  } catch (OutputError const&) {
    gzclose(target);
    throw;
  }
  if (gzclose(target) != Z_OK)
    throw OutputError("its compressed data could not be written; is the disk full?");
}

}  // namespace lorb::tools
