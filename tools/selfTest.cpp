#include "tools/selfTest.h"

#include "reference/bruteForce.h"
#include "reference/randomVolumes.h"
#include "reference/useTarget.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <ostream>
#include <random>

namespace lorb::tools {
namespace {

using Transform = EuclideanDistanceTransform2D;
using Flags = std::vector<char>;
using Distances = std::vector<float>;

struct NamedPlane {
  Plane plane;
  char const* name;
};
constexpr std::array<NamedPlane, 3> planes = {
    {{Transform::planeXY, "xy"}, {Transform::planeXZ, "xz"}, {Transform::planeYZ, "yz"}}};

// One voxel wide, high or deep, about powers of two, longer than any vector, and with distances whose squares
// take more than 15 bits.
constexpr Extents shapes[] = {{1, 1, 1},   {1, 7, 5},   {7, 1, 5},   {7, 5, 1},   {17, 16, 5}, {33, 31, 4},
                              {65, 17, 3}, {130, 5, 3}, {3, 40, 37}, {200, 3, 3}, {3, 200, 3}};

/// A mask, and its maps by brute force in the order of `planes`.
struct Subject {
  Extents extents;
  Flags inside;
  std::array<Distances, planes.size()> expected;
};

/// The slices of a plane as sequences of elements.
struct SliceStrides {
  int width, height;
  std::size_t count, perColumn, perRow, perSlice;

  SliceStrides(Extents const& extents, Plane plane) {
    std::size_t const strides[] = {1, extents[0], extents[0] * extents[1]};
    auto const axes = Transform::axesOf(plane);
    width = static_cast<int>(extents[static_cast<std::size_t>(axes.i)]);
    height = static_cast<int>(extents[static_cast<std::size_t>(axes.j)]);
    count = extents[static_cast<std::size_t>(axes.slice)];
    perColumn = strides[axes.i];
    perRow = strides[axes.j];
    perSlice = strides[axes.slice];
  }
  std::size_t element(std::size_t slice, std::size_t k) const {
    auto const columns = static_cast<std::size_t>(width);
    return slice * perSlice + k / columns * perRow + k % columns * perColumn;
  }
};

/// Row 0 gives no evidence of a boundary; a slice without one is filled.
Distances sliceDistances(Flags const& inside, int width, int height) {
  bool const some = std::find(inside.begin() + width, inside.end(), 1) != inside.end();
  bool const others = std::find(inside.begin() + width, inside.end(), 0) != inside.end();
  if (some && others) return reference::bruteForce(inside, width, height);
  auto const filling = static_cast<float>(width * width + height * height);
  return Distances(inside.size(), inside[0] ? -filling : filling);
}

Distances distances(Flags const& inside, Extents const& extents, Plane plane) {
  SliceStrides const strides(extents, plane);
  Distances all(inside.size());
  Flags slice(inside.size() / strides.count);
  for (std::size_t s = 0; s < strides.count; ++s) {
    for (std::size_t k = 0; k < slice.size(); ++k) slice[k] = inside[strides.element(s, k)];
    Distances const found = sliceDistances(slice, strides.width, strides.height);
    for (std::size_t k = 0; k < slice.size(); ++k) all[strides.element(s, k)] = found[k];
  }
  return all;
}

template <class InsideAt>
Flags regularMask(Extents const& extents, InsideAt insideAt) {
  Flags inside;
  reference::forEachVoxel(extents, [&](DatasetCoordinates const& p, std::size_t) {
    inside.push_back(insideAt(p[0], p[1], p[2]) ? 1 : 0);
  });
  return inside;
}

std::vector<Flags> masks(Extents const& extents, std::mt19937& random) {
  std::vector<Flags> masks;
  for (reference::Filling const filling : reference::allFillings) {
    masks.push_back(reference::randomMask(voxelCount(extents), filling, random));
  }
  auto const off = [&](int k, std::size_t axis) { return (2.0 * k + 1) / double(extents[axis]) - 1; };
  masks.push_back(regularMask(
      extents, [&](int x, int y, int z) { return std::hypot(off(x, 0), off(y, 1), off(z, 2)) < 0.8; }));
  masks.push_back(regularMask(extents, [](int x, int y, int z) { return (x + y + z) % 2 == 0; }));
  masks.push_back(regularMask(extents, [](int, int y, int) { return y == 0; }));
  masks.push_back(regularMask(extents, [](int, int, int z) { return z == 0; }));
  return masks;
}

std::vector<Subject> makeSubjects() {
  std::mt19937 random(20250817);
  std::vector<Subject> subjects;
  for (Extents const& extents : shapes) {
    for (Flags& inside : masks(extents, random)) {
      Subject subject{extents, std::move(inside), {}};
      for (std::size_t p = 0; p < planes.size(); ++p) {
        subject.expected[p] = distances(subject.inside, extents, planes[p].plane);
      }
      subjects.push_back(std::move(subject));
    }
  }
  return subjects;
}

/// While it lives, the library uses one instruction set alone.
class OneTarget {
 public:
  explicit OneTarget(std::int64_t target) { reference::useTarget(target); }
  ~OneTarget() { reference::useTarget(0); }
  OneTarget(OneTarget const&) = delete;
  OneTarget& operator=(OneTarget const&) = delete;
};

/// All comparisons with one instruction set.
class Comparison {
 public:
  Comparison(MapMakers const& makers, std::int64_t target)
      : makers_(makers), oneTarget_(target), result_{hwy::TargetName(target), 0, 0, true} {}

