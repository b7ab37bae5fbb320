#include "tools/volume/ItkVolumeSource.h"

#include "tools/base/childCalls.h"
#include "tools/base/errors.h"
#include "tools/volume/itkData.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <numeric>
#include <utility>

namespace lorb::tools {
namespace fs = std::filesystem;
namespace {

using Counts = std::vector<std::uint64_t>;

Counts countsIn(itk::ImageIOBase const& io) {
  Counts counts;
  for (unsigned d = 0; d < io.GetNumberOfDimensions(); ++d) counts.push_back(io.GetDimensions(d));
  return counts;
}

std::uint64_t product(Counts const& counts, std::size_t first) {
  return std::accumulate(counts.begin() + static_cast<std::ptrdiff_t>(std::min(first, counts.size())),
                         counts.end(), std::uint64_t(1), std::multiplies<>());
}

void requireDimensions(itk::ImageIOBase const& io, fs::path const& path) {
  unsigned const dimensions = io.GetNumberOfDimensions();
  if (dimensions < 2) refuseInput(path, "has " + std::to_string(dimensions) + " dimensions; expected 3");
}

/// What reading a header may take. Headers that promise what no file holds take more.
constexpr ChildLimits headerLimits = {std::uint64_t(256) << 20, 20};

class ItkVolumeSource : public VolumeSource {
 public:
  ItkVolumeSource(fs::path path, ItkFormat const& format, InputChoice const& choice)
      : path_(std::move(path)), format_(format), io_(openAfterTrial(path_, format)) {
    requireScalars(*io_, path_);
    requireDimensions(*io_, path_);
    header_.extents = extentsIn(*io_, path_);
    header_.type = typeOf(io_->GetComponentType());
    header_.geometry = geometryIn(*io_);
    header_.inPatient = format.inPatient;
    if (format.completePlace != nullptr) format.completePlace(header_.geometry, path_);
    requirePlace(header_.geometry, path_);
    counts_ = countsIn(*io_);
    volumes = product(counts_, 3);
    volume_ = chosenVolume(volumes, choice, path_);
    if (auto stored = storedVoxels(*io_, path_, format)) {
      stored->extents = header_.extents;
      stored->volumes = volumeCount();
      reader_ = openVoxels(*stored);
    }
    files = filesOf(path_, format);
  }

  VolumeHeader const& header() const override { return header_; }

  bool readsParts() const override {
    if (reader_) return reader_->readsParts();
    return io_->CanStreamRead();
  }

  bool readsInOrder() const override { return reader_ != nullptr || readsParts(); }

  std::uint64_t workBytes(Region const&) const override {
    if (reader_) return 0;
    std::uint64_t const element = io_->GetComponentSize();
    return readsParts() || volumeCount() == 1 ? 0 : product(counts_, 0) * element;
  }

  std::unique_ptr<ImageDataset> read(Region const& region) override {
    if (reader_) return reader_->read(volume_, region, header_.type);
    auto voxels = makeVoxels(header_.type, region.size);
    if (readsParts() || volumeCount() == 1) {
      readInto(dataOf(*voxels), ioRegion(region, 1, volume_));
    } else {
      copyVolume(*voxels);
    }
    // What a reader keeps of one reading may get in the way of the next.
    io_ = openImageIO(path_, format_);
    return voxels;
  }

 private:
  std::uint64_t volumeCount() const { return product(counts_, 3); }

  /// `region` in `volumes` volumes of the file from number `first` on, the last dimensions being whole or 1.
  itk::ImageIORegion ioRegion(Region const& region, std::uint64_t volumes, std::uint64_t first) const {
    itk::ImageIORegion result(io_->GetNumberOfDimensions());
    for (unsigned d = 0; d < counts_.size(); ++d) {
      if (d < 3) {
        result.SetIndex(d, static_cast<itk::ImageIORegion::IndexValueType>(region.begin[d]));
        result.SetSize(d, region.size[d]);
      } else if (volumes == 1) {
        result.SetIndex(d, static_cast<itk::ImageIORegion::IndexValueType>(first % counts_[d]));
        result.SetSize(d, 1);
        first /= counts_[d];
      } else {
        result.SetSize(d, counts_[d]);
      }
    }
    return result;
  }

  void readInto(void* buffer, itk::ImageIORegion const& region) {
    io_->SetIORegion(region);  // compressed files come back as zeros without
    readVoxels(*io_, buffer, path_);
  }

  /// By way of all volumes.
  void copyVolume(ImageDataset& voxels) {
    std::uint64_t const bytes = voxelCount(header_.extents) * io_->GetComponentSize();
    auto const all = std::make_unique_for_overwrite<std::byte[]>(bytes * volumeCount());
    readInto(all.get(), ioRegion(wholeRegion(header_.extents), volumeCount(), 0));
    std::memcpy(dataOf(voxels), all.get() + volume_ * bytes, bytes);
  }

  fs::path path_;
  ItkFormat const& format_;
  itk::ImageIOBase::Pointer io_;
  VolumeHeader header_;
  std::unique_ptr<VoxelReader> reader_;
  Counts counts_;
  std::uint64_t volume_ = 0;
};

}  // namespace

itk::ImageIOBase::Pointer openAfterTrial(fs::path const& path, ItkFormat const& format) {
  requireSaneHeader(path, format);
  auto const ended = [&](std::size_t, CallEnd end, std::string const&) {
    if (end == CallEnd::crashed) refuseInput(path, "is damaged: its reader fails on it altogether");
    if (end == CallEnd::outOfTime) refuseInput(path, "is damaged: its header takes too long to read");
    if (end == CallEnd::outOfMemory) refuseInput(path, "is damaged: its header takes too much memory");
  };
  callInChild(
      1, headerLimits, [&](std::size_t, Send const&) { openImageIO(path, format); },
      [](std::size_t, std::span<std::byte const>) {}, ended);
  return openImageIO(path, format);
}

std::unique_ptr<VolumeSource> openItkVolume(fs::path const& path, InputChoice const& choice,
                                            ItkFormat const& format) {
  return std::make_unique<ItkVolumeSource>(path, format, choice);
}

}  // namespace lorb::tools
