#include "tools/makeMap.h"

#include "tests/tools/TemporaryFolder.h"
#include "tests/tools/sampleVolumes.h"
#include "tools/base/errors.h"
#include "tools/map/slabPlan.h"
#include "tools/volume/VolumeFile.h"

#include <gtest/gtest.h>

#include <atomic>

namespace lorb::tools {
namespace {

using Transform = EuclideanDistanceTransform2D;

/// A volume in memory that counts what is read of it.
class CountedSource : public VolumeSource {
 public:
  CountedSource() : volume_(sampleVolume(typeInt16, {11, 9, 10})) {
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

MapSummary makeInSlabs(std::filesystem::path const& target, MapSettings const& settings, std::uint64_t slices,
                       SlicesDone const& done = {}) {
  CountedSource source;
  Slabs slabs(source, settings.choice.plane, slices, false);
  Targets targets(true);
  MapWriter writer(targets.add(target), source.header(), slabs.count() > 1);
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

TEST_P(SlabBySlab, TheMapIsThatOfTheWhole) {
  TemporaryFolder const folder;
  for (std::optional<int> const slice : {std::optional<int>(), std::optional(0), std::optional(7)}) {
    MapSettings settings;
    settings.choice = {GetParam(), slice};
    MapSummary const whole = makeInSlabs(folder / "whole.mha", settings, 100);
    Volume const expected = readVolume(folder / "whole.mha");
    for (std::uint64_t const slices : {1U, 3U, 8U}) {
      std::atomic<std::uint64_t> done = 0;
      MapSummary const summary =
          makeInSlabs(folder / "slabs.mha", settings, slices, [&](std::uint64_t n) { done += n; });
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
      }
    }
  }
  EXPECT_EQ(folder.names(), (std::set<std::string>{"slabs.mha", "whole.mha"}));
}

TEST(MapWriter, LeavesTheTargetAlone) {
  TemporaryFolder const folder;
  writeContent(folder / "a.mha", "older");
  {
    CountedSource source;
    Targets targets(true);
    MapWriter writer(targets.add(folder / "a.mha"), source.header(), true);
    Region const region = slabRegion(source.header().extents, Transform::planeXY, 0, 2);
    writer.write(DistanceMap(region.size), region);
    EXPECT_EQ(contentOf(folder / "a.mha"), "older");
  }
  EXPECT_EQ(contentOf(folder / "a.mha"), "older");
  EXPECT_EQ(folder.names(), std::set<std::string>{"a.mha"});
}

TEST(Slabs, KeepTheLastOnDemand) {
  CountedSource source;
  Slabs kept(source, Transform::planeXY, 100, true);
  kept.read(0);
  kept.read(0);
  EXPECT_EQ(source.reads, 1);
}

TEST(SlabPlan, FitsTheBudget) {
  CountedSource source;
  MapSettings settings;
  MemoryNeed const need = memoryNeed(source, settings, 0);
  EXPECT_EQ(slicesWithin(need.fixed, need), 0U);
  EXPECT_EQ(slicesWithin(need.fixed + 5 * need.perSlice, need), 5U);
  EXPECT_GE(need.whole, need.fixed + 990 * 12);
  MemoryNeed const more = memoryNeed(source, settings, 100);
  EXPECT_EQ(more.perSlice, need.perSlice + 99 * 100);
  EXPECT_EQ(more.whole, need.whole + 990 * 100);
}

}  // namespace
}  // namespace lorb::tools