  void compare(Subject const& subject, std::mt19937& random) {
#define LORB_COMPARE(id, code, T, name) compareType<T>(subject, element##name, random);
    LORB_FOR_EACH_ELEMENT_TYPE(LORB_COMPARE)
#undef LORB_COMPARE
  }

  TargetResult const& result() const {
    return result_;
  }
  std::optional<Disagreement> const& first() const {
    return first_;
  }

 private:
  template <class T>
  void compareType(Subject const& subject, LORBElementType element, std::mt19937& random) {
    auto const volume = reference::volumeFromMask<T>(subject.extents, subject.inside, random);
    Dataset dataset(true);
    reference::shape(dataset, subject.extents, element);
    reference::forEachVoxel(subject.extents, [&](DatasetCoordinates const& p, std::size_t k) {
      dataset.setElement<T>(p, volume.pages[0].data[k]);
    });
    for (std::size_t p = 0; p < planes.size(); ++p) {
      Disagreement const what{
          result_.target, nameOf(typeIDOf<T>), planes[p].name, false, subject.extents, {}, 0, 0};
      compareMaps(typedMap(volume, planes[p].plane), subject.expected[p], what);
      compareMaps(genericMap(dataset, subject.extents, planes[p].plane), subject.expected[p],
                  asGeneric(what));
    }
  }

  static Disagreement asGeneric(Disagreement what) {
    what.generic = true;
    return what;
  }

  DistanceMap typedMap(ImageDataset const& volume, Plane plane) {
    DistanceMap map = reference::untouchedOutput(extentsOf(volume));
    makers_.typed(volume, map, plane);
    return map;
  }

  DistanceMap genericMap(Dataset& volume, Extents const& extents, Plane plane) {
    Dataset output(true);
    reference::shape(output, extents, elementFloat);
    makers_.generic(volume, output, plane);
    DistanceMap map(extents);
    reference::forEachVoxel(extents, [&](DatasetCoordinates const& p, std::size_t k) {
      map.voxels()[k] = output.getElement<float>(p);
    });
    return map;
  }

  /// `what` names the computation.
  void compareMaps(DistanceMap const& map, Distances const& expected, Disagreement what) {
    ++result_.volumes;
    result_.voxels += expected.size();
    auto const sameBits = [](float a, float b) {
      return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b);
    };
    auto const voxels = map.voxels();
    auto const [got, wanted] = std::mismatch(voxels.begin(), voxels.end(), expected.begin(), sameBits);
    if (got == voxels.end()) return;
    result_.agrees = false;
    if (first_) return;
    auto const k = static_cast<std::uint64_t>(got - voxels.begin());
    auto const [nx, ny, nz] = what.extents;
    what.voxel = {k % nx, k / nx % ny, k / nx / ny};
    what.expected = *wanted;
    what.got = *got;
    first_ = what;
  }

  MapMakers const& makers_;
  OneTarget oneTarget_;
  TargetResult result_;
  std::optional<Disagreement> first_;
};

std::string toText(float number) {
  char text[32];
  return {text, std::to_chars(std::begin(text), std::end(text), number).ptr};
}

std::string toText(Disagreement const& d) {
  auto const [x, y, z] = d.voxel;
  return d.target + ", " + (d.generic ? "generic " : "typed ") + d.type + ", plane " + d.plane + ", " +
         tools::toText(d.extents) + " voxels: voxel (" + std::to_string(x) + ", " + std::to_string(y) + ", " +
         std::to_string(z) + ") is " + toText(d.got) + ", not " + toText(d.expected);
}

}  // namespace

MapMakers libraryMaps() {
  auto const compute = [](auto* volume, auto* map, Plane plane) {
    Transform transform;
    transform.setPlane(plane);
    transform.computeTwoSided(volume, map);
  };
  return {[=](ImageDataset const& volume, DistanceMap& map, Plane plane) { compute(&volume, &map, plane); },
          [=](Dataset& volume, Dataset& map, Plane plane) { compute(&volume, &map, plane); }};
}

SelfTestResult selfTest(MapMakers const& makers) {
  SelfTestResult result;
  std::vector<Subject> const subjects = makeSubjects();
  reference::useTarget(0);
  for (std::int64_t const target : hwy::SupportedAndGeneratedTargets()) {
    std::mt19937 random(7);  // the same volumes for all
    Comparison comparison(makers, target);
    for (Subject const& subject : subjects) comparison.compare(subject, random);
    result.targets.push_back(comparison.result());
    if (!result.first) result.first = comparison.first();
  }
  return result;
}

void tell(std::ostream& report, SelfTestResult const& result) {
  for (TargetResult const& target : result.targets) {
    report << target.target << ": " << target.volumes << " volumes, " << target.voxels
           << " voxels compared with brute force, " << (target.agrees ? "all equal" : "NOT EQUAL") << "\n";
  }
  if (result.first) {
    report << "self-test failed; first disagreement: " << toText(*result.first) << "\n";
  } else {
    report << "self-test passed\n";
  }
}

}  // namespace lorb::tools
