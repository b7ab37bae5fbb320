#include <lorb/dataset/TImageDataset.h>
#include <lorb/dataset/convert.h>
#include <lorb/dataset/dump.h>

#include <algorithm>
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

/// Bits pass through a block of whole `bool`s, so that they too are converted in long loops.
constexpr std::size_t bitBlock = 4096;

template <class T, class Buffered>
void copyOut(TImageDataset<T, 3> const& volume, Buffered* buffer) {
  forEachRun(volume, [&](std::size_t element, std::size_t buffered, std::size_t count) {
    auto const& data = volume.pages[0].data;
    if constexpr (std::is_same_v<T, bool>) {
      bool block[bitBlock];
      for (std::size_t done = 0; done < count; done += bitBlock) {
        std::size_t const length = std::min(bitBlock, count - done);
        for (std::size_t k = 0; k < length; ++k) block[k] = data[element + done + k];
        convertElements(block, buffer + buffered + done, length);
      }
    } else {
      convertElements(data.data() + element, buffer + buffered, count);
    }
  });
}

template <class T, class Buffered>
void copyIn(Buffered const* buffer, TImageDataset<T, 3>& volume) {
  forEachRun(volume, [&](std::size_t element, std::size_t buffered, std::size_t count) {
    auto& data = volume.pages[0].data;
    if constexpr (std::is_same_v<T, bool>) {
      bool block[bitBlock];
      for (std::size_t done = 0; done < count; done += bitBlock) {
        std::size_t const length = std::min(bitBlock, count - done);
        convertElements(buffer + buffered + done, block, length);
        for (std::size_t k = 0; k < length; ++k) data[element + done + k] = block[k];
      }
    } else {
      convertElements(buffer + buffered, data.data() + element, count);
    }
  });
}

}  // namespace

void dump(ImageDataset const* volume, void* buffer, TypeID type) {
  TypeID const volumeType = volume->type_id();
  requireElementType(type);
  requireElementType(volumeType);
  visitElementType(volumeType, [&]<class T>(std::type_identity<T>) {
    visitElementType(type, [&]<class Buffered>(std::type_identity<Buffered>) {
      copyOut(static_cast<TImageDataset<T, 3> const&>(*volume), static_cast<Buffered*>(buffer));
    });
  });
}

void dump(void const* buffer, TypeID type, ImageDataset* volume) {
  TypeID const volumeType = volume->type_id();
  requireElementType(type);
  requireElementType(volumeType);
  visitElementType(volumeType, [&]<class T>(std::type_identity<T>) {
    visitElementType(type, [&]<class Buffered>(std::type_identity<Buffered>) {
      copyIn(static_cast<Buffered const*>(buffer), static_cast<TImageDataset<T, 3>&>(*volume));
    });
  });
}

}  // namespace lorb
