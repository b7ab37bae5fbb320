// The second stage on every instruction set, against the least sum over all rows.

#include "rows.h"
#include "tests/onEveryTarget.h"

#include <lorb/algorithm/engine/SearchMemory.h>
#include <lorb/algorithm/engine/kernels.h>

#include <gtest/gtest.h>

#include <cmath>

namespace {

using namespace lorb::engine;

/// A block of random classes with random first-stage distances.
struct Block {
  Block(int rowCount, unsigned longest, unsigned farthest, std::mt19937& random)
      : rows(rowCount),
        words(static_cast<std::size_t>(rowCount)),
        distances(lorb::allocateAligned<Distances>(static_cast<std::size_t>(rowCount))) {
    for (std::size_t k = 0; k < 64; ++k) {
      columns.push_back(lorb::test::randomClasses(words.size(), longest, random));
      // One distance is always there: blocks without any are not searched.
      std::size_t const certain = random() % words.size();
      for (std::size_t y = 0; y < words.size(); ++y) {
        words[y] |= MaskWord{columns[k][y]} << k;
        bool const exists = y == certain || random() % 4 != 0;
        distances[y][k] =
            static_cast<std::uint16_t>(exists ? 1 + random() % farthest : unboundedDistance + 60);
      }
    }
  }

  /// The squared distance of voxel (k, y).
  long square(std::size_t k, std::size_t y) const {
    long const along = lorb::test::distanceToOtherClass(columns[k], y);
    long least = along * along;
    for (std::size_t row = 0; row < words.size(); ++row) {
      long const across = std::min<int>(distances[row][k], unboundedDistance);
      long const offset = static_cast<long>(row) - static_cast<long>(y);
      least = std::min(least, across * across + offset * offset);
    }
    return least;
  }

