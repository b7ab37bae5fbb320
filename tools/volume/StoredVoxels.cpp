#include "tools/volume/StoredVoxels.h"

#include "tools/base/errors.h"
#include "tools/volume/ByteSource.h"
#include "tools/volume/TextNumbers.h"

#include <algorithm>
#include <cstddef>
#include <type_traits>
#include <vector>

namespace lorb::tools {
namespace {

/// Calls `f(first, count)` for the runs of neighbouring elements in the file that a region of a volume
/// consists of, in the order of memory.
template <class F>
void forEachRun(Extents const& extents, std::uint64_t volume, Region const& region, F f) {
  auto const& [nx, ny, nz] = extents;
  std::uint64_t const slice = volume * nz + region.begin[2];
  if (region.size[0] == nx && region.size[1] == ny) return f(slice * ny * nx, voxelCount(region.size));
  for (std::uint64_t z = 0; z < region.size[2]; ++z) {
    std::uint64_t const row = (slice + z) * ny + region.begin[1];
    if (region.size[0] == nx) {
      f(row * nx, region.size[1] * nx);
      continue;
    }
    for (std::uint64_t y = 0; y < region.size[1]; ++y) f((row + y) * nx + region.begin[0], region.size[0]);
  }
}

template <class T>
void swapBytes(std::byte* bytes, std::uint64_t count) {
  for (std::uint64_t k = 0; k < count; ++k) std::reverse(bytes + k * sizeof(T), bytes + (k + 1) * sizeof(T));
}

StoredBytes bytesOf(StoredVoxels const& stored, std::uint64_t size) {
  return {stored.input, stored.file, stored.offset, size};
}

std::uint64_t elementCount(StoredVoxels const& stored) {
  return stored.volumes * voxelCount(stored.extents);
}

class BinaryVoxels : public VoxelReader {
 public:
  explicit BinaryVoxels(StoredVoxels const& stored)
      : stored_(stored), bytes_(open(stored)), scaled_(stored.slope != 1.0 || stored.intercept != 0.0) {}

  bool readsParts() const override { return stored_.coding == Coding::plain; }

  std::unique_ptr<ImageDataset> read(std::uint64_t volume, Region const& region, TypeID type) override {
    auto voxels = makeVoxels(type, region.size);
    auto* target = static_cast<std::byte*>(dataOf(*voxels));
    forEachRun(stored_.extents, volume, region, [&](std::uint64_t first, std::uint64_t count) {
      scaled_ ? readScaled(first, count, type, target) : readStored(first, count, target);
      target += count * tools::bytesOf(type);
    });
    // Whether the data is whole shows behind the last volume.
    bool const isLast = region.begin[2] + region.size[2] == stored_.extents[2];
    if (!readsParts() && isLast && volume + 1 < stored_.volumes) readLastElement();
    return voxels;
  }

 private:
  static std::unique_ptr<ByteSource> open(StoredVoxels const& stored) {
    auto const bytes = bytesOf(stored, stored.skipped + elementCount(stored) * tools::bytesOf(stored.type));
    return stored.coding == Coding::compressed ? openCompressedBytes(bytes) : openPlainBytes(bytes);
  }

  std::uint64_t elementBytes() const { return tools::bytesOf(stored_.type); }

  void readStored(std::uint64_t first, std::uint64_t count, std::byte* target) {
    bytes_->read(stored_.skipped + first * elementBytes(), {target, count * elementBytes()});
    if (!stored_.swapped) return;
    visitElementType(stored_.type, [&]<class T>(std::type_identity<T>) { swapBytes<T>(target, count); });
  }

  void readScaled(std::uint64_t first, std::uint64_t count, TypeID type, std::byte* target) {
    constexpr std::uint64_t most = std::uint64_t(1) << 17;
    std::vector<std::byte> block(std::min(count, most) * elementBytes());
    for (std::uint64_t done = 0, part; done < count; done += part) {
      part = std::min(most, count - done);
      readStored(first + done, part, block.data());
      visitElementType(stored_.type, [&]<class Element>(std::type_identity<Element>) {
        auto const* const elements = reinterpret_cast<Element const*>(block.data());
        if (type == typeDouble) scale(elements, part, reinterpret_cast<double*>(target) + done);
        if (type == typeFloat) scale(elements, part, reinterpret_cast<float*>(target) + done);
      });
    }
  }

  template <class Element, class T>
  void scale(Element const* elements, std::uint64_t count, T* target) const {
    for (std::uint64_t k = 0; k < count; ++k) {
      target[k] = static_cast<T>(static_cast<double>(elements[k]) * stored_.slope + stored_.intercept);
    }
  }

  void readLastElement() {
    std::byte last[sizeof(double)];
    readStored(elementCount(stored_) - 1, 1, last);
  }

  StoredVoxels stored_;
  std::unique_ptr<ByteSource> bytes_;
  bool scaled_;
};

class TextVoxels : public VoxelReader {
 public:
  explicit TextVoxels(StoredVoxels const& stored)
      : stored_(stored), numbers_(bytesOf(stored, elementCount(stored))) {}

  bool readsParts() const override { return false; }

  std::unique_ptr<ImageDataset> read(std::uint64_t volume, Region const& region, TypeID type) override {
    auto voxels = makeVoxels(type, region.size);
    auto* target = static_cast<std::byte*>(dataOf(*voxels));
    forEachRun(stored_.extents, volume, region, [&](std::uint64_t first, std::uint64_t count) {
      numbers_.read(first, count, type, target);
      target += count * tools::bytesOf(type);
    });
    return voxels;
  }

 private:
  StoredVoxels stored_;
  TextNumbers numbers_;
};

}  // namespace

std::unique_ptr<VoxelReader> openVoxels(StoredVoxels const& stored) {
  if (stored.coding == Coding::text) return std::make_unique<TextVoxels>(stored);
  return std::make_unique<BinaryVoxels>(stored);
}

}  // namespace lorb::tools
