#include "tools/map/firstRowDistances.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace lorb::tools {
namespace {

/// Columns from each column to the nearest one of the given side; more than there are columns without any.
std::vector<std::uint64_t> columnsTo(char side, std::vector<char> const& row) {
  std::size_t const width = row.size();
  std::vector<std::uint64_t> columns(width);
  std::uint64_t distance = width;
  auto const scan = [&](std::size_t i) {
    distance = row[i] == side ? 0 : distance + 1;
    return distance;
  };
  for (std::size_t i = 0; i < width; ++i) columns[i] = scan(i);
  distance = width;
  for (std::size_t i = width; i-- > 0;) columns[i] = std::min(columns[i], scan(i));
  return columns;
}

}  // namespace

FirstRowDistances::FirstRowDistances(std::vector<char> const& firstRow, bool othersInside,
                                     std::uint64_t height)
    : firstRow_(firstRow),
      others_(othersInside ? 1 : 0),
      toUnlike_(columnsTo(othersInside ? 0 : 1, firstRow)),
      // The voxel beneath is the nearest, if there is one.
      toAlike_(height > 1 ? std::vector<std::uint64_t>(firstRow.size(), 1) : columnsTo(others_, firstRow)) {}

float FirstRowDistances::at(std::uint64_t i, std::uint64_t j) const {
  bool const isAlike = j > 0 || firstRow_[i] == others_;
  bool const isInside = isAlike == (others_ == 1);
  std::uint64_t const columns = isAlike ? toUnlike_[i] : toAlike_[i];
  float const distance = std::sqrt(static_cast<float>(columns * columns + j * j));
  return isInside ? -distance : distance;
}

}  // namespace lorb::tools