  int rows;
  std::vector<std::vector<bool>> columns;
  std::vector<MaskWord> words;
  lorb::AlignedArray<Distances> distances;
};

constexpr int maxSquare = 1'400'000;

std::vector<float> rootTable() {
  std::vector<float> roots(maxSquare);
  for (std::size_t k = 0; k < roots.size(); ++k) roots[k] = std::sqrt(static_cast<float>(k));
  return roots;
}

template <class Check>
void searchOnEveryKernels(Block const& block, MaskWord solved, ConstantColumns const& constant,
                          std::vector<float> const& table, Check check) {
  reference::onEveryTarget([&] {
    if (kernels() == nullptr) return;
    SearchMemory const memory(block.rows);
    for (int const offset : {0, 3}) {
      for (bool const pastCache : {false, true}) {
        if (pastCache && offset != 0) continue;
        auto const out = lorb::allocateAligned<float>(static_cast<std::size_t>(block.rows) * 80);
        std::fill_n(out.get(), block.rows * 80, 0.25F);
        Roots roots = {table.data(), static_cast<std::int32_t>(table.size())};
        kernels()->searchBlock(memory, block.words.data(), block.distances.get(), solved, constant, roots,
                               {out.get() + offset, 80, 0, 64, pastCache});
        for (std::size_t y = 0; y < block.words.size(); ++y) {
          for (std::size_t k = 0; k < 64; ++k)
            check(k, y, out[y * 80 + k + static_cast<std::size_t>(offset)]);
          EXPECT_EQ(out[y * 80 + 70], 0.25F) << "behind the block";
        }
      }
    }
  });
}

float signedRoot(Block const& block, std::size_t k, std::size_t y, std::vector<float> const& table) {
  float const root = table[static_cast<std::size_t>(block.square(k, y))];
  return block.columns[k][y] ? -root : root;
}

TEST(SearchTest, FindsTheLeastSumNearAndFar) {
  std::mt19937 random(6);
  auto const table = rootTable();
  for (int const rows : {1, 2, 3, 9, 64, 300, 700}) {
    for (unsigned const longest : {2U, 20U, 200U, 2000U}) {
      for (unsigned const farthest : {3U, 50U, 171U, 173U, 900U}) {
        Block const block(rows, longest, farthest, random);
        std::vector<float> expected;
        for (std::size_t y = 0; y < block.words.size(); ++y) {
          for (std::size_t k = 0; k < 64; ++k) expected.push_back(signedRoot(block, k, y, table));
        }
        searchOnEveryKernels(block, ~MaskWord{0}, {}, table, [&](std::size_t k, std::size_t y, float found) {
          ASSERT_EQ(found, expected[y * 64 + k])
              << rows << " rows, column " << k << ", row " << y << ", up to " << farthest;
        });
      }
    }
  }
}

TEST(SearchTest, ConstantColumnsHoldTheirValue) {
  std::mt19937 random(7);
  auto const table = rootTable();
  Block const block(40, 10, 30, random);
  MaskWord const constant = 0xF00000000000FF01, negative = 0x1000000000000F00;
  searchOnEveryKernels(
      block, ~constant, {constant, negative, 77.0F}, table, [&](std::size_t k, std::size_t y, float found) {
        float const value = negative >> k & 1 ? -77.0F : 77.0F;
        ASSERT_EQ(found, constant >> k & 1 ? value : signedRoot(block, k, y, table)) << k << ", " << y;
      });
}

TEST(SearchTest, TheTableRules) {
  std::mt19937 random(8);
  for (int const entry : {1, 2, 500, 200'000}) {
    auto table = rootTable();
    table[static_cast<std::size_t>(entry)] = 12345.0F;
    Block const block(600, 2000, entry > 1000 ? 900 : 20, random);
    searchOnEveryKernels(block, ~MaskWord{0}, {}, table, [&](std::size_t k, std::size_t y, float found) {
      ASSERT_EQ(found, signedRoot(block, k, y, table)) << k << ", " << y << ", entry " << entry;
    });
  }
}

TEST(SearchTest, PartsOfABlockAreWrittenAlone) {
  std::mt19937 random(9);
  auto const table = rootTable();
  Block const block(20, 10, 30, random);
  for (auto const& columns : {std::pair(0, 1), {3, 64}, {63, 64}, {0, 33}, {17, 18}}) {
    int const begin = columns.first,
              end = columns.second;  // clang 14 keeps structured bindings out of lambdas
    reference::onEveryTarget([&] {
      if (kernels() == nullptr) return;
      SearchMemory const memory(block.rows);
      std::vector<float> out(20 * 64, 0.25F);
      Roots roots = {table.data(), static_cast<std::int32_t>(table.size())};
      kernels()->searchBlock(memory, block.words.data(), block.distances.get(), ~MaskWord{0}, {}, roots,
                             {out.data() + begin, 64, begin, end, false});
      for (std::size_t y = 0; y < 20; ++y) {
        for (std::size_t k = 0; k < 64; ++k) {
          bool const written = static_cast<int>(k) >= begin && static_cast<int>(k) < end;
          ASSERT_EQ(out[y * 64 + k], written ? signedRoot(block, k, y, table) : 0.25F) << k << ", " << y;
        }
      }
    });
  }
}

TEST(SearchTest, TheBoundIsTheLargestDistanceAlongOneAxis) {
  std::mt19937 random(10);
  Block const block(200, 150, 400, random);
  int expected = 0;
  for (std::size_t k = 0; k < 32; ++k) {
    for (std::size_t y = 0; y < 200; ++y) {
      expected = std::max(expected, std::min<int>(lorb::test::distanceToOtherClass(block.columns[k], y),
                                                  block.distances[y][k]));
    }
  }
  reference::onEveryTarget([&] {
    if (kernels() == nullptr) return;
    SearchMemory const memory(200);
    EXPECT_EQ(kernels()->maxBound(memory, block.words.data(), block.distances.get(), 0xFFFFFFFF), expected);
  });
}

}  // namespace
