// The whole transform against the literal procedure, against brute force and against itself.

#include "reference/bruteForce.h"
#include "reference/literalTransform.h"
#include "tests/ElementTypes.h"
#include "tests/onEveryTarget.h"
#include "tests/sameBits.h"

#include <lorb/algorithm/EuclideanDistanceTransform2D.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

using lorb::Dataset;
using lorb::TImageDataset;
using reference::Extents;
using reference::Filling;
using reference::sameBits;
using Transform = lorb::EuclideanDistanceTransform2D;

constexpr Transform::PlaneOrientationE allPlanes[] = {Transform::planeYZ, Transform::planeXZ,
                                                      Transform::planeXY};

// One voxel wide, high or deep; lopsided; powers of two and their neighbours; longer than any block.
std::vector<Extents> const shapes = {{1, 1, 1},    {1, 7, 5},   {7, 1, 5},    {7, 5, 1},   {2, 2, 2},
                                     {15, 16, 17}, {31, 33, 3}, {65, 17, 4},  {3, 64, 63}, {130, 5, 7},
                                     {5, 129, 2},  {257, 9, 3}, {20, 300, 3}, {2, 3, 511}, {600, 40, 2},
                                     {1100, 3, 2}, {64, 9, 5}};

template <class T>
class ExactnessTest : public testing::Test {};
TYPED_TEST_SUITE(ExactnessTest, lorb::test::ElementTypes, lorb::test::ElementTypeNames);

/// What the literal procedure makes of `volume`; further arguments are its own.
template <class T, class... Arguments>
TImageDataset<float, 3> literalMap(TImageDataset<T, 3> const& volume, Arguments... arguments) {
  auto map = reference::untouchedOutput(volume.extents);
  reference::literalTransform(volume, map, arguments...);
  return map;
}

template <class T>
void expectOnEveryTarget(Transform& transform, TImageDataset<T, 3> const& volume,
                         TImageDataset<float, 3> const& expected) {
  reference::onEveryTarget([&] {
    auto output = reference::untouchedOutput(volume.extents);
    transform.computeTwoSided(&volume, &output);
    EXPECT_TRUE(sameBits(output, expected));
  });
}

/// Calls `f(volume, plane, literal result)` on the full matrix of shapes, fillings and planes.
template <class T, class F>
void onEveryVolume(F f) {
  std::mt19937 random(20250310);
  for (Extents const& extents : shapes) {
    for (Filling const filling : reference::allFillings) {
      auto const mask = reference::randomMask(extents[0] * extents[1] * extents[2], filling, random);
      auto const volume = reference::volumeFromMask<T>(extents, mask, random);
      for (auto const plane : allPlanes) {
        auto const expected = literalMap(volume, plane);
        SCOPED_TRACE(testing::Message() << "plane " << plane << ", filling " << static_cast<int>(filling));
        f(volume, plane, expected);
      }
    }
  }
}

TYPED_TEST(ExactnessTest, TypedVolumesEqualTheLiteralProcedureWithEveryInstructionSet) {
  Transform transform;
  onEveryVolume<TypeParam>([&](auto const& volume, auto plane, auto const& expected) {
    transform.setPlane(plane);
    expectOnEveryTarget(transform, volume, expected);
  });
}

TYPED_TEST(ExactnessTest, SingleSlicesEqualTheLiteralProcedureAndLeaveTheOthersAlone) {
  Transform transform;
  onEveryVolume<TypeParam>([&](auto const& volume, auto plane, auto const&) {
    int const slices =
        static_cast<int>(volume.extents[static_cast<std::size_t>(Transform::axesOf(plane).slice)]);
    for (int const slice : {0, slices / 2, slices - 1}) {
      auto const expected = literalMap(volume, plane, slice);
      auto output = reference::untouchedOutput(volume.extents);
      transform.setPlane(plane);
      transform.computeTwoSided(&volume, &output, slice);
      EXPECT_TRUE(sameBits(output, expected)) << "slice " << slice;
    }
  });
}

