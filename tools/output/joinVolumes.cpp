#include "tools/output/joinVolumes.h"

#include "tools/base/errors.h"
#include "tools/volume/VolumeFile.h"
#include "tools/volume/formatTable.h"
#include "tools/volume/niftiHeader.h"
#include "tools/volume/niftiPlace.h"

#include <zlib.h>

#include <fstream>
#include <memory>
#include <string>

namespace lorb::tools {
namespace fs = std::filesystem;
namespace {

struct Closer {
  void operator()(gzFile_s* file) const { gzclose(file); }
};
using File = std::unique_ptr<gzFile_s, Closer>;

[[noreturn]] void refuseIncomplete(StagedFile const& file) {
  throw OutputError("output " + file.target.string() + ": could not be written in full; is the disk full?");
}

void write(StagedFile const& target, gzFile file, char const* bytes, std::size_t count) {
  if (count > 0 && gzwrite(file, bytes, static_cast<unsigned>(count)) != static_cast<int>(count)) {
    refuseIncomplete(target);
  }
}

void writeVoxels(StagedFile const& target, gzFile file, fs::path const& part) {
  std::ifstream voxels(part, std::ios::binary);
  voxels.seekg(static_cast<std::streamoff>(readNiftiHeader(part).offset));
  std::vector<char> buffer(std::size_t{1} << 20);
  while (voxels.read(buffer.data(), static_cast<std::streamsize>(buffer.size())) || voxels.gcount() > 0) {
    write(target, file, buffer.data(), static_cast<std::size_t>(voxels.gcount()));
  }
}

void requireWritten(std::vector<fs::path> const& parts, StagedFile const& file) try {
  InputChoice choice;
  choice.volume = 0;
  auto const source = openVolume(file.path, choice);
  for (std::size_t k = 0; k < parts.size(); ++k) {
    source->choose(k);
    auto const written = source->read(wholeRegion(source->header().extents));
    if (!equalVoxels(*written, *readVolume(parts[k]).voxels)) refuseIncomplete(file);
  }
} catch (InputError const&) {
  refuseIncomplete(file);
}

}  // namespace

void requireFourDimensions(fs::path const& target) {
  if (formatOf(target) == &niftiFormat) return;
  throw OutputError("output " + target.string() +
                    ": --all-volumes makes a map of four dimensions; expected a name with .nii or .nii.gz");
}

void joinVolumes(std::vector<fs::path> const& parts, VolumeHeader const& header, StagedFile const& file) {
  NiftiNotes notes = header.notes ? *header.notes : notesFor(header.geometry);
  notes.volumes = parts.size();
  auto const head = niftiFileHead(typeFloat, header.extents, notes);
  bool const compressed = file.path.extension() == ".gz";
  File joined(gzopen(file.path.c_str(), compressed ? "wb" : "wbT"));  // T: as they are
  if (joined == nullptr) refuseIncomplete(file);
  write(file, joined.get(), head.data(), head.size());
  for (fs::path const& part : parts) writeVoxels(file, joined.get(), part);
  if (gzclose(joined.release()) != Z_OK) refuseIncomplete(file);
  requireWritten(parts, file);
}

}  // namespace lorb::tools
