// NIfTI-1, NIfTI-2 and Analyze 7.5 files. The libraries for them read what is not finite as 0, and know one
// placement where a file may have two. Voxels that are scaled come in double precision, as nibabel has them.

#include "tools/base/errors.h"
#include "tools/volume/StoredVoxels.h"
#include "tools/volume/formatTable.h"
#include "tools/volume/niftiHeader.h"
#include "tools/volume/niftiPlace.h"

#include <algorithm>
#include <cstddef>
#include <fstream>
#include <functional>
#include <numeric>
#include <utility>
#include <vector>

namespace lorb::tools {
namespace fs = std::filesystem;
namespace {

bool beginsLikeGzip(fs::path const& file) {
  std::ifstream stream(file, std::ios::binary);
  return stream.get() == 0x1f && stream.get() == 0x8b;
}

StoredVoxels storedVoxels(NiftiHeader const& header, fs::path const& path) {
  StoredVoxels voxels;
  voxels.input = path;
  voxels.file = header.data;
  voxels.coding = beginsLikeGzip(header.data) ? Coding::compressed : Coding::plain;
  (voxels.coding == Coding::plain ? voxels.offset : voxels.skipped) = header.offset;
  voxels.type = header.stored;
  voxels.swapped = header.swapped;
  voxels.slope = header.slope;
  voxels.intercept = header.intercept;
  voxels.extents = {header.sizes[0], header.sizes[1], header.sizes[2]};
  voxels.volumes =
      std::accumulate(header.sizes.begin() + 3, header.sizes.end(), std::uint64_t{1}, std::multiplies<>());
  return voxels;
}

class NiftiVolumeSource : public VolumeSource {
 public:
  NiftiVolumeSource(fs::path const& path, InputChoice const& choice) {
    NiftiHeader const header = readNiftiHeader(path);
    StoredVoxels const stored = storedVoxels(header, path);
    files = {header.file};
    if (header.data != header.file) files.push_back(header.data);
    bool const isScaled = stored.slope != 1.0 || stored.intercept != 0.0;
    header_.type = isScaled ? typeDouble : stored.type;
    header_.extents = stored.extents;
    NiftiPlace const place = placeOf(header, path);
    header_.geometry = place.geometry;
    header_.inPatient = place.inPatient;
    if (place.notice) notices.push_back(*place.notice);
    if (header.kind != NiftiKind::analyze) header_.notes = header.notes;
    volume_ = chosenVolume(stored.volumes, choice, path);
    volumes = stored.volumes;
    reader_ = openVoxels(stored);
  }

  VolumeHeader const& header() const override { return header_; }
  bool readsParts() const override { return reader_->readsParts(); }
  bool readsInOrder() const override { return true; }
  std::uint64_t workBytes(Region const&) const override { return 0; }

  bool choose(std::uint64_t volume) override {
    volume_ = volume;
    return true;
  }

  std::unique_ptr<ImageDataset> read(Region const& region) override {
    return reader_->read(volume_, region, header_.type);
  }

 private:
  VolumeHeader header_;
  std::unique_ptr<VoxelReader> reader_;
  std::uint64_t volume_ = 0;
};

std::unique_ptr<VolumeSource> open(fs::path const& path, InputChoice const& choice) {
  return std::make_unique<NiftiVolumeSource>(path, choice);
}

/// Of the version that the volume's notes are of. The head is compressed like the voxels.
FileHead head(fs::path const&, VolumeHeader const& header, bool compressed) {
  auto const bytes =
      niftiFileHead(header.type, header.extents, header.notes ? *header.notes : notesFor(header.geometry));
  FileHead head;
  head.bytes.assign(bytes.begin(), bytes.end());
  head.compressed = head.isCompressedToo = compressed;
  return head;
}

constexpr Extension extensions[] = {{".nii", ".nii"}, {".nii.gz", ".nii.gz", Compressed::always},
                                    {".hdr", ""},     {".img", ""},
                                    {".hdr.gz", ""},  {".img.gz", ""}};

std::string_view extensionFor(std::string_view head) {
  if (head.starts_with("\x1f\x8b")) return ".nii.gz";
  return beginsLikeNifti(head) ? ".nii" : "";
}

}  // namespace

constinit VolumeFormat const niftiFormat = {
    .name = "NIfTI", .extensions = extensions, .open = open, .extensionFor = extensionFor, .head = head};

}  // namespace lorb::tools