TYPED_TEST(ExactnessTest, SlicesFromAnyOneOnEqualTheLiteralProcedure) {
  // YZ slices that begin anywhere in a cache line, in rows of whole lines and others.
  std::mt19937 random(38);
  for (std::uint64_t const nx : {192U, 131U}) {
    auto const volume = reference::volumeFromMask<TypeParam>(
        {nx, 20, 4}, reference::randomMask(nx * 20 * 4, Filling::half, random), random);
    auto expected = literalMap(volume, Transform::planeYZ);
    auto const untouched = reference::untouchedOutput(volume.extents);
    int const slices = static_cast<int>(nx);
    for (int first = 0; first <= 65; ++first) {
      SCOPED_TRACE(first);
      reference::onEveryTarget([&] {
        auto output = untouched;
        Transform().computeAllSlicesTwoSided(Transform::CIsliceYZ<TypeParam>{&volume, 20, 4, slices, first},
                                             Transform::IsliceYZ<float>{&output, 20, 4, slices, first});
        ASSERT_TRUE(sameBits(output, expected));
      });
      // The next call leaves this slice alone.
      for (std::uint64_t row = 0; row < 20U * 4U; ++row) {
        auto const voxel = row * nx + static_cast<std::uint64_t>(first);
        expected.voxels()[voxel] = untouched.voxels()[voxel];
      }
    }
  }
}

TYPED_TEST(ExactnessTest, GenericDatasetsEqualTheLiteralProcedure) {
  Transform transform;
  onEveryVolume<TypeParam>([&](auto const& volume, auto plane, auto const& typedExpected) {
    Dataset input(true);
    reference::shape(input, volume.extents, lorb::test::elementTypeOf<TypeParam>);
    Dataset output(true);
    reference::shape(output, volume.extents, lorb::elementDouble);
    reference::forEachVoxel(volume.extents, [&](auto const& position, std::size_t element) {
      input.setElement<TypeParam>(position, volume.pages[0].data[element]);
    });
    transform.setPlane(plane);
    transform.computeTwoSided(&input, &output);
    TImageDataset<float, 3> floats(volume.extents);
    reference::forEachVoxel(volume.extents, [&](auto const& position, std::size_t element) {
      floats.voxels()[element] = output.getElement<float>(position);
    });
    EXPECT_TRUE(sameBits(floats, typedExpected));
  });
}

TEST(ExactnessTest, InPlaceEqualsOutOfPlace) {
  Transform transform;
  onEveryVolume<float>([&](auto const& volume, auto plane, auto const& expected) {
    transform.setPlane(plane);
    reference::onEveryTarget([&] {
      auto output = volume;
      transform.computeTwoSided(&output, &output);
      EXPECT_TRUE(sameBits(output, expected));
    });
  });
}

/// A dataset of floats with the voxels of `volume`.
void fill(Dataset& data, TImageDataset<float, 3> const& volume) {
  reference::shape(data, volume.extents, lorb::elementFloat);
  reference::forEachVoxel(volume.extents, [&](auto const& position, std::size_t element) {
    data.setElement<float>(position, volume.voxels()[element]);
  });
}

TImageDataset<float, 3> voxelsOf(Dataset& data, Extents const& extents) {
  TImageDataset<float, 3> volume(extents);
  reference::forEachVoxel(extents, [&](auto const& position, std::size_t element) {
    volume.voxels()[element] = data.getElement<float>(position);
  });
  return volume;
}

TEST(ExactnessTest, GenericInPlaceEqualsOutOfPlace) {
  Transform transform;
  onEveryVolume<float>([&](auto const& volume, auto plane, auto const& expected) {
    Dataset data(true);
    fill(data, volume);
    transform.setPlane(plane);
    transform.computeTwoSided(&data, &data);
    EXPECT_TRUE(sameBits(voxelsOf(data, volume.extents), expected));
  });
}

TEST(ExactnessTest, SingleSlicesInPlaceEqualOutOfPlace) {
  Transform transform;
  onEveryVolume<float>([&](auto const& volume, auto plane, auto const&) {
    auto const slice = volume.extents[static_cast<std::size_t>(Transform::axesOf(plane).slice)] / 2;
    auto expected = volume;
    reference::literalTransform(volume, expected, plane, static_cast<int>(slice));
    transform.setPlane(plane);

    auto typed = volume;
    transform.computeTwoSided(&typed, &typed, static_cast<int>(slice));
    EXPECT_TRUE(sameBits(typed, expected));

    Dataset generic(true);
    fill(generic, volume);
    transform.computeTwoSided(&generic, &generic, static_cast<int>(slice));
    EXPECT_TRUE(sameBits(voxelsOf(generic, volume.extents), expected));
  });
}

