#include "tools/volume/DicomSeries.h"

#include "tools/base/errors.h"
#include "tools/volume/dicom/DicomFolder.h"
#include "tools/volume/dicom/SliceStack.h"
#include "tools/volume/dicom/frameValues.h"
#include "tools/volume/dicom/storedValues.h"

#include <cstring>
#include <fstream>
#include <set>
#include <utility>

namespace lorb::tools {
namespace fs = std::filesystem;
namespace {

using dicom::Frame;

class DicomSeriesSource : public VolumeSource {
 public:
  DicomSeriesSource(dicom::SliceStack stack, fs::path const& path) : slices_(std::move(stack.slices)) {
    header_.extents = slices_[0].extents;
    header_.extents[2] = slices_.size();
    header_.type = dicom::valueTypeOf(slices_);
    header_.geometry = stack.geometry;
    header_.spacingKnown = stack.spacingKnown;
    header_.inPatient = slices_[0].orientation.has_value();
    requirePlace(header_.geometry, path);
    std::set<fs::path> paths;
    for (Frame const& slice : slices_) paths.insert(slice.file);
    files.assign(paths.begin(), paths.end());
  }

  VolumeHeader const& header() const override { return header_; }
  bool readsParts() const override { return false; }
  std::uint64_t workBytes(Region const&) const override { return dicom::workBytesFor(slices_); }

  std::unique_ptr<ImageDataset> read(Region const& region) override {
    auto voxels = makeVoxels(header_.type, region.size);
    dicom::readValues(slices_, header_.type, static_cast<std::byte*>(dataOf(*voxels)));
    return voxels;
  }

 private:
  std::vector<Frame> slices_;
  VolumeHeader header_;
};

/// The frames of all files. With `choice.skipDamaged`, files of impossible values are left out with a notice.
std::vector<Frame> framesOf(std::vector<dicom::ImageFile> const& files, fs::path const& path,
                            InputChoice const& choice, std::vector<std::string>& notices) {
  std::vector<Frame> all;
  for (dicom::ImageFile const& file : files) {
    try {
      auto frames = dicom::framesOf(file.path, file.attributes);
      all.insert(all.end(), std::make_move_iterator(frames.begin()), std::make_move_iterator(frames.end()));
    } catch (InputError const& error) {
      if (!choice.skipDamaged) throw;
      notices.push_back(std::string(error.what()) + "; went without it");
    }
  }
  if (all.empty()) refuseInput(path, "holds no DICOM image that is whole");
  return all;
}

/// A line for each thing that a person should know of the slices.
void addRemarks(dicom::SliceStack const& stack, fs::path const& path, std::vector<std::string>& notices) {
  std::set<std::string> told;
  auto const tell = [&](std::string const& remark) {
    if (told.insert(remark).second) notices.push_back("input " + path.string() + ": " + remark);
  };
  for (Frame const& slice : stack.slices) {
    for (std::string const& remark : slice.remarks) tell(remark);
  }
  for (std::string const& remark : stack.remarks) tell(remark);
}

}  // namespace

bool isDicomFile(fs::path const& path) {
  char head[132] = {};
  std::ifstream file(path, std::ios::binary);
  return file.read(head, sizeof head) && std::memcmp(head + 128, "DICM", 4) == 0;
}

std::unique_ptr<VolumeSource> openDicomSeries(fs::path const& path, InputChoice const& choice) {
  std::vector<std::string> notices;
  auto const files = dicom::chosenFiles(path, choice, notices);
  dicom::SliceStack stack = dicom::stackOf(framesOf(files, path, choice, notices), choice, path);
  if (stack.unevenness) {
    std::string const line = "input " + path.string() + ": " + *stack.unevenness;
    if (!choice.uneven) throw InputError(line + "; expected --uneven to take them all the same");
    notices.push_back(line);
  }
  addRemarks(stack, path, notices);
  auto source = std::make_unique<DicomSeriesSource>(std::move(stack), path);
  source->notices = std::move(notices);
  return source;
}

}  // namespace lorb::tools
