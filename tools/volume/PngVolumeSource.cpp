#include "tools/volume/PngVolumeSource.h"

#include "tools/base/errors.h"
#include "tools/volume/PngFile.h"

#include <png.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <system_error>
#include <vector>

namespace lorb::tools {
namespace fs = std::filesystem;
namespace {

bool isPngName(fs::path const& path) {
  std::string extension = path.extension().string();
  for (char& c : extension) c = 'A' <= c && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return extension == ".png";
}

/// The files of a folder, but for hidden ones.
std::vector<fs::path> filesIn(fs::path const& folder) {
  std::vector<fs::path> files;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    if (!entry->path().filename().string().starts_with('.')) files.push_back(entry->path());
  }
  return files;
}

bool isDigit(char c) {
  return '0' <= c && c <= '9';
}

/// The order of names for people: "slice2" before "slice10".
bool comesBefore(fs::path const& left, fs::path const& right) {
  std::string const a = left.filename().string(), b = right.filename().string();
  std::size_t i = 0, j = 0;
  while (i < a.size() && j < b.size()) {
    if (!isDigit(a[i]) || !isDigit(b[j])) {
      if (a[i] != b[j]) return a[i] < b[j];
      ++i, ++j;
      continue;
    }
    std::size_t const endA = std::min(a.find_first_not_of("0123456789", i), a.size());
    std::size_t const endB = std::min(b.find_first_not_of("0123456789", j), b.size());
    std::size_t const firstA = std::min(a.find_first_not_of('0', i), endA);
    std::size_t const firstB = std::min(b.find_first_not_of('0', j), endB);
    std::string const numberA = a.substr(firstA, endA - firstA), numberB = b.substr(firstB, endB - firstB);
    if (numberA.size() != numberB.size()) return numberA.size() < numberB.size();
    if (numberA != numberB) return numberA < numberB;
    i = endA, j = endB;
  }
  if (a.size() - i != b.size() - j) return a.size() - i < b.size() - j;
  return a < b;
}

void requireGrey(fs::path const& path, PngHeader const& header) {
  constexpr char const* expected = "; expected one grey value a pixel, which a copy in grey has";
  switch (header.colourType) {
    case PNG_COLOR_TYPE_GRAY:
      return;
    case PNG_COLOR_TYPE_GRAY_ALPHA:
      refuseInput(path, std::string("holds grey values with transparency") + expected);
    case PNG_COLOR_TYPE_PALETTE:
      refuseInput(path, std::string("holds colours of a palette") + expected);
    default:
      refuseInput(path, std::string("holds colours") + expected);
  }
}

/// libpng would take memory for whatever size is claimed. Deflate shrinks to a thousandth at most.
void requirePossibleSize(fs::path const& path, PngHeader const& header) {
  constexpr std::uint64_t mostCompression = 1100;
  std::error_code error;
  std::uint64_t const length = fs::file_size(path, error);
  std::uint64_t const bytes =
      std::uint64_t{header.width} * header.height * static_cast<unsigned>(header.bits) / 8;
  if (!error && bytes / mostCompression <= length) return;
  refuseInput(path, "is incomplete: its " + std::to_string(length) + " bytes can't hold " +
                        std::to_string(header.width) + " × " + std::to_string(header.height) + " pixels");
}

double spacingOf(std::uint32_t perMetre) {
  return perMetre > 0 ? 1000.0 / perMetre : 1.0;
}

class PngVolumeSource : public VolumeSource {
 public:
  PngVolumeSource(fs::path const& path, InputChoice const& choice) {
    chosenVolume(1, choice, path);
    std::error_code error;
    files = fs::is_directory(path, error) ? filesIn(path) : std::vector<fs::path>{path};
    std::sort(files.begin(), files.end(), comesBefore);
    slice_ = headerOf(files.front());
    for (fs::path const& file : files) {
      if (!headerOf(file).isLike(slice_)) {
        refuseInput(file, "is of another size or kind than " + files.front().filename().string() +
                              "; expected slices that are alike");
      }
    }
    header_.type = slice_.bits == 16 ? typeUInt16 : typeUInt8;
    header_.extents = {slice_.width, slice_.height, files.size()};
    header_.geometry.spacing = {spacingOf(slice_.perMetreX), spacingOf(slice_.perMetreY), 1.0};
    header_.spacingKnown = {slice_.perMetreX > 0, slice_.perMetreY > 0, false};
    header_.inPatient = false;
  }

  VolumeHeader const& header() const override { return header_; }
  bool readsParts() const override { return false; }
  std::uint64_t workBytes(Region const&) const override { return 0; }

  std::unique_ptr<ImageDataset> read(Region const&) override {
    auto voxels = makeVoxels(header_.type, header_.extents);
    auto* slice = static_cast<std::byte*>(dataOf(*voxels));
    for (fs::path const& path : files) {
      PngFile file(path);
      if (!file.header().isLike(slice_)) refuseInput(path, "was changed while it was read");
      file.read(slice);
      slice += std::uint64_t{slice_.width} * slice_.height * bytesOf(header_.type);
    }
    return voxels;
  }

 private:
  static PngHeader headerOf(fs::path const& path) {
    PngHeader const header = PngFile(path).header();
    requireGrey(path, header);
    requirePossibleSize(path, header);
    return header;
  }

  PngHeader slice_;
  VolumeHeader header_;
};

}  // namespace

bool isFolderOfPngs(fs::path const& folder) {
  std::vector<fs::path> const files = filesIn(folder);
  return !files.empty() && std::all_of(files.begin(), files.end(), isPngName);
}

std::unique_ptr<VolumeSource> openPngVolume(fs::path const& path, InputChoice const& choice) {
  return std::make_unique<PngVolumeSource>(path, choice);
}

}  // namespace lorb::tools
