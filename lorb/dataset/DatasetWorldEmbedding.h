#pragma once

#include <lorb/dataset/Coordinates.h>

namespace lorb {

/// Where a dataset lies in world space: the position of voxel (0, 0, 0) and the size of one voxel
/// along x, y and z. World units are the caller's; the family converts and rounds nothing.
class LORB_EXPORT DatasetWorldEmbedding {
 public:
  /// Origin (0, 0, 0, 0), spacing (1, 1, 1, 0).
  DatasetWorldEmbedding() = default;

  WorldCoordinates const& getDatasetOrigin() const { return origin_; }
  WorldCoordinates const& getVoxelSpacing() const { return spacing_; }
  void setDatasetOrigin(WorldCoordinates const& origin) { origin_ = origin; }
  void setVoxelSpacing(WorldCoordinates const& spacing) { spacing_ = spacing; }

 private:
  WorldCoordinates origin_;
  WorldCoordinates spacing_{1.0, 1.0, 1.0, 0.0};
};

}  // namespace lorb