TYPED_TEST(ExactnessTest, SingleSlicesOfGenericDatasetsLeaveTheOthersAlone) {
  Transform transform;
  onEveryVolume<TypeParam>([&](auto const& volume, auto plane, auto const&) {
    auto const slice = volume.extents[static_cast<std::size_t>(Transform::axesOf(plane).slice)] - 1;
    auto const expected = literalMap(volume, plane, static_cast<int>(slice));

    Dataset input(true);
    reference::shape(input, volume.extents, lorb::test::elementTypeOf<TypeParam>);
    reference::forEachVoxel(volume.extents, [&](auto const& position, std::size_t element) {
      input.setElement<TypeParam>(position, volume.pages[0].data[element]);
    });
    Dataset output(true);
    fill(output, reference::untouchedOutput(volume.extents));
    transform.setPlane(plane);
    transform.computeTwoSided(&input, &output, static_cast<int>(slice));
    EXPECT_TRUE(sameBits(voxelsOf(output, volume.extents), expected));
  });
}

TEST(ExactnessTest, GenericOutputsOfEveryTypeEqualTheLiteralProcedure) {
  // Integer outputs round the distances, which the second kernel then reads back: the one-slice
  // computation takes any output type.
  std::mt19937 random(7);
  for (auto const type : {
#define LORB_CODE(id, code, T, name) lorb::element##name,
           LORB_FOR_EACH_ELEMENT_TYPE(LORB_CODE)
#undef LORB_CODE
       }) {
    // The wider ones go through the kernels in several blocks of columns.
    for (auto const& [extents, plane] :
         {std::pair<Extents, Transform::PlaneOrientationE>{{13, 11, 3}, Transform::planeXY},
          {{13, 11, 3}, Transform::planeXZ},
          {{13, 11, 3}, Transform::planeYZ},
          {{1030, 7, 2}, Transform::planeXY}}) {
      auto const mask = reference::randomMask(extents[0] * extents[1] * extents[2], Filling::sparse, random);
      Dataset input(true);
      Dataset output(true);
      Dataset expected(true);
      reference::shape(input, extents, lorb::elementInt16);
      reference::shape(output, extents, type);
      reference::shape(expected, extents, type);
      reference::forEachVoxel(extents, [&](auto const& position, std::size_t element) {
        input.setElement<short>(position, reference::randomValue<short>(mask[element] != 0, random));
        output.setElement<int>(position, 77);
        expected.setElement<int>(position, 77);
      });
      reference::literalTransform(input, expected, plane, 1);
      Transform transform;
      transform.setPlane(plane);
      transform.computeTwoSided(static_cast<Dataset const*>(&input), &output, 1);
      reference::forEachVoxel(extents, [&](auto const& position, std::size_t) {
        EXPECT_EQ(output.getElement<double>(position), expected.getElement<double>(position))
            << "type " << type;
      });
    }
  }
}

TEST(ExactnessTest, GenericInputsAreComparedAsFloats) {
  // Too small for a float: inside for the typed path, outside for the generic one.
  Dataset input(true);
  Dataset output(true);
  reference::shape(input, {3, 3, 1}, lorb::elementDouble);
  reference::shape(output, {3, 3, 1}, lorb::elementFloat);
  TImageDataset<double, 3> volume({3, 3, 1});
  input.setElement<double>({1, 1, 0, 0, 0}, 1e-300);
  volume(1, 1, 0) = 1e-300;
  TImageDataset<float, 3> map({3, 3, 1});
  Transform transform;
  transform.computeTwoSided(&input, &output);
  transform.computeTwoSided(&volume, &map);
  EXPECT_EQ(output.getElement<float>({1, 1, 0, 0, 0}), 18.0F);
  EXPECT_EQ(map(1, 1, 0), -1.0F);
}

// --- beyond the whole numbers that single precision holds --------------------------------------------

/// A few inside and outside patches, so that distances become as long as the slice allows.
template <class T>
TImageDataset<T, 3> patches(Extents const& extents, unsigned seed, int count) {
  TImageDataset<T, 3> volume(extents);
  std::mt19937 random(seed);
  bool const background = seed % 2 != 0;
  auto& data = volume.pages[0].data;
  std::fill(data.begin(), data.end(), static_cast<T>(background));
  for (int k = 0; k < count; ++k) data[random() % data.size()] = static_cast<T>(!background);
  return volume;
}

