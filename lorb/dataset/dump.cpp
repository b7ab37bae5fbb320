#include <lorb/dataset/TImageDataset.h>
#include <lorb/dataset/bitRows.h>
#include <lorb/dataset/dump.h>
#include <lorb/dataset/rowConversion.h>

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <string>

namespace lorb {
namespace {

void requireElementType(TypeID type) {
  if (!visitElementType(type, [](auto) {})) {
    throw std::invalid_argument("lorb::dump: type code " + std::to_string(type) +
                                " names no element type; 1 to 11 do");
  }
}

std::size_t bytesOf(TypeID type) {
  std::size_t bytes = 0;
  visitElementType(type, [&]<class T>(std::type_identity<T>) { bytes = sizeof(T); });
  return bytes;
}

/// Calls `f(element, buffered, count)` for every run of voxels that is consecutive both in the page,
/// from `element` on, and in a buffer of the volume's shape, from `buffered` on. That is the whole
/// volume at once unless somebody gave the page a shape of its own.
template <class T, class F>
void forEachRun(TImageDataset<T, 3> const& volume, F f) {
  std::uint64_t const* const size = volume.size_array();
  std::uint64_t const nx = size[0], ny = size[1], nz = size[2];
  if (nx == 0 || ny == 0 || nz == 0) return;
  auto const& page = volume.pages[0].extents;
  if (page[0] == nx && page[1] == ny) return f(std::size_t{0}, std::size_t{0}, nx * ny * nz);
  for (std::size_t z = 0; z < nz; ++z) {
    for (std::size_t y = 0; y < ny; ++y) f((z * page[1] + y) * page[0], (z * ny + y) * nx, nx);
  }
}

/// Bits pass through a block of whole `bool`s that stays in the cache.
constexpr std::size_t bitBlock = 4096;

template <class T>
void copyOut(TImageDataset<T, 3> const& volume, std::byte* buffer, TypeID type) {
  RowConversion const convert = rowConversion(typeIDOf<T>, type);
  std::size_t const bytes = bytesOf(type);
  forEachRun(volume, [&](std::size_t element, std::size_t buffered, std::size_t count) {
    auto const& data = volume.pages[0].data;
    std::byte* const target = buffer + buffered * bytes;
    if constexpr (!std::is_same_v<T, bool>) {
      convert(data.data() + element, target, count);
    } else if (type == typeBool) {
      unpackBits(data.begin()._M_p, element, count, reinterpret_cast<bool*>(target));
    } else {
      bool block[bitBlock];
      for (std::size_t done = 0; done < count; done += bitBlock) {
        std::size_t const length = std::min(bitBlock, count - done);
        unpackBits(data.begin()._M_p, element + done, length, block);
        convert(block, target + done * bytes, length);
      }
    }
  });
}

template <class T>
void copyIn(std::byte const* buffer, TypeID type, TImageDataset<T, 3>& volume) {
  RowConversion const convert = rowConversion(type, typeIDOf<T>);
  std::size_t const bytes = bytesOf(type);
  forEachRun(volume, [&](std::size_t element, std::size_t buffered, std::size_t count) {
    auto& data = volume.pages[0].data;
    std::byte const* const source = buffer + buffered * bytes;
    if constexpr (!std::is_same_v<T, bool>) {
      convert(source, data.data() + element, count);
    } else if (type == typeBool) {
      packBits(reinterpret_cast<bool const*>(source), element, count, data.begin()._M_p);
    } else {
      bool block[bitBlock];
      for (std::size_t done = 0; done < count; done += bitBlock) {
        std::size_t const length = std::min(bitBlock, count - done);
        convert(source + done * bytes, block, length);
        packBits(block, element + done, length, data.begin()._M_p);
      }
    }
  });
}

}  // namespace

void dump(ImageDataset const* volume, void* buffer, TypeID type) {
  TypeID const volumeType = volume->type_id();
  requireElementType(type);
  requireElementType(volumeType);
  visitElementType(volumeType, [&]<class T>(std::type_identity<T>) {
    copyOut(static_cast<TImageDataset<T, 3> const&>(*volume), static_cast<std::byte*>(buffer), type);
  });
}

void dump(void const* buffer, TypeID type, ImageDataset* volume) {
  TypeID const volumeType = volume->type_id();
  requireElementType(type);
  requireElementType(volumeType);
  visitElementType(volumeType, [&]<class T>(std::type_identity<T>) {
    copyIn(static_cast<std::byte const*>(buffer), type, static_cast<TImageDataset<T, 3>&>(*volume));
  });
}

}  // namespace lorb
