#include "tools/volume/Volume.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <type_traits>

namespace lorb::tools {
namespace {

template <class Number>
std::string shortest(Number number) {
  char text[32];
  return {text, std::to_chars(std::begin(text), std::end(text), number).ptr};
}

template <class Triple>
std::string joined(Triple const& triple) {
  return shortest(triple[0]) + " × " + shortest(triple[1]) + " × " + shortest(triple[2]);
}

double length(Vector3 const& v) {
  return std::hypot(v[0], v[1], v[2]);
}

Vector3 difference(Vector3 const& a, Vector3 const& b) {
  return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}

/// Calls `f` with the two places of each corner of a volume.
template <class F>
void forEachCorner(Geometry const& a, Geometry const& b, Extents const& extents, F f) {
  for (unsigned corner = 0; corner < 8; ++corner) {
    Vector3 inA, inB;
    for (unsigned axis = 0; axis < 3; ++axis) {
      double const steps = (corner >> axis & 1U) != 0 ? double(extents[axis] - 1) : 0.0;
      inA[axis] = a.firstIndex[axis] + steps;
      inB[axis] = b.firstIndex[axis] + steps;
    }
    f(a.position(inA), b.position(inB));
  }
}

}  // namespace

Vector3 Geometry::position(Vector3 const& index) const {
  Vector3 result = origin;
  for (std::size_t row = 0; row < 3; ++row) {
    for (std::size_t axis = 0; axis < 3; ++axis) {
      result[row] += direction[row][axis] * spacing[axis] * index[axis];
    }
  }
  return result;
}

Vector3 Geometry::firstVoxel() const {
  return position({double(firstIndex[0]), double(firstIndex[1]), double(firstIndex[2])});
}

std::unique_ptr<ImageDataset> makeVoxels(TypeID type, Extents const& extents) {
  std::unique_ptr<ImageDataset> voxels;
  visitElementType(
      type, [&]<class T>(std::type_identity<T>) { voxels = std::make_unique<TImageDataset<T, 3>>(extents); });
  return voxels;
}

void* dataOf(ImageDataset& voxels) {
  void* data = nullptr;
  visitElementType(voxels.type_id(), [&]<class T>(std::type_identity<T>) {
    if constexpr (!std::is_same_v<T, bool>) data = static_cast<TImageDataset<T, 3>&>(voxels).voxels().data();
  });
  return data;
}

void const* dataOf(ImageDataset const& voxels) {
  return dataOf(const_cast<ImageDataset&>(voxels));
}

std::uint64_t bytesOf(TypeID type) {
  std::uint64_t bytes = 0;
  visitElementType(type, [&]<class T>(std::type_identity<T>) { bytes = sizeof(T); });
  return bytes;
}

Extents extentsOf(ImageDataset const& voxels) {
  std::uint64_t const* const size = voxels.size_array();
  return {size[0], size[1], size[2]};
}

std::uint64_t voxelCount(Extents const& extents) {
  return extents[0] * extents[1] * extents[2];
}

std::string toText(Extents const& extents) {
  return joined(extents);
}

std::string toText(Vector3 const& numbers) {
  return joined(numbers);
}

std::string toText(double number) {
  return shortest(number);
}

std::string toMillimetres(double length) {
  return toText(std::round(1000.0 * length) / 1000.0) + " mm";
}

std::string nameOf(TypeID type) {
  switch (type) {
    case typeNone:
      break;
#define LORB_NAME(code, element, T, name) \
  case type##name:                        \
    return #name;
      LORB_FOR_EACH_ELEMENT_TYPE(LORB_NAME)
#undef LORB_NAME
  }
  return "none";
}

bool equalVoxels(ImageDataset const& a, ImageDataset const& b) {
  if (a.type_id() != b.type_id() || extentsOf(a) != extentsOf(b)) return false;
  bool equal = false;
  visitElementType(a.type_id(), [&]<class T>(std::type_identity<T>) {
    auto const& left = static_cast<TImageDataset<T, 3> const&>(a).pages[0].data;
    auto const& right = static_cast<TImageDataset<T, 3> const&>(b).pages[0].data;
    if constexpr (std::is_same_v<T, bool>) {
      equal = left == right;
    } else {  // bits, since NaN is no less a voxel
      equal = std::memcmp(left.data(), right.data(), left.size() * sizeof(T)) == 0;
    }
  });
  return equal;
}

namespace {

/// The same place, its origin at the first voxel.
Geometry fromFirstVoxel(Geometry geometry) {
  geometry.origin = geometry.firstVoxel();
  for (double& coordinate : geometry.origin) coordinate += 0.0;  // −0 is for nobody to read
  geometry.firstIndex = {0, 0, 0};
  return geometry;
}

/// The unit vectors along x, y and z, with four decimals.
std::string axesText(Geometry const& geometry) {
  std::string text;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    text += axis == 0 ? "(" : ", (";
    for (std::size_t row = 0; row < 3; ++row) {
      double const rounded = std::round(geometry.direction[row][axis] * 1e4) / 1e4;
      text += (row == 0 ? "" : " ") + toText(rounded + 0.0);  // without a sign of 0
    }
    text += ")";
  }
  return text;
}

}  // namespace

std::string placeDifferences(Geometry const& found, Geometry const& expected, Extents const& extents) {
  Geometry const there = fromFirstVoxel(found), here = fromFirstVoxel(expected);
  std::string text;
  auto const tell = [&](auto part, std::string const& name, auto const& textOf) {
    Geometry other = here;
    other.*part = there.*part;
    if (samePlace(here, other, extents)) return;
    text += (text.empty() ? "" : "; ") + name + textOf(there) + ", not " + textOf(here);
  };
  tell(&Geometry::spacing, "spacing ", [](Geometry const& geometry) { return toText(geometry.spacing); });
  tell(&Geometry::direction, "axes along ", axesText);
  tell(&Geometry::origin, "first voxel at ",
       [](Geometry const& geometry) { return toText(geometry.origin); });
  return text.empty() ? "spacing, axes and first voxel by a little each" : text;
}

double farthestShift(Geometry const& a, Geometry const& b, Extents const& extents) {
  double farthest = 0.0;
  forEachCorner(a, b, extents, [&](Vector3 const& p, Vector3 const& q) {
    farthest = std::max(farthest, length(difference(p, q)));
  });
  return farthest;
}

bool samePlace(Geometry const& a, Geometry const& b, Extents const& extents) {
  double const voxel = *std::min_element(a.spacing.begin(), a.spacing.end());
  bool same = true;
  forEachCorner(a, b, extents, [&](Vector3 const& p, Vector3 const& q) {
    double const allowed = 1e-3 * voxel + 1e-5 * length(difference(p, a.firstVoxel())) + 1e-6 * length(p);
    // Written so that NaN is no place at all.
    if (!(length(difference(p, q)) <= allowed)) same = false;
  });
  return same;
}

}  // namespace lorb::tools