TEST(ExactnessTest, RoundsLikeTheLiteralProcedureBeyondSinglePrecision) {
  std::vector<Extents> const large = {
      {3, 5000, 1}, {5000, 3, 1}, {17, 6001, 1}, {3000, 2900, 1}, {1, 9000, 2}};
  unsigned seed = 1;
  for (Extents const& extents : large) {
    for (int const count : {1, 3, 40}) {
      ++seed;
      auto const volume = patches<unsigned char>(extents, seed, count);
      auto const expected = literalMap(volume, Transform::planeXY);
      Transform transform;
      SCOPED_TRACE(testing::Message() << "seed " << seed);
      expectOnEveryTarget(transform, volume, expected);
    }
  }
}

TEST(ExactnessTest, LongFarRunsInSlicesBeyondSinglePrecision) {
  // One column apart from all others, at widths around whole vectors: far from everything, to the last voxel.
  for (std::uint64_t const width : {4096U, 4097U, 4110U}) {
    for (std::uint64_t const height : {2U, 4200U}) {
      if (width > 4096 && height > 2) continue;
      TImageDataset<short, 3> volume({width, height, 1});
      std::fill(volume.voxels().begin(), volume.voxels().end(), short{1});
      for (std::uint64_t y = 0; y < height; ++y) volume(0, y, 0) = 0;
      auto const expected = literalMap(volume, Transform::planeXY);
      Transform transform;
      SCOPED_TRACE(testing::Message() << width << " x " << height);
      expectOnEveryTarget(transform, volume, expected);
    }
  }
}

TEST(ExactnessTest, RowsWithManyFarGroupsEqualTheLiteralProcedure) {
  // Teeth in every 60th row of wide slices: groups of far voxels with near ones between.
  for (std::uint64_t const gap : {96U, 150U, 200U, 333U}) {
    TImageDataset<unsigned char, 3> volume({2000, 130, 1});
    std::fill(volume.voxels().begin(), volume.voxels().end(), static_cast<unsigned char>(1));
    for (std::uint64_t y = 7; y < 130; y += 60) {
      for (std::uint64_t x = gap / 3; x < 2000; x += gap) volume(x, y, 0) = 0;
    }
    auto const expected = literalMap(volume, Transform::planeXY);
    Transform transform;
    SCOPED_TRACE(gap);
    expectOnEveryTarget(transform, volume, expected);
  }
}

TEST(ExactnessTest, NearestSitesFarApartEqualTheLiteralProcedure) {
  // Between walls, what is nearest changes from the one to the other from one position to the next.
  for (std::uint64_t const width : {700U, 1600U, 5000U}) {
    TImageDataset<unsigned char, 3> volume({width, 40, 1});
    for (std::uint64_t y = 0; y < 40; ++y) volume(y / 9, y, 0) = volume(width - 1 - y / 5, y, 0) = 1;
    auto const expected = literalMap(volume, Transform::planeXY);
    Transform transform;
    SCOPED_TRACE(width);
    expectOnEveryTarget(transform, volume, expected);
  }
}

TEST(ExactnessTest, FarBlocksThatComeNearFromRowToRowEqualTheLiteralProcedure) {
  // Along slanted lines, blocks of every phase are far in one row and near in the next.
  std::mt19937 random(36);
  TImageDataset<unsigned char, 3> volume({500, 260, 3});
  for (std::uint64_t z = 0; z < 3; ++z) {
    for (int k = 0; k < 4; ++k) {
      auto const x0 = std::uniform_int_distribution<int>(0, 499)(random);
      auto const y0 = std::uniform_int_distribution<int>(0, 259)(random);
      auto const slope = std::uniform_int_distribution<int>(-3, 3)(random);
      for (int y = 0; y < 260; ++y) {
        int const x = x0 + slope * (y - y0);
        if (x >= 0 && x < 500) volume(std::uint64_t(x), std::uint64_t(y), z) = 1;
      }
    }
  }
  for (auto const plane : allPlanes) {
    auto const expected = literalMap(volume, plane);
    Transform transform;
    transform.setPlane(plane);
    SCOPED_TRACE(testing::Message() << "plane " << plane);
    expectOnEveryTarget(transform, volume, expected);
  }
}

