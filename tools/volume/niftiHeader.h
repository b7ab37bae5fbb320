// Headers of NIfTI-1, NIfTI-2 and Analyze 7.5 files, in one form.
#pragma once

#include "tools/volume/Volume.h"

#include <cstdint>
#include <filesystem>
#include <string_view>
#include <vector>

namespace lorb::tools {

enum class NiftiKind { analyze, nifti1, nifti2 };

/// What a header says, its numbers in this machine's byte order.
struct NiftiHeader {
  NiftiKind kind = NiftiKind::nifti1;
  bool swapped = false;                 ///< whether voxels are stored in the other byte order
  std::filesystem::path file;           ///< the file that holds the header: this one, or the .hdr of a pair
  std::filesystem::path data;           ///< the file that holds the voxels: this one, or the .img of a pair
  std::uint64_t offset = 0;             ///< where they begin in it, once that is uncompressed
  TypeID stored = typeNone;             ///< element type in the file
  double slope = 1.0, intercept = 0.0;  ///< a voxel is `slope` · stored + `intercept`
  std::vector<std::uint64_t> sizes;     ///< of all dimensions, three at least
  NiftiNotes notes;
  Vector3 spmOrigin = {};  ///< of an Analyze file: the voxel at the origin as SPM counts it, from 1
};

/// Reads the header of a single file (.nii) or of a pair by the name of either (.hdr, .img), compressed or
/// not. Throws `InputError` when it is none, or when its numbers make no sense.
NiftiHeader readNiftiHeader(std::filesystem::path const& path);

/// Whether a file that begins like this is a NIfTI file that holds its voxels, too.
bool beginsLikeNifti(std::string_view head);

/// The first bytes of a NIfTI file of single values, up to the voxels: of the second version when the notes
/// are of one or an extent is beyond the first. Texts longer than their fields are cut.
std::vector<char> niftiFileHead(TypeID type, Extents const& extents, NiftiNotes const& notes);

}  // namespace lorb::tools
