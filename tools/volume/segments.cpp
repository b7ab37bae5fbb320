#include "tools/volume/segments.h"

#include "tools/base/errors.h"
#include "tools/base/parseNumber.h"
#include "tools/volume/itkData.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <type_traits>
#include <utility>

namespace lorb::tools {
namespace fs = std::filesystem;
namespace {

/// The "key:=value" lines of a header.
std::map<std::string, std::string> keysIn(fs::path const& path) {
  std::map<std::string, std::string> keys;
  std::ifstream header(path, std::ios::binary);
  constexpr int mostLines = 100'000;
  int lines = 0;
  for (std::string line; lines < mostLines && std::getline(header, line); ++lines) {
    if (line.ends_with('\r')) line.pop_back();
    if (line.empty()) break;
    auto const separator = line.find(":=");
    if (separator != std::string::npos) keys[line.substr(0, separator)] = line.substr(separator + 2);
  }
  return keys;
}

/// "'liver', 'left kidney'"
std::string namesOf(std::vector<Segment> const& segments) {
  std::string text;
  for (Segment const& segment : segments) text += (text.empty() ? "'" : ", '") + segment.name + "'";
  return text;
}

Segment const& segmentNamed(std::string const& name, std::vector<Segment> const& segments,
                            fs::path const& path) {
  Segment const* found = nullptr;
  for (Segment const& segment : segments) {
    if (segment.id == name) return segment;
    if (segment.name != name) continue;
    if (found != nullptr) {
      refuseInput(path, "has several segments named '" + name + "'; expected an ID such as '" + found->id +
                            "' for --segment");
    }
    found = &segment;
  }
  if (found != nullptr) return *found;
  refuseInput(path, "has no segment '" + name + "'; expected for --segment one of " + namesOf(segments));
}

class SegmentedVolumeSource : public VolumeSource {
 public:
  SegmentedVolumeSource(itk::ImageIOBase const& io, fs::path const& path,
                        std::vector<Segment> const& segments, InputChoice const& choice,
                        ItkFormat const& format) {
    for (std::string const& name : choice.segments) chosen_.push_back(segmentNamed(name, segments, path));
    layers_ = io.GetNumberOfComponents();
    header_.extents = extentsIn(io, path);
    header_.geometry = geometryIn(io);
    requirePlace(header_.geometry, path);
    if (chosen_.empty()) {
      layer_ = chosenLayer(path, segments, choice);
    } else {
      requireLayers(path);
    }
    auto stored = storedVoxels(io, path, format);
    if (!stored || !startsWithLayers(path)) {
      refuseInput(path,
                  "keeps its segments in an order or coding that is not read; expected layers as the first "
                  "axis, raw or gzip");
    }
    stored->extents = header_.extents;
    stored->extents[0] *= layers_;
    type_ = stored->type;
    header_.type = chosen_.empty() ? type_ : typeUInt8;
    reader_ = openVoxels(*stored);
    files = filesOf(path, format);
  }

  VolumeHeader const& header() const override { return header_; }
  bool readsParts() const override { return reader_->readsParts(); }

  std::uint64_t workBytes(Region const& region) const override {
    return region.size[0] * region.size[1] * layers_ * bytesOf(type_);
  }

  std::unique_ptr<ImageDataset> read(Region const& region) override {
    auto voxels = makeVoxels(header_.type, region.size);
    std::uint64_t const sliceVoxels = region.size[0] * region.size[1];
    for (std::uint64_t z = 0; z < region.size[2]; ++z) {
      // Of each voxel the file holds all layers, one after the other.
      Region interleaved = region;
      interleaved.begin[0] *= layers_;
      interleaved.size[0] *= layers_;
      interleaved.begin[2] += z;
      interleaved.size[2] = 1;
      auto const slice = reader_->read(0, interleaved, type_);
      visitElementType(type_, [&]<class T>(std::type_identity<T>) {
        auto const& in = static_cast<TImageDataset<T, 3> const&>(*slice).pages[0].data;
        if (chosen_.empty()) {
          auto& out = static_cast<TImageDataset<T, 3>&>(*voxels).pages[0].data;
          for (std::uint64_t k = 0; k < sliceVoxels; ++k) out[z * sliceVoxels + k] = in[k * layers_ + layer_];
        } else {
          auto& out = static_cast<TImageDataset<unsigned char, 3>&>(*voxels).pages[0].data;
          for (std::uint64_t k = 0; k < sliceVoxels; ++k) {
            out[z * sliceVoxels + k] =
                isInChosen([&](std::uint64_t layer) { return in[k * layers_ + layer]; });
          }
        }
      });
    }
    return voxels;
  }

