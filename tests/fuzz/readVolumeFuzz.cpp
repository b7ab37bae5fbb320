// Feeds files of any content to everything that reads volumes. The first byte picks the kind of file, the
// rest is its content; whatever it is, it is read or refused with an `InputError`.

#include "tools/base/errors.h"
#include "tools/volume/VolumeFile.h"

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>

namespace {

namespace fs = std::filesystem;
using namespace lorb::tools;

/// DICOM is left out: its reader is known to end the process, which is why it is tried in another one first.
constexpr char const* extensions[] = {
    ".nii", ".nii.gz", ".mha", ".nrrd", ".vtk", ".tif",
#ifdef LORB_TOOLS_WITH_VTI
    ".vti",
#endif
};

fs::path fileWith(std::uint8_t const* data, std::size_t size) {
  static fs::path const folder = [] {
    fs::path const path = fs::temp_directory_path() / ("lorb-fuzz-" + std::to_string(getpid()));
    fs::create_directories(path);
    return path;
  }();
  fs::path const path = folder / (std::string("input") + extensions[data[0] % std::size(extensions)]);
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<char const*>(data) + 1, static_cast<std::streamsize>(size - 1));
  return path;
}

/// What a run with little memory would refuse before it reads.
constexpr std::uint64_t mostVoxels = std::uint64_t{1} << 22;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size < 2) return 0;
  try {
    InputChoice choice;
    choice.volume = 0;
    auto const source = openVolume(fileWith(data, size), choice);
    Extents const extents = source->header().extents;
    if (voxelCount(extents) <= mostVoxels) source->read(wholeRegion(extents));
  } catch (InputError const&) {
  }
  return 0;
}