/// `count` slices of plane YZ that repeat those of `few`.
template <class T>
TImageDataset<T, 3> repeated(TImageDataset<T, 3> const& few, std::uint64_t count) {
  auto const [period, ny, nz] = few.extents;
  TImageDataset<T, 3> many({count, ny, nz});
  for (std::uint64_t row = 0; row < ny * nz; ++row) {
    auto const from = few.voxels().begin() + static_cast<std::ptrdiff_t>(row * period);
    auto const to = many.voxels().begin() + static_cast<std::ptrdiff_t>(row * count);
    for (std::uint64_t x = 0; x < count; ++x) to[std::ptrdiff_t(x)] = from[std::ptrdiff_t(x % period)];
  }
  return many;
}

TEST(ExactnessTest, FarBlocksBetweenNearOnesEqualTheLiteralProcedure) {
  // In row 70 the left columns are 66 rows away from what is inside, those in the middle far and known to be
  // so from row 71, the right ones 65 rows away and less from the last columns. However blocks are paired up,
  // each is near or far for itself.
  for (std::uint64_t const offset : {0U, 8U, 16U, 24U}) {
    std::uint64_t const middle = offset + 32, right = middle + 64, gap = right + 32, last = gap + 40;
    TImageDataset<unsigned char, 3> volume({last + 4, 140, 1});
    for (std::uint64_t x = 0; x < middle; ++x) volume(x, 136, 0) = 1;
    for (std::uint64_t x = right; x < gap; ++x) volume(x, 5, 0) = 1;
    for (std::uint64_t y = 40; y < 100; ++y) volume(last, y, 0) = 1;
    auto const expected = literalMap(volume, Transform::planeXY);
    Transform transform;
    transform.setPlane(Transform::planeXY);
    SCOPED_TRACE(offset);
    expectOnEveryTarget(transform, volume, expected);
  }
}

TEST(ExactnessTest, SidesThatChangeFromRowToRowEqualTheLiteralProcedure) {
  // Every block of every row ends a run; the slice between, without a boundary, is never read back.
  TImageDataset<unsigned char, 3> volume({65, 300, 3});
  for (std::uint64_t y = 0; y < 300; y += 2) {
    for (std::uint64_t x = 0; x < 65; ++x) volume(x, y, 0) = volume(x, y + 1, 2) = 1;
  }
  Transform transform;
  expectOnEveryTarget(transform, volume, literalMap(volume, Transform::planeXY));
}

TEST(ExactnessTest, VolumesLargerThanCachesEqualTheLiteralProcedure) {
  // In rows of whole cache lines, and in others.
  std::mt19937 random(35);
  auto const few = reference::volumeFromMask<unsigned char>(
      {37, 80, 3}, reference::randomMask(37 * 80 * 3, Filling::half, random), random);
  auto const literal = literalMap(few, Transform::planeYZ);
  for (std::uint64_t const count : {20000U, 20001U}) {
    auto const volume = repeated(few, count);
    auto const expected = repeated(literal, count);
    Transform transform;
    transform.setPlane(Transform::planeYZ);
    SCOPED_TRACE(count);
    expectOnEveryTarget(transform, volume, expected);
  }
}

TEST(ExactnessTest, RoundsAlikeOnEveryPlane) {
  auto const volume = patches<short>({6, 1, 5200}, 4, 3);
  for (auto const plane : allPlanes) {
    auto const expected = literalMap(volume, plane);
    auto output = reference::untouchedOutput(volume.extents);
    Transform transform;
    transform.setPlane(plane);
    transform.computeTwoSided(&volume, &output);
    EXPECT_TRUE(sameBits(output, expected)) << "plane " << plane;
  }
}

TEST(ExactnessTest, DistancesOfEveryLengthEqualTheLiteralProcedure) {
  // Smooth shapes and lone voxels in slices of several hundred voxels: neighbours near, far, and in between.
  std::mt19937 random(31);
  for (int const side : {97, 128, 200, 333, 512}) {
    for (int const voxels : {1, 2, 5, 30}) {
      auto const n = static_cast<std::uint64_t>(side);
      TImageDataset<unsigned char, 3> volume({n, n, 2});
      for (int k = 0; k < voxels; ++k) {
        auto const place = [&](int low, int high) {
          return std::uniform_int_distribution<int>(low, high)(random);
        };
        int const radius = place(0, side / 5), cx = place(0, side - 1), cy = place(0, side - 1);
        for (int y = std::max(0, cy - radius); y <= std::min(side - 1, cy + radius); ++y) {
          for (int x = std::max(0, cx - radius); x <= std::min(side - 1, cx + radius); ++x) {
            if ((x - cx) * (x - cx) + (y - cy) * (y - cy) > radius * radius) continue;
            volume(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y), 0) = 1;
          }
        }
      }
      for (std::size_t k = 0; k < n * n; ++k) volume.voxels()[n * n + k] = volume.voxels()[k] == 0;
      auto const expected = literalMap(volume, Transform::planeXY);
      Transform transform;
      SCOPED_TRACE(testing::Message() << side << ", " << voxels);
      expectOnEveryTarget(transform, volume, expected);
    }
  }
}