 private:
  template <class ValueIn>
  unsigned char isInChosen(ValueIn const& valueIn) const {
    for (Segment const& segment : chosen_) {
      if (static_cast<ExactNumber>(valueIn(segment.layer)) == static_cast<ExactNumber>(segment.label))
        return 1;
    }
    return 0;
  }

  std::uint64_t chosenLayer(fs::path const& path, std::vector<Segment> const& segments,
                            InputChoice const& choice) const {
    if (layers_ > 1 && !choice.volume) {
      refuseInput(path, "holds " + std::to_string(layers_) +
                            " layers of segments; expected --segment with one or more of " +
                            namesOf(segments) + ", or --volume with the number of a layer");
    }
    return chosenVolume(layers_, choice, path);
  }

  void requireLayers(fs::path const& path) const {
    for (Segment const& segment : chosen_) {
      if (segment.layer < layers_) continue;
      refuseInput(path, "has segment '" + segment.name + "' in layer " + std::to_string(segment.layer) +
                            "; expected one from 0 to " + std::to_string(layers_ - 1));
    }
  }

  /// Whether all layers of a voxel lie side by side. ITK would move them there while it reads.
  bool startsWithLayers(fs::path const& path) const {
    if (layers_ == 1) return true;
    std::ifstream header(path, std::ios::binary);
    std::string kinds = "kinds:";
    for (std::string line; std::getline(header, line) && !line.empty();) {
      if (!line.starts_with(kinds)) continue;
      auto const first = line.find_first_not_of(" \t", kinds.size());
      return first != std::string::npos && !line.substr(first).starts_with("domain") &&
             !line.substr(first).starts_with("space");
    }
    return false;
  }

  std::vector<Segment> chosen_;
  std::uint64_t layers_ = 1, layer_ = 0;
  TypeID type_ = typeNone;
  VolumeHeader header_;
  std::unique_ptr<VoxelReader> reader_;
};

}  // namespace

std::vector<Segment> segmentsIn(fs::path const& path) {
  auto const keys = keysIn(path);
  auto const valueOf = [&](std::string const& key, std::string const& otherwise) {
    auto const found = keys.find(key);
    return found == keys.end() ? otherwise : found->second;
  };
  std::vector<Segment> segments;
  for (;;) {
    std::string const prefix = "Segment" + std::to_string(segments.size()) + "_";
    if (keys.count(prefix + "ID") + keys.count(prefix + "Name") == 0) break;
    Segment segment;
    segment.id = valueOf(prefix + "ID", "");
    segment.name = valueOf(prefix + "Name", segment.id);
    // Files of Slicer before 4.11 have a layer for each segment and say neither.
    segment.label = parseInteger(valueOf(prefix + "LabelValue", "1")).value_or(1);
    auto const layer = parseInteger(valueOf(prefix + "Layer", std::to_string(segments.size())));
    segment.layer = static_cast<std::uint64_t>(std::max(0, layer.value_or(0)));
    segments.push_back(std::move(segment));
  }
  return segments;
}

std::unique_ptr<VolumeSource> openSegmentation(itk::ImageIOBase const& io, fs::path const& path,
                                               std::vector<Segment> const& segments,
                                               InputChoice const& choice, ItkFormat const& format) {
  return std::make_unique<SegmentedVolumeSource>(io, path, segments, choice, format);
}

}  // namespace lorb::tools
