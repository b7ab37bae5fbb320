#include <lorb/algorithm/ScalarKernels.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

namespace lorb::scalar {

int squaredDiagonal(int width, int height) {
  auto const w = static_cast<unsigned>(width);
  auto const h = static_cast<unsigned>(height);
  return static_cast<int>(w * w + h * h);
}

namespace {

// --- column pass -------------------------------------------------------------------------------------

/// Squared distances along the columns of a block of up to `width` neighbouring columns, row by row, all
/// columns in step. The sums are taken in single precision in this very order: beyond 2²⁴ their rounding is
/// part of the result.
struct ColumnBlock {
  static constexpr int width = 512;

  /// Row 0: `infinity` where a distance is needed.
  void start(std::uint8_t const* inside, int count, float infinity) {
    for (int i = 0; i < count; ++i) values[i] = inside[i] ? infinity : 0.0F;
    std::fill_n(increments, count, 1);
  }

  /// Downwards: `values` goes from the previous row's distances to this row's.
  void stepDown(std::uint8_t const* inside, int count) {
    for (int i = 0; i < count; ++i) {
      float const sum = values[i] + static_cast<float>(increments[i]);
      values[i] = inside[i] ? sum : 0.0F;
      increments[i] = inside[i] ? increments[i] + 2 : 1;
    }
  }

  /// Begins the way up from the last row, whose distances are in `values`.
  void turn() { std::fill_n(increments, width, 1); }

  /// Upwards: `values` goes from the row below to this row, whose way down gave `fromAbove`.
  void stepUp(float const* fromAbove, int count) {
    for (int i = 0; i < count; ++i) {
      // The neighbour itself is compared, not the neighbour plus its increment: for squares of whole numbers
      // that gives the minimum of both ways, and rounding keeps the same order everywhere.
      bool const nearerBelow = fromAbove[i] > values[i];
      float const sum = values[i] + static_cast<float>(increments[i]);
      values[i] = nearerBelow ? sum : fromAbove[i];
      increments[i] = nearerBelow ? increments[i] + 2 : 1;
    }
  }

  float values[width];
  int increments[width];  // what leads from one square to the next: 1, 3, 5, …
};

/// What the rows from 1 on hold. Row 0 gives no evidence of a boundary.
struct Evidence {
  bool allInside = true;
  bool allOutside = true;

  void add(std::uint8_t const* inside, int count) {
    auto const outsideCount = std::count(inside, inside + count, std::uint8_t{0});
    if (outsideCount > 0) allInside = false;
    if (outsideCount < count) allOutside = false;
  }
  bool hasBoundary() const { return !allInside && !allOutside; }
};

/// Squared distances of inside voxels along columns into `scratch`, 0 at outside voxels. A column without
/// outside voxels holds width² + height² and more.
Evidence columnPass(SliceReader& in, std::int64_t slice, DatasetSlice& scratch) {
  int const width = in.width, height = in.height;
  auto const infinity = static_cast<float>(squaredDiagonal(width, height));
  Evidence evidence;
  ColumnBlock block;
  std::uint8_t inside[ColumnBlock::width];
  float fromAbove[ColumnBlock::width];

  for (int begin = 0; begin < width; begin += ColumnBlock::width) {
    int const count = std::min(width - begin, ColumnBlock::width);

    auto const size = static_cast<std::size_t>(count);

    // 1: downwards, counting from the last outside voxel above
    in.row(slice, 0, begin, count).getInside(size, inside);
    block.start(inside, count, infinity);
    scratch.setRow(0, begin, count, block.values);
    // A bound that has wrapped below 0 goes on as what the scratch can hold of it.
    if (infinity < 0.0F) scratch.getRow(0, begin, count, block.values);
    for (int j = 1; j < height; ++j) {
      in.row(slice, j, begin, count).getInside(size, inside);
      evidence.add(inside, count);
      block.stepDown(inside, count);
      scratch.setRow(j, begin, count, block.values);
    }

    // 2: upwards, where the next outside voxel below is nearer
    block.turn();
    for (int j = height - 2; j >= 0; --j) {
      scratch.getRow(j, begin, count, fromAbove);
      block.stepUp(fromAbove, count);
      scratch.setRow(j, begin, count, block.values);
    }
  }

  // The views' last addressed voxels are those of the pass done column by column: the last column's top value
  // is written only where the voxel below is nearer.
  if (width > 0) {
    bool const writesTop = height < 2 || block.increments[(width - 1) % ColumnBlock::width] > 1;
    in.moveTo(slice, width - 1, std::max(height - 1, 0));
    scratch.moveTo(width - 1, writesTop ? 0 : 1);
  }
  return evidence;
}

// --- row pass ----------------------------------------------------------------------------------------

/// The lower envelope of the parabolas over the columns of a row.
class RowEnvelope {
 public:
  /// Throws `std::bad_alloc`, for a negative width `std::bad_array_new_length`.
  explicit RowEnvelope(int width)
      : width_(width),
        sites_(new std::uint32_t[static_cast<std::size_t>(width)]),
        starts_(new std::uint32_t[static_cast<std::size_t>(width)]) {}

