#include "tools/makeMap.h"

#include "tests/tools/TemporaryFolder.h"
#include "tests/tools/sampleVolumes.h"
#include "tools/base/errors.h"
#include "tools/map/slabPlan.h"
#include "tools/volume/VolumeFile.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <utility>

namespace lorb::tools {
namespace {

using Transform = EuclideanDistanceTransform2D;

/// A volume in memory that counts what is read of it.
class CountedSource : public VolumeSource {
 public:
  explicit CountedSource(Volume volume = sampleVolume(typeInt16, {11, 9, 10})) : volume_(std::move(volume)) {
    header_.type = typeInt16;
    header_.extents = extentsOf(*volume_.voxels);
    header_.geometry = volume_.geometry;
  }
  VolumeHeader const& header() const override { return header_; }
  bool readsParts() const override { return true; }
  std::uint64_t workBytes(Region const&) const override { return 0; }
  std::unique_ptr<ImageDataset> read(Region const& region) override {
    ++reads;
    auto result = std::make_unique<TImageDataset<short, 3>>(region.size);
    auto const& all = static_cast<TImageDataset<short, 3> const&>(*volume_.voxels);
    for (std::uint64_t z = 0; z < region.size[2]; ++z) {
      for (std::uint64_t y = 0; y < region.size[1]; ++y) {
        for (std::uint64_t x = 0; x < region.size[0]; ++x) {
          (*result)(x, y, z) = all(region.begin[0] + x, region.begin[1] + y, region.begin[2] + z);
        }
      }
    }
    return result;
  }

  int reads = 0;

