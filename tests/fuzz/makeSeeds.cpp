// Writes small good files for the fuzzer to begin with: makeSeeds FOLDER.

#include "tests/tools/sampleVolumes.h"
#include "tools/volume/VolumeFile.h"

#include <fstream>
#include <iterator>
#include <string>

namespace {

namespace fs = std::filesystem;
using namespace lorb;
using namespace lorb::tools;

/// In the order of the fuzz target.
constexpr char const* extensions[] = {
    ".nii", ".nii.gz", ".mha", ".nrrd", ".vtk", ".tif",
#ifdef LORB_TOOLS_WITH_VTI
    ".vti",
#endif
};

void addSeed(fs::path const& folder, std::size_t kind, TypeID type) {
  Volume volume = sampleVolume(type, {4, 3, 2});
  std::string const extension = extensions[kind];
  if (extension == ".vtk") volume.geometry.direction = Geometry().direction;
  if (extension == ".tif") volume.geometry = {};
  fs::path const path = folder / (nameOf(type) + extension);
  writeVolume(volume, path, true);
  std::ifstream file(path, std::ios::binary);
  std::string const content(std::istreambuf_iterator<char>(file), {});
  fs::remove(path);
  std::ofstream(folder / (std::to_string(kind) + nameOf(type)), std::ios::binary) << char(kind) << content;
}

void addText(fs::path const& folder, char const* name, std::size_t kind, std::string const& content) {
  std::ofstream(folder / name, std::ios::binary) << char(kind) << content;
}

}  // namespace

int main(int, char** argv) {
  fs::path const folder = argv[1];
  fs::create_directories(folder);
  for (std::size_t kind = 0; kind < std::size(extensions); ++kind) {
    for (TypeID const type : {typeInt16, typeFloat}) addSeed(folder, kind, type);
  }
  std::string const meta = "ObjectType = Image\nNDims = 3\nBinaryData = True\nDimSize = 2 2 2\n";
  addText(folder, "metaPlain", 2, meta + "ElementType = MET_UCHAR\nElementDataFile = LOCAL\n12345678");
  addText(
      folder, "metaSwapped", 2,
      meta +
          "BinaryDataByteOrderMSB = True\nElementType = MET_SHORT\nTransformMatrix = 1 0 0 0 1 0 0 0 1\n"
          "Offset = 1 2 3\nCenterOfRotation = 0 0 0\nAnatomicalOrientation = RAI\nElementSpacing = 1 1 1\n"
          "ElementDataFile = LOCAL\n1234567812345678");
  addText(folder, "nrrdText", 3,
          "NRRD0004\n# a comment\ntype: short\ndimension: 3\nspace: left-posterior-superior\nsizes: 2 2 1\n"
          "space directions: (1,0,0) (0,1,0) (0,0,1)\nkinds: domain domain domain\nencoding: ascii\n"
          "space origin: (0,0,0)\nkey:=value\n\n1 2 3 4\n");
  addText(folder, "vtkText", 4,
          "# vtk DataFile Version 3.0\na\nASCII\nDATASET STRUCTURED_POINTS\nDIMENSIONS 2 2 1\nSPACING 1 1 1\n"
          "ORIGIN 0 0 0\nPOINT_DATA 4\nSCALARS a short 1\nLOOKUP_TABLE default\n1 2 3 4\n");
}
