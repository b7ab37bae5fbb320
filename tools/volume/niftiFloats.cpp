#include "tools/volume/niftiFloats.h"

#include "tools/base/errors.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <memory>
#include <type_traits>
#include <vector>

namespace lorb::tools {
namespace {

/// The element type of a NIfTI code.
TypeID typeOfCode(std::int16_t code) {
  switch (code) {
    case 2:
      return typeUInt8;
    case 4:
      return typeInt16;
    case 8:
      return typeInt32;
    case 16:
      return typeFloat;
    case 64:
      return typeDouble;
    case 256:
      return typeInt8;
    case 512:
      return typeUInt16;
    case 768:
      return typeUInt32;
    case 1024:
      return typeInt64;
    case 1280:
      return typeUInt64;
    default:
      return typeNone;
  }
}

constexpr unsigned headerBytes = 348;
struct Offset {
  static constexpr std::size_t type = 70, data = 108, slope = 112, intercept = 116;
};

struct Closer {
  void operator()(gzFile_s* file) const { gzclose(file); }
};
using File = std::unique_ptr<gzFile_s, Closer>;

template <class T>
T loaded(char const* bytes, bool swapped) {
  std::array<char, sizeof(T)> copy;
  std::copy_n(bytes, sizeof(T), copy.begin());
  if (swapped) std::reverse(copy.begin(), copy.end());
  return std::bit_cast<T>(copy);
}

bool isScaled(NiftiFloats const& floats) {
  return floats.slope != 1.0 || floats.intercept != 0.0;
}

/// Takes a row of the file's elements.
template <class Stored, class T>
void convertRow(std::vector<char> const& bytes, NiftiFloats const& floats, T* row) {
  for (std::size_t k = 0; k * sizeof(Stored) < bytes.size(); ++k) {
    auto const value = loaded<Stored>(bytes.data() + k * sizeof(Stored), floats.swapped);
    row[k] = isScaled(floats) ? static_cast<T>(static_cast<double>(value) * floats.slope + floats.intercept)
                              : static_cast<T>(value);
  }
}

void readBytes(gzFile file, std::uint64_t position, std::vector<char>& bytes,
               std::filesystem::path const& path) {
  auto const wanted = static_cast<z_off_t>(position);
  bool const there = gztell(file) == wanted || gzseek(file, wanted, SEEK_SET) == wanted;
  auto const count = static_cast<unsigned>(bytes.size());
  if (there && gzread(file, bytes.data(), count) == static_cast<int>(count)) return;
  refuseInput(path, "is damaged or incomplete: its voxels end early");
}

}  // namespace

std::optional<NiftiFloats> niftiFloats(std::filesystem::path const& path) {
  File const file(gzopen(path.c_str(), "rb"));  // reads uncompressed files as they are
  char header[headerBytes];
  if (file == nullptr || gzread(file.get(), header, headerBytes) != int(headerBytes)) return std::nullopt;
  NiftiFloats floats;
  floats.swapped = loaded<std::int32_t>(header, false) != int(headerBytes);
  auto const type = loaded<std::int16_t>(header + Offset::type, floats.swapped);
  floats.stored = typeOfCode(type);
  if (floats.stored == typeNone) return std::nullopt;
  double const offset = loaded<float>(header + Offset::data, floats.swapped);
  if (!(offset >= headerBytes && offset < 1e15)) return std::nullopt;
  floats.offset = static_cast<std::uint64_t>(offset);
  double const slope = loaded<float>(header + Offset::slope, floats.swapped);
  double const intercept = loaded<float>(header + Offset::intercept, floats.swapped);
  // A slope of 0 says that there is none.
  if (slope != 0.0 && std::isfinite(slope) && std::isfinite(intercept)) {
    floats.slope = slope;
    floats.intercept = intercept;
  }
  return floats;
}

void readNiftiFloats(std::filesystem::path const& path, NiftiFloats const& floats, Extents const& extents,
                     std::uint64_t volume, Region const& region, ImageDataset& voxels) {
  File const file(gzopen(path.c_str(), "rb"));
  if (file == nullptr) refuseInput(path, "can't be opened");
  gzbuffer(file.get(), 1U << 18);
  std::uint64_t const element = bytesOf(floats.stored);
  std::vector<char> bytes(region.size[0] * element);
  visitElementType(voxels.type_id(), [&]<class T>(std::type_identity<T>) {
    if constexpr (!std::is_same_v<T, bool>) {
      auto& typed = static_cast<TImageDataset<T, 3>&>(voxels);
      for (std::uint64_t z = 0; z < region.size[2]; ++z) {
        for (std::uint64_t y = 0; y < region.size[1]; ++y) {
          std::uint64_t const slice = volume * extents[2] + region.begin[2] + z;
          std::uint64_t const first =
              (slice * extents[1] + region.begin[1] + y) * extents[0] + region.begin[0];
          readBytes(file.get(), floats.offset + first * element, bytes, path);
          T* const row = &typed(0, y, z);
          visitElementType(floats.stored, [&]<class Stored>(std::type_identity<Stored>) {
            convertRow<Stored>(bytes, floats, row);
          });
        }
      }
    }
  });
}

}  // namespace lorb::tools
