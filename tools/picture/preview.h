// A picture of a signed distance map for people: evenly spaced slices side by side in one PNG file.
#pragma once

#include "tools/map/distanceMap.h"
#include "tools/picture/SliceGrid.h"
#include "tools/picture/sliceOrientation.h"
#include "tools/volume/Volume.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace lorb::tools {

/// From the first to the last slice that has an inside and an outside; nothing when none has. Linear in the
/// voxels.
std::optional<SliceRange> boundedSlices(DistanceMap const& map, Plane plane);

struct PreviewSettings {
  /// With a slice: that one alone.
  SliceChoice choice = {};

  /// Along x, y and z, for the sides' ratio; what is not positive and finite counts as 1.
  Vector3 spacing = {1.0, 1.0, 1.0};

  /// Turn slices as radiologists look at them, see `sliceOrientation`; without, i runs to the right and j
  /// down.
  std::optional<Directions> directions = std::nullopt;

  /// Of the map's values.
  std::string unit = "voxels";

  /// The slices among which those to be shown are spaced; all, when nothing. A small object's own slices make
  /// a better picture than a head's.
  std::optional<SliceRange> among = std::nullopt;

  /// 1 to 60: as many slices as there are, but not more than these.
  int sliceCount = 12;
};

/// Collects the slices to be shown while a map is made, whole or in slabs, and draws them.
///
/// Colours run from blue (inside) over white (the boundary) to red (outside) and stand for a round range that
/// 85 % of the distances lie in; pointed ends of the bar say that there are farther ones. The
/// boundary is a black line. Where a grey image lies beneath, it is windowed from the 1st to the 99th
/// percentile of its shown values. Sides are to scale by the spacing, or a note says that they aren't.
/// Letters name the patient's sides, or a note does where panels are small, or says that they are unknown.
/// Slices that lack an inside or an outside say so in words and leave the range alone; voxels that are NaN
/// are grey, or without colour on a grey image. Slice numbers count from 0. The picture is at most 1600
/// pixels wide and 1200 high, and the same input gives the same bytes.
class Preview {
 public:
  /// For a map of these extents. Throws `std::invalid_argument` when an extent is 0, when the slices asked
  /// for are none of the map's, or when the number of slices is out of its range.
  Preview(Extents const& extents, PreviewSettings const& settings);

  /// The slices to be shown, in ascending order.
  std::vector<std::uint64_t> const& slices() const { return slices_; }

  /// Takes what is shown of the slices that `map` holds, of which the first is slice `firstSlice` of the
  /// whole map, and of the image of the same extents beneath it, if there is one. Neither is needed
  /// afterwards. To be called in ascending order, always with an image or always without. What is kept is of
  /// the size of the picture. Throws `std::invalid_argument` when extents don't agree.
  void add(DistanceMap const& map, ImageDataset const* grey = nullptr, std::uint64_t firstSlice = 0);

  /// The picture of all slices taken so far, as the content of a PNG file.
  std::string png() const;

 private:
  void requireFitting(ImageDataset const& volume) const;

  Extents extents_;
  PreviewSettings settings_;
  SliceOrientation orientation_;
  std::vector<std::uint64_t> slices_;
  std::vector<SliceGrid> maps_, greys_;
};

}  // namespace lorb::tools
