#pragma once

#include <lorb/dataset/DatasetWorldEmbedding.h>
#include <lorb/dataset/TypeID.h>

#include <cstdint>

namespace lorb {

/// What is known of a three-dimensional image volume without its element type: extents, placement
/// in the world and value range. `TImageDataset<T,3>` is the volume itself; who derives another class
/// and lets `type_id()` answer 1 to 11 must derive it from that volume, since the code is trusted.
class LORB_EXPORT ImageDataset {
 public:
  virtual ~ImageDataset();

  /// Code of the element type. A volume with a code outside 1 to 11 is passed over by the transform and the
  /// bridge, and refused by `dump`.
  virtual TypeID type_id() const = 0;

  /// True when the volume holds no voxel storage.
  virtual bool empty() const = 0;

  /// The voxel counts along x, y and z; owned by the volume.
  virtual std::uint64_t const* size_array() const = 0;

  DatasetWorldEmbedding& worldEmbedding() { return embedding_; }
  DatasetWorldEmbedding const& worldEmbedding() const { return embedding_; }

  /// Smallest and largest value, as last set. A minimum above the maximum, as in a new or newly
  /// shaped volume, means "not known yet"; nothing is computed behind the caller's back.
  double minValue() const { return minimum_; }
  double maxValue() const { return maximum_; }
  void setMinMaxValue(double minimum, double maximum);

 protected:
  ImageDataset();
  ImageDataset(ImageDataset const&) = default;
  ImageDataset& operator=(ImageDataset const&) = default;

 private:
  DatasetWorldEmbedding embedding_;
  double minimum_ = 1.0;
  double maximum_ = 0.0;
};

}  // namespace lorb
