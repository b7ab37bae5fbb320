#pragma once

#include <cstdint>
#include <memory>

/// The two passes of the separable distance transform on plain buffers, for voxels of any type.
namespace lorb::passes {

/// Squared distances along the columns of a block of up to `width` neighbouring columns, row by row,
/// all columns in step. The sums are taken in single precision in this very order: beyond 2²⁴ their
/// rounding is part of the result.
struct ColumnBlock {
  static constexpr int width = 512;

  /// Row 0: `infinity` where a distance is needed.
  void start(std::uint8_t const* inside, int count, float infinity);
  /// Downwards: `values` goes from the previous row's distances to this row's.
  void stepDown(std::uint8_t const* inside, int count);
  /// Begins the way up from the last row, whose distances are in `values`.
  void turn();
  /// Upwards: `values` goes from the row below to this row, whose way down gave `fromAbove`.
  void stepUp(float const* fromAbove, int count);

  float values[width];
  int increments[width];  // what leads from one square to the next: 1, 3, 5, …
};

/// The lower envelope of parabolas over one row: second phase of Meijster, Roerdink and Hesselink.
class RowEnvelope {
 public:
  /// Throws `std::bad_alloc`, for a negative width `std::bad_array_new_length`.
  explicit RowEnvelope(int width);

  /// distances[u] = min over s of columnDistances[s] + (u − s)², all unsigned 32-bit. The width is at
  /// least 1.
  void squaredDistances(std::uint32_t const* columnDistances, std::uint32_t* distances);

  /// The site whose parabola gave distances[0] of the last row.
  int firstSite() const { return static_cast<int>(sites_[0]); }

 private:
  int width_;
  std::unique_ptr<std::uint32_t[]> sites_;   // columns of the parabolas on the envelope
  std::unique_ptr<std::uint32_t[]> starts_;  // the first position at which each is the lowest
};

}  // namespace lorb::passes
