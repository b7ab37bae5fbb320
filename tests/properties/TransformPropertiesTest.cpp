// What must hold between distance maps, whatever the volume. A failing property shrinks to a small volume.

#include <lorb/algorithm/EuclideanDistanceTransform2D.h>

#include <reference/literalTransform.h>
#include <tests/ElementTypes.h>
#include <tests/properties/Scene.h>
#include <tests/sameBits.h>

#include <functional>

namespace {

using lorb::Dataset;
using lorb::TImageDataset;
using lorb::test::Scene;
using reference::sameBits;
using Transform = lorb::EuclideanDistanceTransform2D;
using Plane = Transform::PlaneOrientationE;
using Map = TImageDataset<float, 3>;
using Position = std::array<int, 3>;

Plane anyPlane() {
  return *rc::gen::element(Transform::planeYZ, Transform::planeXZ, Transform::planeXY);
}

template <class T>
Map transformed(TImageDataset<T, 3> const& volume, Plane plane) {
  Map map = reference::untouchedOutput(volume.extents);
  Transform transform;
  transform.setPlane(plane);
  transform.computeTwoSided(&volume, &map);
  return map;
}

template <class T>
typename TImageDataset<T, 3>::ConstReference valueAt(TImageDataset<T, 3> const& volume, Position const& p) {
  return volume(static_cast<std::uint64_t>(p[0]), static_cast<std::uint64_t>(p[1]),
                static_cast<std::uint64_t>(p[2]));
}

std::size_t index(int axis) {
  return static_cast<std::size_t>(axis);
}

int slicesOf(Scene const& scene, Plane plane) {
  return scene.extents[index(Transform::axesOf(plane).slice)];
}

/// A volume of `extents` whose voxel p is voxel `source(p)` of `volume`.
template <class T, class Source>
TImageDataset<T, 3> rearranged(TImageDataset<T, 3> const& volume, Position const& extents, Source source) {
  TImageDataset<T, 3> result({static_cast<std::uint64_t>(extents[0]), static_cast<std::uint64_t>(extents[1]),
                              static_cast<std::uint64_t>(extents[2])});
  reference::forEachVoxel(result.extents, [&](auto const& p, std::size_t element) {
    result.pages[0].data[element] = valueAt(volume, source(Position{p[0], p[1], p[2]}));
  });
  return result;
}

/// Whether the slice holds inside and outside voxels from in-slice index `firstRow` along `axis` on.
template <class T>
bool isMixed(TImageDataset<T, 3> const& volume, Plane plane, int slice, int axis, int firstRow) {
  bool inside = false, outside = false;
  reference::forEachVoxel(volume.extents, [&](auto const& p, std::size_t element) {
    if (p[Transform::axesOf(plane).slice] != slice || p[axis] < firstRow) return;
    (volume.pages[0].data[element] ? inside : outside) = true;
  });
  return inside && outside;
}

/// Fails unless `a` at `p` is `b` at `other(p)` in all slices that have a boundary whichever of the rows and
/// columns at their ends are the first: how those without are filled depends on the first ones.
template <class Other>
void requireSameWhereBounded(Scene const& scene, Plane plane, Map const& a, Map const& b, Other other) {
  auto const volume = scene.volume<unsigned char>();
  auto const axes = Transform::axesOf(plane);
  auto const reversed = [&](int axis) {
    return rearranged(volume, scene.extents, [&](Position p) {
      p[index(axis)] = scene.extents[index(axis)] - 1 - p[index(axis)];
      return p;
    });
  };
  auto const fromRight = reversed(axes.i), fromBelow = reversed(axes.j);
  std::vector<bool> bounded;
  for (int slice = 0; slice < slicesOf(scene, plane); ++slice) {
    bounded.push_back(isMixed(volume, plane, slice, axes.i, 1) && isMixed(volume, plane, slice, axes.j, 1) &&
                      isMixed(fromRight, plane, slice, axes.i, 1) &&
                      isMixed(fromBelow, plane, slice, axes.j, 1));
  }
  reference::forEachVoxel(volume.extents, [&](auto const& p, std::size_t) {
    if (!bounded[index(p[axes.slice])]) return;
    Position const position{p[0], p[1], p[2]};
    RC_ASSERT(valueAt(a, position) == valueAt(b, other(position)));
  });
}

void requireSameBits(Map const& actual, Map const& expected) {
  auto const same = sameBits(actual, expected);
  if (!same) RC_FAIL(same.message());
}

RC_GTEST_PROP(TransformProperties, EqualsTheLiteralProcedure, (Scene const& scene)) {
  auto const volume = scene.volume<signed char>();
  Plane const plane = anyPlane();
  Map expected = reference::untouchedOutput(volume.extents);
  reference::literalTransform(volume, expected, plane);
  requireSameBits(transformed(volume, plane), expected);
}

RC_GTEST_PROP(TransformProperties, ThePlanesAreOneAlgorithmOnExchangedAxes, (Scene const& scene)) {
  auto const volume = scene.volume<short>();
  Plane const plane = anyPlane();
  auto const [i, j, slice] = Transform::axesOf(plane);
  Position const extents{scene.extents[index(i)], scene.extents[index(j)], scene.extents[index(slice)]};
  auto const inXY = rearranged(volume, extents, [&, i = i, j = j, slice = slice](Position const& p) {
    Position source;
    source[index(i)] = p[0];
    source[index(j)] = p[1];
    source[index(slice)] = p[2];
    return source;
  });
  auto const map = transformed(inXY, Transform::planeXY);
  requireSameBits(transformed(volume, plane),
                  rearranged(map, scene.extents, [&, i = i, j = j, slice = slice](Position const& p) {
                    return Position{p[index(i)], p[index(j)], p[index(slice)]};
                  }));
}

RC_GTEST_PROP(TransformProperties, TransposingSlicesTransposesDistances, (Scene const& scene)) {
  auto const volume = scene.volume<unsigned char>();
  Plane const plane = anyPlane();
  auto const axes = Transform::axesOf(plane);
  auto const transposed = [&](Position p) {
    std::swap(p[index(axes.i)], p[index(axes.j)]);
    return p;
  };
  auto const map = transformed(rearranged(volume, transposed(scene.extents), transposed), plane);
  requireSameWhereBounded(scene, plane, transformed(volume, plane), map, transposed);
}

RC_GTEST_PROP(TransformProperties, FlippingSlicesFlipsDistances, (Scene const& scene)) {
  auto const volume = scene.volume<unsigned char>();
  Plane const plane = anyPlane();
  auto const axis = index(*rc::gen::inRange(0, 3));
  auto const flipped = [&](Position p) {
    p[axis] = scene.extents[axis] - 1 - p[axis];
    return p;
  };
  auto const map = transformed(rearranged(volume, scene.extents, flipped), plane);
  if (axis == index(Transform::axesOf(plane).slice)) {
    requireSameBits(rearranged(map, scene.extents, flipped), transformed(volume, plane));
  } else {
    requireSameWhereBounded(scene, plane, transformed(volume, plane), map, flipped);
  }
}

RC_GTEST_PROP(TransformProperties, ExchangingInsideAndOutsideNegatesDistances, (Scene const& scene)) {
  Scene opposite = scene;
  opposite.background = !scene.background;
  Plane const plane = anyPlane();
  Map negated = transformed(opposite.volume<bool>(), plane);
  for (float& distance : negated.voxels()) distance = -distance;
  requireSameBits(transformed(scene.volume<bool>(), plane), negated);
}

RC_GTEST_PROP(TransformProperties, ACopiedBorderChangesNoDistance, (Scene const& scene)) {
  auto const volume = scene.volume<unsigned char>();
  Plane const plane = anyPlane();
  auto const axes = Transform::axesOf(plane);
  Position before{0, 0, 0}, extents = scene.extents;
  for (int const axis : {axes.i, axes.j}) {
    before[index(axis)] = *rc::gen::inRange(0, 20);
    extents[index(axis)] += before[index(axis)] + *rc::gen::inRange(0, 20);
  }
  auto const padded = rearranged(volume, extents, [&](Position p) {
    for (std::size_t axis = 0; axis < 3; ++axis)
      p[axis] = std::clamp(p[axis] - before[axis], 0, scene.extents[axis] - 1);
    return p;
  });
  requireSameWhereBounded(scene, plane, transformed(volume, plane), transformed(padded, plane),
                          [&](Position p) {
                            for (std::size_t axis = 0; axis < 3; ++axis) p[axis] += before[axis];
                            return p;
                          });
}

RC_GTEST_PROP(TransformProperties, AUsedTransformComputesLikeANewOne, (std::vector<Scene> const& scenes)) {
  Transform used;
  for (Scene const& scene : scenes) {
    auto const volume = scene.volume<float>();
    Plane const plane = anyPlane();
    Map map = reference::untouchedOutput(volume.extents);
    used.setPlane(plane);
    used.computeTwoSided(&volume, &map);
    requireSameBits(map, transformed(volume, plane));
  }
}

RC_GTEST_PROP(TransformProperties, SlicesOneByOneInAnyOrderEqualAllAtOnce, (Scene const& scene)) {
  auto const volume = scene.volume<double>();
  Transform transform;
  transform.setPlane(anyPlane());
  std::vector<int> order;
  for (int slice = 0; slice < slicesOf(scene, transform.plane); ++slice) order.push_back(slice);
  std::shuffle(order.begin(), order.end(), std::mt19937(*rc::gen::arbitrary<unsigned>()));
  Map map = reference::untouchedOutput(volume.extents);
  for (int const slice : order) transform.computeTwoSided(&volume, &map, slice);
  requireSameBits(map, transformed(volume, transform.plane));
}

/// Views of the whole volume, for `f(in, out)`.
template <class F>
void withViews(TImageDataset<int, 3> const& volume, Map& map, Scene const& scene, Plane plane, F f) {
  auto const axes = Transform::axesOf(plane);
  int const width = scene.extents[index(axes.i)], height = scene.extents[index(axes.j)];
  int const slices = scene.extents[index(axes.slice)];
  if (plane == Transform::planeXY) {
    f(Transform::CIsliceXY<int>{&volume, width, height, slices, 0},
      Transform::IsliceXY<float>{&map, width, height, slices, 0});
  } else if (plane == Transform::planeXZ) {
    f(Transform::CIsliceXZ<int>{&volume, width, height, slices, 0},
      Transform::IsliceXZ<float>{&map, width, height, slices, 0});
  } else {
    f(Transform::CIsliceYZ<int>{&volume, width, height, slices, 0},
      Transform::IsliceYZ<float>{&map, width, height, slices, 0});
  }
}

RC_GTEST_PROP(TransformProperties, PartsOfTheSlicesEqualThoseOfTheWhole, (Scene const& scene)) {
  auto const volume = scene.volume<int>();
  Plane const plane = anyPlane();
  int const begin = *rc::gen::inRange(0, slicesOf(scene, plane));
  int const end = *rc::gen::inRange(begin, slicesOf(scene, plane) + 1);
  Map map = reference::untouchedOutput(volume.extents);
  withViews(volume, map, scene, plane, [&](auto in, auto out) {
    in.slice = out.slice = begin;
    in.sliceCount = end;
    Transform().computeAllSlicesTwoSided(in, out);
  });
  Map expected = transformed(volume, plane);
  reference::forEachVoxel(volume.extents, [&](auto const& p, std::size_t element) {
    int const slice = p[Transform::axesOf(plane).slice];
    if (slice < begin || slice >= end) expected.voxels()[element] = 0.25F;
  });
  requireSameBits(map, expected);
}

RC_GTEST_PROP(TransformProperties, InPlaceEqualsOutOfPlace, (Scene const& scene)) {
  auto map = scene.volume<float>();
  Plane const plane = anyPlane();
  Map const expected = transformed(map, plane);
  Transform transform;
  transform.setPlane(plane);
  transform.computeTwoSided(&map, &map);
  requireSameBits(map, expected);
}

RC_GTEST_PROP(TransformProperties, AllElementTypesAgree, (Scene const& scene, unsigned seed)) {
  auto const mask = scene.mask();
  Plane const plane = anyPlane();
  Map const expected = transformed(scene.volume<bool>(), plane);
  lorb::test::forEachElementType([&]<class T>(std::type_identity<T>) {
    std::mt19937 random(seed);
    requireSameBits(transformed(reference::volumeFromMask<T>(scene.counts(), mask, random), plane), expected);
  });
}

/// A generic dataset of the flags of `scene`.
void shape(Dataset& dataset, Scene const& scene, lorb::LORBElementType type) {
  reference::shape(dataset, scene.counts(), type);
  auto const mask = scene.mask();
  reference::forEachVoxel(scene.counts(), [&](auto const& position, std::size_t element) {
    dataset.setElement<signed char>(position, mask[element]);
  });
}

RC_GTEST_PROP(TransformProperties, GenericDatasetsAgreeWithTypedVolumes, (Scene const& scene)) {
  auto const type = *rc::gen::element(lorb::elementBool, lorb::elementUInt8, lorb::elementInt64,
                                      lorb::elementUInt64, lorb::elementFloat, lorb::elementDouble);
  Dataset input(true);
  Dataset output(false);
  shape(input, scene, type);
  reference::shape(output, scene.counts(), *rc::gen::element(lorb::elementFloat, lorb::elementDouble));
  Transform transform;
  transform.setPlane(anyPlane());
  transform.computeTwoSided(&input, &output);
  Map map(scene.counts());
  reference::forEachVoxel(scene.counts(), [&](auto const& position, std::size_t element) {
    map.voxels()[element] = output.getElement<float>(position);
  });
  requireSameBits(map, transformed(scene.volume<unsigned char>(), transform.plane));
}

}  // namespace
