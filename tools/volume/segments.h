// The segments that 3D Slicer stores in an NRRD file: each is the voxels with one value in one layer, and
// layers may overlap.
#pragma once

#include "tools/volume/itkImageIO.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace lorb::tools {

struct Segment {
  std::string id, name;
  std::int64_t label = 1;
  std::uint64_t layer = 0;
};

/// The segments that the header of an NRRD file tells of; none for a file that is no segmentation.
std::vector<Segment> segmentsIn(std::filesystem::path const& path);

/// Opens a segmentation whose header `io` has read. With names or IDs of segments in `choice`, voxels are 1
/// where at least one of these is, and 0 elsewhere; with a volume, voxels are the values of that layer.
/// Throws `InputError` when the names are none of the file's or belong to several segments, and when nothing
/// is chosen of a file of several layers.
std::unique_ptr<VolumeSource> openSegmentation(itk::ImageIOBase const& io, std::filesystem::path const& path,
                                               std::vector<Segment> const& segments,
                                               InputChoice const& choice, ItkFormat const& format);

}  // namespace lorb::tools
