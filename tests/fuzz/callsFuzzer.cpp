// Sequences of calls on one transform, two volumes and a generic dataset. After each, what the objects hold
// is what a new transform and plain arrays hold.

#include <lorb/algorithm/EuclideanDistanceTransform2D.h>
#include <lorb/dataset/dump.h>

#include <reference/literalTransform.h>
#include <reference/randomVolumes.h>
#include <tests/fuzz/fuzzing.h>

#include <stdexcept>

namespace {

using fuzzing::require;
using lorb::Dataset;
using lorb::DatasetCoordinates;
using lorb::TImageDataset;
using Transform = lorb::EuclideanDistanceTransform2D;
using Map = TImageDataset<float, 3>;

/// What a volume must hold: elements by index, whatever its shape was before.
struct Model {
  reference::Extents extents = {0, 0, 0};
  std::vector<float> voxels;

  void resize(reference::Extents const& shape) {
    if (shape == extents) return;
    extents = shape;
    voxels.resize(shape[0] * shape[1] * shape[2]);
  }
};

class Session {
 public:
  explicit Session(FuzzedDataProvider& data) : data_(data), generic_(true) {}

  void run() {
    for (int calls = 0; data_.remaining_bytes() > 0 && calls < 40; ++calls) {
      step();
      verify(first_, firstModel_);
      verify(second_, secondModel_);
    }
  }

 private:
  void step() {
    switch (data_.ConsumeIntegralInRange(0, 9)) {
      case 0:
        return resize(first_, firstModel_);
      case 1:
        return resize(second_, secondModel_);
      case 2:
        plane_ = data_.ConsumeIntegralInRange(-1, 3);
        return transform_.setPlane(static_cast<Transform::PlaneOrientationE>(plane_));
      case 3:
        return scatter();
      case 4:
        return compute(first_, second_, secondModel_, -1);
      case 5:
        return compute(first_, first_, firstModel_, -1);
      case 6:
        return compute(first_, second_, secondModel_, data_.ConsumeIntegralInRange(0, 19));
      case 7:
        return shapeGeneric();
      case 8:
        return computeGeneric();
      case 9:
        return copy();
    }
  }

  reference::Extents anyShape() {
    reference::Extents shape;
    for (auto& count : shape) count = data_.ConsumeIntegralInRange<std::uint64_t>(0, 20);
    return shape;
  }

  void resize(Map& volume, Model& model) {
    auto const shape = anyShape();
    volume.resize(shape);
    model.resize(shape);
  }

  void scatter() {
    for (int k = data_.ConsumeIntegralInRange(0, 30); k > 0 && !firstModel_.voxels.empty(); --k) {
      auto const voxel = data_.ConsumeIntegralInRange<std::size_t>(0, firstModel_.voxels.size() - 1);
      auto const value = static_cast<float>(data_.ConsumeIntegral<std::int8_t>());
      first_.voxels()[voxel] = value;
      firstModel_.voxels[voxel] = value;
    }
  }

  /// Equal shapes and a slice that exists are the caller's duty.
  bool mayCompute(Map const& in, Map const& out, int slice) const {
    if (in.extents != out.extents || out.voxels().empty()) return false;
    auto const [x, y, z] = in.extents;
    return slice < 0 || slice < reference::planeExtents(plane_, static_cast<int>(x), static_cast<int>(y),
                                                        static_cast<int>(z))
                                    .slices;
  }

  void compute(Map& in, Map& out, Model& model, int slice) {
    if (!mayCompute(in, out, slice)) return;
    if (plane_ >= 0 && plane_ <= 2) {
      Map const input = in;
      Map expected = out;
      reference::literalTransform(input, expected, plane_, slice);
      model.voxels.assign(expected.voxels().begin(), expected.voxels().end());
    }
    if (slice < 0) {
      transform_.computeTwoSided(&in, &out);
    } else {
      transform_.computeTwoSided(&in, &out, slice);
    }
  }

  void shapeGeneric() {
    DatasetCoordinates extents;
    for (int axis = 0; axis < 3; ++axis) extents[axis] = data_.ConsumeIntegralInRange(-1, 20);
    extents[3] = extents[4] = 1;
    auto const type = static_cast<lorb::LORBElementType>(data_.ConsumeIntegralInRange(-1, 15));
    auto const before = generic_.getSize();
    try {
      generic_.newDataset(extents, type, {});
      require(generic_.getSize() == extents && generic_.getElementType() == type, "dataset of another shape");
    } catch (std::invalid_argument const&) {
      require(generic_.getSize() == before, "refused shape changed the dataset");
    }
  }

  /// Elements of the volume into the dataset, and the transform of the dataset in its own place.
  void computeGeneric() {
    auto const size = generic_.getSize();
    auto const [x, y, z] = first_.extents;
    if (DatasetCoordinates(static_cast<int>(x), static_cast<int>(y), static_cast<int>(z), 1, 1) != size)
      return;
    if (first_.voxels().empty() || generic_.getElementType() < lorb::elementFloat) return;
    reference::forEachVoxel(first_.extents, [&](auto const& position, std::size_t element) {
      generic_.setElement<float>(position, first_.voxels()[element]);
    });
    transform_.computeTwoSided(&generic_, &generic_);
    Map expected = first_;
    if (plane_ >= 0 && plane_ <= 2) reference::literalTransform(first_, expected, plane_);
    reference::forEachVoxel(first_.extents, [&](auto const& position, std::size_t element) {
      require(generic_.getElement<float>(position) == expected.voxels()[element], "generic map differs");
    });
  }

  void copy() {
    second_ = first_;
    secondModel_ = firstModel_;
  }

  static void verify(Map const& volume, Model const& model) {
    require(volume.extents == model.extents, "extents differ");
    require(
        std::equal(volume.voxels().begin(), volume.voxels().end(), model.voxels.begin(), model.voxels.end()),
        "voxels differ");
  }

  FuzzedDataProvider& data_;
  Transform transform_;
  int plane_ = 2;
  Map first_, second_;
  Model firstModel_, secondModel_;
  Dataset generic_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* bytes, std::size_t size) {
  FuzzedDataProvider data(bytes, size);
  Session(data).run();
  return 0;
}