  /// distances[u] = min over s of g[s] + (u − s)², all unsigned 32-bit. The width is at least 1.
  void squaredDistances(std::uint32_t const* g, std::uint32_t* distances) {
    std::uint32_t* const s = sites_.get();
    std::uint32_t* const t = starts_.get();
    auto const width = static_cast<std::uint32_t>(width_);
    auto const parabola = [&](std::uint32_t x, std::uint32_t site) {
      return (x - site) * (x - site) + g[site];
    };

    // 1: the envelope, site by site from the left
    int q = 0;
    s[0] = 0;
    t[0] = 0;
    for (std::uint32_t u = 1; u < width; ++u) {
      while (q >= 0 && parabola(t[q], u) < parabola(t[q], s[q])) --q;
      if (q < 0) {
        q = 0;
        s[0] = u;
        continue;
      }
      std::uint32_t const separator = (u * u - s[q] * s[q] + g[u] - g[s[q]]) / (2 * (u - s[q])) + 1;
      if (static_cast<std::int32_t>(separator) < width_) {
        ++q;
        s[q] = u;
        t[q] = separator;
      }
    }

    // 2: read it off from the right
    for (std::uint32_t u = width; u-- > 0;) {
      distances[u] = parabola(u, s[q]);
      if (t[q] == u) --q;
    }
  }

  /// The site whose parabola gave distances[0] of the last row.
  int firstSite() const { return static_cast<int>(sites_[0]); }

 private:
  int width_;
  std::unique_ptr<std::uint32_t[]> sites_;   // columns of the parabolas on the envelope
  std::unique_ptr<std::uint32_t[]> starts_;  // the first position at which each is the lowest
};

/// Beyond the table lie the distances of slices that lost all their inside voxels because the output's type
/// has no negative numbers.
float rootOf(std::uint32_t square, SqrtLookUpTable const& squareRoots) {
  return std::int64_t{square} <= squareRoots.maxIndex ? squareRoots.values[square]
                                                      : std::sqrt(static_cast<float>(square));
}

/// Calls `write(j, roots)` for every row with the distances of all its voxels.
template <class Write>
void rowPass(DatasetSlice& scratch, int width, int height, SqrtLookUpTable const& squareRoots, Write write) {
  if (width == 0) return;
  RowEnvelope envelope(width);
  auto const size = static_cast<std::size_t>(width);
  std::unique_ptr<float[]> const row(new float[size]);
  std::unique_ptr<std::uint32_t[]> const columnDistances(new std::uint32_t[size]);
  std::unique_ptr<std::uint32_t[]> const distances(new std::uint32_t[size]);

  for (int j = 0; j < height; ++j) {
    scratch.getRow(j, 0, width, row.get());
    // By way of 64 bits, because values beyond 32 bits are meant to wrap around.
    for (std::size_t i = 0; i < size; ++i) {
      columnDistances[i] = static_cast<std::uint32_t>(static_cast<std::int64_t>(row[i]));
    }
    envelope.squaredDistances(columnDistances.get(), distances.get());
    for (std::size_t i = 0; i < size; ++i) row[i] = rootOf(distances[i], squareRoots);
    write(j, row.get());
  }
  if (height > 0) scratch.moveTo(envelope.firstSite(), height - 1);
}

void fill(SliceReader& in, std::int64_t slice, SliceWriter& out, std::int64_t outSlice) {
  auto const diagonal = static_cast<unsigned>(squaredDiagonal(in.width, in.height));
  auto const value = static_cast<float>(static_cast<int>(in.startsInside(slice) ? 0U - diagonal : diagonal));
  if (out.width < 1) return;
  std::vector<float> const row(static_cast<std::size_t>(out.width), value);
  for (int j = 0; j < out.height; ++j) out.write(outSlice, j, 0, out.width, row.data());
}

}  // namespace

bool writeInside(SliceReader& in, std::int64_t slice, DatasetSlice& scratch, SliceWriter& out,
                 std::int64_t outSlice, SqrtLookUpTable const& squareRoots) {
  if (in.width < 1) return false;
  if (!columnPass(in, slice, scratch).hasBoundary()) return false;

  rowPass(scratch, in.width, in.height, squareRoots, [&](int j, float* roots) {
    for (int i = 0; i < in.width; ++i) roots[i] = roots[i] > 0.0F ? -roots[i] : 1.0F;
    out.write(outSlice, j, 0, in.width, roots);
  });
  out.moveTo(outSlice, 0, in.height - 1);
  return true;
}

void writeOutside(SliceWriter& out, std::int64_t slice, DatasetSlice& scratch,
                  SqrtLookUpTable const& squareRoots) {
  columnPass(out, slice, scratch);
  rowPass(scratch, out.width, out.height, squareRoots, [&](int j, float const* roots) {
    // Only what is positive is written: the inside distances keep their bits in any element type.
    for (int begin = 0, end = 0; begin < out.width; begin = end) {
      bool const positive = roots[begin] > 0.0F;
      while (end < out.width && (roots[end] > 0.0F) == positive) ++end;
      if (positive) out.write(slice, j, begin, end - begin, roots + begin);
    }
    auto const* const first = std::find_if(roots, roots + out.width, [](float root) { return root > 0.0F; });
    if (first != roots + out.width) out.moveTo(slice, static_cast<int>(first - roots), j);
  });
}

void computeSlice(SliceReader& in, std::int64_t slice, DatasetSlice& scratch, SliceWriter& out,
                  std::int64_t outSlice, SqrtLookUpTable const& squareRoots) {
  // The inside kernel writes slices of the input's size, also where the output's view has none.
  if ((out.width < 1 || out.height < 1) && !out.holds(in.width, in.height, outSlice + 1)) return;
  if (writeInside(in, slice, scratch, out, outSlice, squareRoots)) {
    writeOutside(out, outSlice, scratch, squareRoots);
  } else {
    fill(in, slice, out, outSlice);
  }
}

}  // namespace lorb::scalar
