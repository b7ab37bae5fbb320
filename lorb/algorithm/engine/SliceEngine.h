#pragma once

#include <lorb/algorithm/engine/AcrossSheets.h>
#include <lorb/algorithm/engine/AlongRows.h>
#include <lorb/algorithm/slices.h>

#include <cstdint>
#include <optional>

namespace lorb::engine {

/// Signed distances of slices on vector units. The way of the data:
///
///     voxels --readMask--> mask bits --scan--> distances along one axis --search along the other--> squares
///            --roots--> signed distances
///
/// The lanes of vectors run along x on every plane, so that nothing is turned round. Where rows of slices run
/// along x (XY, XZ), each slice is a sheet that is scanned along its rows (`AlongRows`). Where x runs across
/// the slices (YZ), each XY plane is a sheet, scanned from sheet to sheet (`AcrossSheets`).
class SliceEngine {
 public:
  /// Whether slices up to `end`, written up to `outEnd`, are taken. All others are the scalar kernels'
  /// affair: wide sums, outputs that round, voxels that share a place, processors without vectors.
  static bool takes(SliceReader const& in, SliceWriter const& out, std::int64_t outEnd);

  /// `squareRoots` is borrowed and must reach width² + height² − 1. Throws `std::bad_alloc`.
  SliceEngine(SliceReader& in, SliceWriter& out, std::int64_t slices, float const* squareRoots);

  /// Computes the slices from `first` up to `end`, written from `firstOut` on. Returns `end`, or the first
  /// slice that it does not take, see `AlongRows`.
  std::int64_t compute(std::int64_t first, std::int64_t end, std::int64_t firstOut);

 private:
  std::optional<AlongRows> along_;
  std::optional<AcrossSheets> across_;
};

}  // namespace lorb::engine
