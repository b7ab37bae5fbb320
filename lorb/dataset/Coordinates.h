#pragma once

#include <lorb/dataset/export.h>

#include <type_traits>

namespace lorb {

/// A small value of consecutive components in index order, held directly after the virtual-table
/// pointer: five voxel axes for `int`, four world axes for `double`. The index is not checked.
template <class T>
class LORB_EXPORT Coordinates {
  static_assert(std::is_same_v<T, int> || std::is_same_v<T, double>);

 public:
  static constexpr int axisCount = std::is_same_v<T, int> ? 5 : 4;

  Coordinates() = default;
  Coordinates(Coordinates const&) = default;
  Coordinates& operator=(Coordinates const&) = default;
  virtual ~Coordinates();

  T& operator[](int axis) { return components_[axis]; }
  T const& operator[](int axis) const { return components_[axis]; }

  friend bool operator==(Coordinates const& a, Coordinates const& b) {
    for (int axis = 0; axis < axisCount; ++axis) {
      if (a.components_[axis] != b.components_[axis]) return false;
    }
    return true;
  }

 protected:
  T components_[axisCount] = {};
};

extern template class Coordinates<int>;
extern template class Coordinates<double>;

/// A voxel position or the extents of a dataset: x, y, z, time, channel. A plain three-dimensional
/// dataset has extent 1 and position 0 along time and channel.
class LORB_EXPORT DatasetCoordinates : public Coordinates<int> {
 public:
  /// All components 0.
  DatasetCoordinates() = default;
  DatasetCoordinates(int x, int y, int z, int time, int channel) {
    components_[0] = x;
    components_[1] = y;
    components_[2] = z;
    components_[3] = time;
    components_[4] = channel;
  }
  DatasetCoordinates(DatasetCoordinates const&) = default;
  DatasetCoordinates& operator=(DatasetCoordinates const&) = default;
  ~DatasetCoordinates() override {}

 private:
  virtual void anchor() const;  // keeps the one virtual table in the dataset library
};

/// A point or a vector in world space: x, y, z and a fourth, homogeneous component.
class LORB_EXPORT WorldCoordinates : public Coordinates<double> {
 public:
  /// All components 0.
  WorldCoordinates() = default;
  WorldCoordinates(double x, double y, double z, double w) {
    components_[0] = x;
    components_[1] = y;
    components_[2] = z;
    components_[3] = w;
  }
  WorldCoordinates(WorldCoordinates const&) = default;
  WorldCoordinates& operator=(WorldCoordinates const&) = default;
  ~WorldCoordinates() override {}

 private:
  virtual void anchor() const;  // keeps the one virtual table in the dataset library
};

static_assert(sizeof(DatasetCoordinates) == 32);
static_assert(sizeof(WorldCoordinates) == 40);

}  // namespace lorb
