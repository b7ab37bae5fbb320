#include <lorb/algorithm/engine/SearchMemory.h>

#include <algorithm>

namespace lorb::engine {
namespace {

constexpr int minTileRows = 4;
constexpr int maxTileRows = 8;

template <class T>
AlignedArray<T> rowsOf(int count, T value) {
  auto const size = static_cast<std::size_t>(count) * blockColumns;
  auto array = allocateAligned<T>(size);
  std::fill_n(array.get(), size, value);
  return array;
}

}  // namespace

SearchMemory::SearchMemory(int rowCount)
    : rows(rowCount),
      squares(rowsOf<std::uint16_t>(rowCount + 2 * marginRows, nearLimitSquared)),
      minima(
          rowsOf<std::uint16_t>(rowCount / minTileRows + 1 + 2 * marginRows / minTileRows, nearLimitSquared)),
      bounds(rowsOf<std::uint16_t>(rowCount + maxTileRows, 0)),
      counts(rowsOf<std::uint16_t>(rowCount, 0)),
      farSquares(rowsOf<std::int32_t>((rowCount + 1) / 2, 0)),
      farBounds(rowsOf<std::int32_t>((rowCount + maxTileRows + 1) / 2, 0)),
      sites(new SiteRange[static_cast<std::size_t>(rowCount / minTileRows + 2)]),
      states(new TileState[static_cast<std::size_t>(rowCount / minTileRows + 1)]()) {}

}  // namespace lorb::engine
