#include "tools/map/slabPlan.h"

#include <algorithm>

namespace lorb::tools {
namespace {

/// Of the program and its libraries, measured at 60 MiB, with room for what allocators keep.
constexpr std::uint64_t programBytes = std::uint64_t{96} << 20;

constexpr std::uint64_t maskBytes = 1, mapBytes = 4;

std::uint64_t elementBytes(VolumeHeader const& header) {
  return header.type == typeNone ? 8 : bytesOf(header.type);
}

/// What the threads and their transforms take: a table of N + 1 roots, a slice of 32-bit numbers, and what
/// the slices take that the transform works on at a time.
std::uint64_t workBytes(SliceShape const& shape, MapSettings const& settings) {
  constexpr std::uint64_t bytes[] = {32, 2, 1};  // YZ (64 slices at a time), XZ, XY
  constexpr std::uint64_t rowBytes = 1200, callBytes = 128 << 10;
  std::uint64_t const voxels = shape.width * shape.height;
  std::uint64_t const rows = std::max(shape.width, shape.height);
  return settings.threads * (4 * (boundlessDistance(shape) + 1) +
                             voxels * (4 + bytes[settings.choice.plane]) + rows * rowBytes + callBytes);
}

/// Bytes of a map that a slab in flight has: few enough for the caches, enough for the overhead not to count.
constexpr std::uint64_t slabBytes = std::uint64_t{4} << 20;

/// Slabs in flight, of slices that are a multiple of the output's step. `slices` is 0 when not even one slab
/// fits.
SlabPlan planFlight(VolumeSource const& source, MapSettings const& settings, PieceRules const& rules,
                    PlanWishes const& wishes) {
  VolumeHeader const& header = source.header();
  SliceShape const shape = sliceShape(header.extents, settings.choice.plane);
  MemoryNeed const need = memoryNeed(source, settings, wishes.more, rules);
  std::uint64_t const volume = voxelCount(header.extents) * elementBytes(header);
  std::uint64_t const step = rules.sliceStep;
  std::uint64_t const stepBytes = step * shape.width * shape.height * mapBytes;
  SlabPlan plan;
  plan.slices = std::min(shape.count, step * std::max<std::uint64_t>(1, slabBytes / stepBytes));
  plan.inFlight = settings.threads == 1 ? 1 : settings.threads + 2;
  plan.inFlight = std::min(plan.inFlight, (shape.count + plan.slices - 1) / plan.slices);
  std::uint64_t budget = wishes.budget;
  if (wishes.readsAgain && need.fixed + volume + plan.slices * need.perSlice <= budget) {
    plan.keepsVolume = true;
    budget -= volume;
  }
  std::uint64_t const fitting = slicesWithin(budget, need);
  if (fitting >= plan.slices) {
    plan.inFlight = std::min(plan.inFlight, fitting / plan.slices);
  } else {
    plan.inFlight = 1;
    plan.slices = fitting / step * step;
  }
  return plan;
}

}  // namespace

MemoryNeed memoryNeed(VolumeSource const& source, MapSettings const& settings, std::uint64_t more,
                      PieceRules const& rules) {
  VolumeHeader const& header = source.header();
  SliceShape const shape = sliceShape(header.extents, settings.choice.plane);
  std::uint64_t const voxels = voxelCount(header.extents);
  Region const slice = slabRegion(header.extents, settings.choice.plane, 0, 1);

  // Volume and mask; then mask and map; then the map and what it is compressed to. A library that writes the
  // whole has it twice, and what is read back.
  std::uint64_t const reading = std::max(elementBytes(header) + maskBytes, maskBytes + mapBytes) + more;
  std::uint64_t const writing = 2 * mapBytes + more;
  std::uint64_t const writingWhole = (rules.inOrder ? 2 : 3) * mapBytes + more;

  MemoryNeed need;
  need.fixed = programBytes + workBytes(shape, settings);
  need.perSlice = std::max(shape.width * shape.height * reading + source.workBytes(slice),
                           shape.width * shape.height * writing);
  need.whole = need.fixed + std::max(voxels * reading + source.workBytes(wholeRegion(header.extents)),
                                     voxels * writingWhole);
  return need;
}

std::uint64_t slicesWithin(std::uint64_t budget, MemoryNeed const& need) {
  return budget > need.fixed ? (budget - need.fixed) / need.perSlice : 0;
}

std::optional<SlabPlan> planSlabs(VolumeSource const& source, MapSettings const& settings,
                                  PieceRules const& rules, PlanWishes const& wishes) {
  SliceShape const shape = sliceShape(source.header().extents, settings.choice.plane);
  bool const isXY = settings.choice.plane == EuclideanDistanceTransform2D::planeXY;
  bool const inOrder = isXY && source.readsInOrder() && rules.inOrder;
  if (inOrder && !wishes.viewed) return planFlight(source, settings, rules, wishes);
  MemoryNeed const need = memoryNeed(source, settings, wishes.more, rules);
  if (need.whole <= wishes.budget) return SlabPlan{shape.count, 1, wishes.readsAgain};
  if (!inOrder && !(source.readsParts() && rules.inAnyOrder)) return std::nullopt;
  std::uint64_t const step = inOrder ? rules.sliceStep : 1;
  return SlabPlan{std::min(slicesWithin(wishes.budget, need), shape.count) / step * step, 1, false};
}

Region slabRegion(Extents const& extents, Plane plane, std::uint64_t first, std::uint64_t count) {
  auto const axis = static_cast<std::size_t>(EuclideanDistanceTransform2D::axesOf(plane).slice);
  Region region = wholeRegion(extents);
  region.begin[axis] = first;
  region.size[axis] = std::min(count, extents[axis] - first);
  return region;
}

}  // namespace lorb::tools