TEST(ExactnessTest, DistancesComeFromTheTable) {
  // A host may have put other values into the table than roots; they are what is written.
  std::mt19937 random(3);
  auto const mask = reference::randomMask(90 * 80, Filling::sparse, random);
  auto const volume = reference::volumeFromMask<bool>({90, 80, 1}, mask, random);
  TImageDataset<float, 3> roots(volume.extents);
  TImageDataset<float, 3> squares(volume.extents);
  for (int const first : {1, 2, 100}) {
    Transform transform;
    transform.computeTwoSided(&volume, &roots);
    for (int k = first; k <= transform.sqrtTable.maxIndex; ++k)
      transform.sqrtTable.values[k] = static_cast<float>(k);
    reference::onEveryTarget([&] {
      transform.computeTwoSided(&volume, &squares);
      for (std::size_t k = 0; k < mask.size(); ++k) {
        float const distance = roots.voxels()[k];
        float const square = std::round(distance * distance);
        EXPECT_EQ(squares.voxels()[k],
                  square < static_cast<float>(first) ? distance : std::copysign(square, distance));
      }
    });
  }
}

TEST(ExactnessTest, DistancesComeFromTheTableHoweverLong) {
  // From row to row they grow beyond all that has been looked at before.
  TImageDataset<unsigned char, 3> volume({300, 260, 1});
  volume(299, 259, 0) = 1;
  TImageDataset<float, 3> map(volume.extents);
  Transform transform;
  transform.sqrtTable.init(300 * 300 + 260 * 260);
  for (int k = 0; k <= transform.sqrtTable.maxIndex; ++k)
    transform.sqrtTable.values[k] = static_cast<float>(k);
  reference::onEveryTarget([&] {
    transform.computeTwoSided(&volume, &map);
    reference::forEachVoxel(volume.extents, [&](auto const& p, std::size_t element) {
      int const dx = p[0] - 299, dy = p[1] - 259;
      if (element + 1 < volume.voxels().size()) {
        ASSERT_EQ(map.voxels()[element], static_cast<float>(dx * dx + dy * dy)) << p[0] << ", " << p[1];
      }
    });
  });
}

TEST(ExactnessTest, EveryEntryOfTheTableCounts) {
  // One entry after the other is no root, at last none is but that of 0.
  TImageDataset<unsigned char, 3> volume({140, 5, 1});
  volume(3, 2, 0) = 1;
  Transform transform;
  transform.sqrtTable.init(140 * 140 + 5 * 5);
  float* const table = transform.sqrtTable.values;
  auto const expectMapOfTable = [&] {
    auto const expected = literalMap(volume, Transform::planeXY, -1, table);
    expectOnEveryTarget(transform, volume, expected);
  };
  for (int dy = 0; dy <= 2; ++dy) {
    for (int dx = dy == 0 ? 1 : 0; dx <= 136; ++dx) {
      SCOPED_TRACE(dx * dx + dy * dy);
      float& entry = table[dx * dx + dy * dy];
      float const root = std::exchange(entry, entry + 0.25F);
      expectMapOfTable();
      entry = root;
    }
  }
  for (int k = 1; k <= transform.sqrtTable.maxIndex; ++k) table[k] += 0.25F;
  expectMapOfTable();
}

TEST(ExactnessTest, TheEntryBehindThoseComparedCounts) {
  // Distances in the first slice reach 70, for which twice as many entries are compared with roots: up to
  // 2 · 70² + 1 = 99², the largest distance in the second.
  TImageDataset<unsigned char, 3> volume({100, 2, 2});
  for (std::uint64_t y = 0; y < 2; ++y) volume(70, y, 0) = volume(99, y, 1) = 1;
  Transform transform;
  transform.sqrtTable.init(100 * 100 + 2 * 2);
  transform.sqrtTable.values[99 * 99] = 100.0F;
  auto const expected = literalMap(volume, Transform::planeXY, -1, transform.sqrtTable.values);
  expectOnEveryTarget(transform, volume, expected);
}

