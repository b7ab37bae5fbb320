// Shape, element type, plane, instruction set and voxels: the typed and the generic path against the literal
// procedure, bit for bit.

#include <lorb/algorithm/EuclideanDistanceTransform2D.h>

#include <reference/literalTransform.h>
#include <tests/ElementTypes.h>
#include <tests/fuzz/fuzzing.h>
#include <tests/onEveryTarget.h>
#include <tests/sameBits.h>

#include <bit>

namespace {

using lorb::Dataset;
using lorb::TImageDataset;
using Transform = lorb::EuclideanDistanceTransform2D;

/// Lets the library use one of the instruction sets of this machine.
void useAnyTarget(FuzzedDataProvider& data) {
  reference::useTarget(0);
  std::int64_t rest = hwy::SupportedTargets();
  for (int skip = data.ConsumeIntegralInRange(0, 7); skip > 0 && (rest & (rest - 1)) != 0; --skip)
    rest &= rest - 1;
  reference::useTarget(rest & -rest);
}

template <class T>
void checkGeneric(TImageDataset<T, 3> const& volume, TImageDataset<float, 3> const& expected,
                  Transform& transform, int only) {
  Dataset input(false);
  Dataset output(true);
  reference::shape(input, volume.extents, lorb::test::elementTypeOf<T>);
  reference::shape(output, volume.extents, lorb::elementFloat);
  reference::forEachVoxel(volume.extents, [&](auto const& position, std::size_t element) {
    input.setElement<T>(position, volume.pages[0].data[element]);
    output.setElement<float>(position, 0.25F);
  });
  if (only < 0) {
    transform.computeTwoSided(&input, &output);
  } else {
    transform.computeTwoSided(static_cast<Dataset const*>(&input), &output, only);
  }
  reference::forEachVoxel(volume.extents, [&](auto const& position, std::size_t element) {
    fuzzing::require(output.getElement<float>(position) == expected.voxels()[element], "generic map differs");
  });
}

template <class T>
void check(FuzzedDataProvider& data) {
  // Long or wide or deep, but small enough for many a second.
  std::uint64_t left = 12000;
  reference::Extents extents;
  for (std::uint64_t& extent : extents) {
    extent = data.ConsumeIntegralInRange<std::uint64_t>(1, std::min<std::uint64_t>(left, 700));
    left /= extent;
  }
  auto const plane = data.ConsumeIntegralInRange(0, 2);
  bool const generic = data.ConsumeBool();
  bool const oneSlice = data.ConsumeBool();
  std::uint64_t const count = extents[0] * extents[1] * extents[2];
  auto const slices = reference::planeExtents(plane, static_cast<int>(extents[0]),
                                              static_cast<int>(extents[1]), static_cast<int>(extents[2]))
                          .slices;
  int const only = oneSlice ? data.ConsumeIntegralInRange(0, slices - 1) : -1;
  std::mt19937 random(data.ConsumeIntegral<std::uint8_t>());
  useAnyTarget(data);
  TImageDataset<T, 3> const volume =
      reference::volumeFromMask<T>(extents, fuzzing::flags(data, count), random);

  auto expected = reference::untouchedOutput(extents);
  reference::literalTransform(volume, expected, plane, only);
  auto map = reference::untouchedOutput(extents);
  Transform transform;
  transform.setPlane(static_cast<Transform::PlaneOrientationE>(plane));
  if (only < 0) {
    transform.computeTwoSided(&volume, &map);
  } else {
    transform.computeTwoSided(&volume, &map, only);
  }
  fuzzing::require(reference::sameBits(map, expected), "map differs");
  if (generic) checkGeneric(volume, expected, transform, only);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* bytes, std::size_t size) {
  FuzzedDataProvider data(bytes, size);
  fuzzing::withElementType(data, [&]<class T>(std::type_identity<T>) { check<T>(data); });
  return 0;
}