 private:
  Volume volume_;
  VolumeHeader header_;
};

MapSummary makeInSlabs(CountedSource& source, std::filesystem::path const& target,
                       MapSettings const& settings, SlabPlan const& plan, SlicesDone const& done = {}) {
  source.reads = 0;
  Slabs slabs(source, settings.choice.plane, plan);
  Targets targets(true);
  bool const inOrder = slabs.count() == 1 || settings.choice.plane == Transform::planeXY;
  MapWriter writer(targets.add(target), source.header(), inOrder ? PieceOrder::memory : PieceOrder::any,
                   defaultCompression);
  Phases phases;
  MapSummary const summary = makeMap(slabs, {}, settings, writer, phases, done);
  EXPECT_EQ(source.reads, int(slabs.count()));
  writer.finish();
  targets.putInPlace();
  return summary;
}

class SlabBySlab : public testing::TestWithParam<Plane> {};
INSTANTIATE_TEST_SUITE_P(EveryPlane, SlabBySlab,
                         testing::Values(Transform::planeXY, Transform::planeXZ, Transform::planeYZ));

/// What of the map's object is in the planes x = 0, y = 0 and z = 0, and so in row 0 of slices.
Volume volumeWithFacesAlone() {
  Volume volume = sampleVolume(typeInt16, {11, 9, 10});
  auto& voxels = static_cast<TImageDataset<short, 3>&>(*volume.voxels);
  for (std::uint64_t z = 1; z < 10; ++z) {
    for (std::uint64_t y = 1; y < 9; ++y) {
      for (std::uint64_t x = 1; x < 11; ++x) voxels(x, y, z) = 0;
    }
  }
  return volume;
}

void expectSameInSlabs(CountedSource source, Plane plane) {
  TemporaryFolder const folder;
  for (std::optional<int> const slice : {std::optional<int>(), std::optional(0), std::optional(7)}) {
    MapSettings settings;
    settings.choice = {plane, slice};
    MapSummary const whole = makeInSlabs(source, folder / "whole.mha", settings, {100});
    Volume const expected = readVolume(folder / "whole.mha");
    for (std::uint64_t const slices : {1U, 3U, 8U}) {
      std::atomic<std::uint64_t> done = 0;
      MapSummary const summary = makeInSlabs(source, folder / "slabs.mha", settings, {slices, slices},
                                             [&](std::uint64_t n) { done += n; });
      Volume const map = readVolume(folder / "slabs.mha");
      EXPECT_TRUE(equalVoxels(*map.voxels, *expected.voxels)) << slices;
      EXPECT_EQ(map.geometry.origin, expected.geometry.origin);
      EXPECT_EQ(summary.count.inside, whole.count.inside);
      EXPECT_EQ(summary.count.all, whole.count.all);
      ASSERT_EQ(summary.slices.size(), whole.slices.size());
      EXPECT_EQ(done, whole.slices.size());
      for (std::size_t k = 0; k < whole.slices.size(); ++k) {
        EXPECT_EQ(summary.slices[k].slice, whole.slices[k].slice);
        EXPECT_EQ(summary.slices[k].least, whole.slices[k].least);
        EXPECT_EQ(summary.slices[k].hasBoundary, whole.slices[k].hasBoundary);
      }
    }
  }
  EXPECT_EQ(folder.names(), (std::set<std::string>{"slabs.mha", "whole.mha"}));
}

TEST_P(SlabBySlab, TheMapIsThatOfTheWhole) {
  expectSameInSlabs(CountedSource(), GetParam());
}

TEST_P(SlabBySlab, ObjectsInRowZeroAloneHaveTheMapOfTheWhole) {
  expectSameInSlabs(CountedSource(volumeWithFacesAlone()), GetParam());
}

/// The slice that is chosen counts alone, in every plane.
TEST_P(SlabBySlab, CountsTheVoxelsInsideOfTheChosenSlices) {
  TemporaryFolder const folder;
  Volume sparse = sampleVolume(typeInt16, {11, 9, 10});
  auto& voxels = static_cast<TImageDataset<short, 3>&>(*sparse.voxels);
  for (auto& voxel : voxels.voxels()) voxel = 0;
  voxels(0, 3, 4) = voxels(5, 3, 4) = voxels(5, 3, 6) = 1;
  CountedSource source(std::move(sparse));
  MapSettings settings;
  settings.choice.plane = GetParam();
  EXPECT_EQ(makeInSlabs(source, folder / "all.mha", settings, {4, 2}).count.inside, 3U);
  EXPECT_EQ(makeInSlabs(source, folder / "all.mha", settings, {4, 2}).count.all, 990U);
  for (auto const& [slice, inXY, inXZ, inYZ] :
       {std::array{0, 0, 0, 1}, std::array{3, 0, 3, 0}, std::array{4, 2, 0, 0}, std::array{5, 0, 0, 2}}) {
    settings.choice.slice = slice;
    int const byPlane[] = {inYZ, inXZ, inXY};
    MapSummary const summary = makeInSlabs(source, folder / "one.mha", settings, {4, 2});
    EXPECT_EQ(summary.count.inside, std::uint64_t(byPlane[GetParam()])) << slice;
    EXPECT_EQ(summary.count.all, 990 / sliceShape(source.header().extents, GetParam()).count);
  }
}

TEST(MapWriter, LeavesTheTargetAlone) {
  TemporaryFolder const folder;
  writeContent(folder / "a.mha", "older");
  {
    CountedSource source;
    Targets targets(true);
    MapWriter writer(targets.add(folder / "a.mha"), source.header(), PieceOrder::any, defaultCompression);
    Region const region = slabRegion(source.header().extents, Transform::planeXY, 0, 2);
    writer.append(writer.prepare(DistanceMap(region.size), region));
    EXPECT_EQ(contentOf(folder / "a.mha"), "older");
  }
  EXPECT_EQ(contentOf(folder / "a.mha"), "older");
  EXPECT_EQ(folder.names(), std::set<std::string>{"a.mha"});
}

TEST(Maps, AreTheSameFilesHoweverTheyAreMade) {
  TemporaryFolder const folder;
  // Slices of 900 KiB are compressed one by one, smaller ones several together.
  for (Extents const& extents : {Extents{480, 480, 7}, Extents{90, 70, 100}}) {
    Volume volume = sampleVolume(typeInt16, extents);
    volume.geometry = Geometry();  // which every format can hold
    CountedSource source(std::move(volume));
    std::uint64_t const step = sliceStepOf(extents);
    for (char const* name : {"a.nii.gz", "a.nii", "a.mha", "a.nrrd", "a.vtk"}) {
      MapSettings settings;
      makeInSlabs(source, folder / name, settings, {extents[2], 1});
      std::string const whole = contentOf(folder / name);
      EXPECT_GT(whole.size(), 1000U);
      for (unsigned const threads : {1U, 2U, 5U}) {
        settings.threads = threads;
        for (std::uint64_t const inFlight : {1U, 3U}) {
          makeInSlabs(source, folder / name, settings, {step, inFlight});
          EXPECT_TRUE(contentOf(folder / name) == whole) << name << " " << threads << " " << inFlight;
        }
      }
    }
  }
}

TEST(Slabs, KeepTheVolumeOnDemand) {
  CountedSource source;
  Slabs kept(source, Transform::planeXY, {3, 1, true});
  for (std::uint64_t const slab : {0U, 3U, 1U}) {
    EXPECT_TRUE(equalVoxels(*kept.read(slab), *CountedSource().read(kept.region(slab)))) << slab;
  }
  EXPECT_EQ(source.reads, 1);
}

constexpr PieceRules inOrder = {true, true, 2}, asAWhole = {false, false, 1};

TEST(SlabPlan, FitsTheBudget) {
  CountedSource source;
  MapSettings settings;
  MemoryNeed const need = memoryNeed(source, settings, 0, asAWhole);
  EXPECT_EQ(slicesWithin(need.fixed, need), 0U);
  EXPECT_EQ(slicesWithin(need.fixed + 5 * need.perSlice, need), 5U);
  EXPECT_GE(need.whole, need.fixed + 990 * 12);
  MemoryNeed const more = memoryNeed(source, settings, 100, asAWhole);
  EXPECT_EQ(more.perSlice, need.perSlice + 99 * 100);
  EXPECT_EQ(more.whole, need.whole + 990 * 100);
}

TEST(SlabPlan, FliesWhereInputAndOutputAreInOrder) {
  CountedSource source(sampleVolume(typeInt16, {480, 480, 30}));  // maps of 900 KiB a slice
  MapSettings settings;
  settings.threads = 2;
  MemoryNeed const need = memoryNeed(source, settings, 0, inOrder);
  auto const plan = [&](std::uint64_t slices) {
    return *planSlabs(source, settings, inOrder, {need.fixed + slices * need.perSlice});
  };
  EXPECT_EQ(plan(1000).slices, 4U);
  EXPECT_EQ(plan(1000).inFlight, 4U);
  EXPECT_EQ(plan(9).slices, 4U);
  EXPECT_EQ(plan(9).inFlight, 2U);
  EXPECT_EQ(plan(3).slices, 2U);  // multiples of the step
  EXPECT_EQ(plan(3).inFlight, 1U);
  EXPECT_EQ(plan(1).slices, 0U);
  PlanWishes const again = {need.whole * 2, 0, false, true}, viewed = {need.whole * 2, 0, true, false};
  EXPECT_TRUE(planSlabs(source, settings, inOrder, again)->keepsVolume);
  EXPECT_EQ(planSlabs(source, settings, inOrder, viewed)->slices, 30U);
}

TEST(SlabPlan, TakesTheWholeElsewhere) {
  CountedSource source;
  MapSettings settings;
  std::uint64_t const whole = memoryNeed(source, settings, 0, asAWhole).whole;
  EXPECT_EQ(planSlabs(source, settings, asAWhole, {whole})->slices, 10U);
  EXPECT_EQ(planSlabs(source, settings, asAWhole, {whole - 1}), std::nullopt);
  settings.choice.plane = Transform::planeXZ;
  EXPECT_EQ(planSlabs(source, settings, inOrder, {whole})->slices, 9U);
  MemoryNeed const need = memoryNeed(source, settings, 0, inOrder);
  EXPECT_EQ(planSlabs(source, settings, inOrder, {need.fixed + 2 * need.perSlice})->slices, 2U);
}

}  // namespace
}  // namespace lorb::tools