// --- brute force -------------------------------------------------------------------------------------

bool hasBoundary(std::vector<char> const& mask, int width) {
  auto const second = mask.begin() + width;
  return std::find(second, mask.end(), 0) != mask.end() && std::find(second, mask.end(), 1) != mask.end();
}

TEST(ExactnessTest, EqualsBruteForceOnEverySmallMask) {
  Transform transform;
  for (int width = 1; width <= 16; ++width) {
    for (int height = 1; width * height <= 16; ++height) {
      auto const area = static_cast<std::size_t>(width * height);
      std::uint64_t const masks = std::uint64_t{1} << area;
      // One mask a slice.
      TImageDataset<unsigned char, 3> volume(
          {static_cast<std::uint64_t>(width), static_cast<std::uint64_t>(height), masks});
      for (std::uint64_t bits = 0; bits < masks; ++bits) {
        for (std::size_t k = 0; k < area; ++k) volume.voxels()[bits * area + k] = bits >> k & 1;
      }
      TImageDataset<float, 3> output(volume.extents);
      transform.computeTwoSided(&volume, &output);

      std::vector<char> mask(area);
      std::vector<float> expected(area);
      for (std::uint64_t bits = 0; bits < masks; ++bits) {
        for (std::size_t k = 0; k < area; ++k) mask[k] = bits >> k & 1;
        if (hasBoundary(mask, width)) {
          expected = reference::bruteForce(mask, width, height);
        } else {
          auto const n = static_cast<float>(width * width + height * height);
          std::fill(expected.begin(), expected.end(), mask[0] ? -n : n);
        }
        ASSERT_EQ(std::memcmp(&output.voxels()[bits * area], expected.data(), area * sizeof(float)), 0)
            << width << " x " << height << ", mask " << bits;
      }
    }
  }
}

TEST(ExactnessTest, TransposingTheVolumeTransposesTheResult) {
  std::mt19937 random(99);
  Extents const extents = {23, 18, 31};
  auto const volume = reference::volumeFromMask<int>(
      extents, reference::randomMask(23 * 18 * 31, Filling::half, random), random);
  // y and z change places: slices of constant y become slices of constant z.
  TImageDataset<int, 3> transposed({extents[0], extents[2], extents[1]});
  reference::forEachVoxel(extents, [&](auto const& p, std::size_t element) {
    transposed(static_cast<std::uint64_t>(p[0]), static_cast<std::uint64_t>(p[2]),
               static_cast<std::uint64_t>(p[1])) = volume.voxels()[element];
  });
  TImageDataset<float, 3> map(extents);
  TImageDataset<float, 3> transposedMap(transposed.extents);
  Transform transform;
  transform.setPlane(Transform::planeXZ);
  transform.computeTwoSided(&volume, &map);
  transform.setPlane(Transform::planeXY);
  transform.computeTwoSided(&transposed, &transposedMap);
  reference::forEachVoxel(extents, [&](auto const& p, std::size_t element) {
    EXPECT_EQ(map.voxels()[element],
              transposedMap(static_cast<std::uint64_t>(p[0]), static_cast<std::uint64_t>(p[2]),
                            static_cast<std::uint64_t>(p[1])));
  });
  // x, y, z become z, x, y: slices of constant x become slices of constant z.
  TImageDataset<int, 3> rolled({extents[1], extents[2], extents[0]});
  reference::forEachVoxel(extents, [&](auto const& p, std::size_t element) {
    rolled(static_cast<std::uint64_t>(p[1]), static_cast<std::uint64_t>(p[2]),
           static_cast<std::uint64_t>(p[0])) = volume.voxels()[element];
  });
  TImageDataset<float, 3> rolledMap(rolled.extents);
  transform.computeTwoSided(&rolled, &rolledMap);
  transform.setPlane(Transform::planeYZ);
  transform.computeTwoSided(&volume, &map);
  reference::forEachVoxel(extents, [&](auto const& p, std::size_t element) {
    EXPECT_EQ(map.voxels()[element],
              rolledMap(static_cast<std::uint64_t>(p[1]), static_cast<std::uint64_t>(p[2]),
                        static_cast<std::uint64_t>(p[0])));
  });
}

}  // namespace
