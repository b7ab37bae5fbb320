// The first stage on every instruction set: mask bits of every element type, and distances along rows,
// columns and from sheet to sheet.

#include "rows.h"
#include "tests/ElementTypes.h"
#include "tests/onEveryTarget.h"

#include <lorb/algorithm/engine/alignedArray.h>
#include <lorb/algorithm/engine/kernels.h>
#include <lorb/algorithm/engine/maskRow.h>
#include <lorb/dataset/TImageDataset.h>

#include <gtest/gtest.h>

#include "reference/randomVolumes.h"

namespace {

using namespace lorb::engine;
using lorb::test::distanceToOtherClass;
using lorb::test::randomClasses;

/// Calls `f(kernels)` for every instruction set that has vectors.
template <class F>
void onEveryKernels(F f) {
  int tried = 0;
  reference::onEveryTarget([&] {
    if (kernels() == nullptr) return;
    f(*kernels());
    ++tried;
  });
  EXPECT_GT(tried, 0);
}

template <class T>
class ReadMaskTest : public testing::Test {};
TYPED_TEST_SUITE(ReadMaskTest, lorb::test::ElementTypes, lorb::test::ElementTypeNames);

TYPED_TEST(ReadMaskTest, BitsTellWhatIsAboveZero) {
  std::mt19937 random(2);
  for (std::size_t const count : {1U, 3U, 63U, 64U, 65U, 130U, 257U}) {
    for (std::size_t const first : {0U, 1U, 13U, 64U}) {
      auto const classes = randomClasses(first + count, 4, random);
      lorb::TImageDataset<TypeParam, 3> volume({first + count, 1, 1});
      for (std::size_t k = 0; k < classes.size(); ++k)
        volume.pages[0].data[k] = reference::randomValue<TypeParam>(classes[k], random);
      void const* voxels = nullptr;
      if constexpr (std::is_same_v<TypeParam, bool>) {
        voxels = volume.pages[0].data.begin()._M_p;
      } else {
        voxels = volume.pages[0].data.data();
      }
      onEveryKernels([&](Kernels const& kernels) {
        std::vector<MaskWord> words((count + 63) / 64);
        kernels.maskRowReaders[lorb::typeIDOf<TypeParam> - 1](voxels, first, count, words.data());
        EXPECT_EQ(words, lorb::test::wordsOf({classes.begin() + static_cast<long>(first), classes.end()}))
            << count << " from " << first;
      });
    }
  }
}

TEST(ScanTest, DistancesAlongRows) {
  std::mt19937 random(3);
  for (std::size_t const count : {1U, 5U, 64U, 65U, 128U, 300U, 1000U}) {
    for (unsigned const longest : {1U, 3U, 20U, 70U, 400U, 2000U}) {
      constexpr int rows = 9;
      std::size_t const blocks = (count + 63) / 64;
      std::vector<std::vector<bool>> classes;
      auto words = lorb::allocateAligned<MaskWord>(blocks * rows);
      std::vector<MaskWord> row(blocks);
      std::vector<RowCarry> carries(blocks * rows);
      auto const distances = lorb::allocateAligned<Distances>(rows);
      for (int y = 0; y < rows; ++y) classes.push_back(randomClasses(count, longest, random));
      onEveryKernels([&](Kernels const& kernels) {
        for (std::size_t y = 0; y < rows; ++y) {
          row = lorb::test::wordsOf(classes[y]);
          padMaskRow(row.data(), blocks, count, 0);
          kernels.carryAcrossRow(row.data(), blocks, rows, &carries[y]);
          for (std::size_t b = 0; b < blocks; ++b) words[b * rows + y] = row[b];
        }
        for (std::size_t b = 0; b < blocks; ++b) {
          MaskWord const* const block = &words[b * rows];
          kernels.scanRows(block, b > 0 ? block - rows : nullptr, b + 1 < blocks ? block + rows : nullptr,
                           &carries[b * rows], rows, distances.get());
          for (std::size_t y = 0; y < rows; ++y) {
            for (std::size_t k = 0; k < 64 && b * 64 + k < count; ++k) {
              int const found = std::min<int>(distances[y][k], unboundedDistance);
              ASSERT_EQ(found, distanceToOtherClass(classes[y], b * 64 + k))
                  << count << " columns, column " << b * 64 + k << ", runs of " << longest;
            }
          }
        }
      });
    }
  }
}

/// 64 columns of voxels on top of each other, as words.
struct Columns {
  Columns(std::size_t count, unsigned longest, std::mt19937& random) : words(count) {
    for (std::size_t k = 0; k < 64; ++k) {
      classes.push_back(randomClasses(count, longest, random));
      for (std::size_t y = 0; y < count; ++y) words[y] |= MaskWord{classes[k][y]} << k;
    }
  }
  int distance(std::size_t y, std::size_t k) const { return distanceToOtherClass(classes[k], y); }

  std::vector<std::vector<bool>> classes;
  std::vector<MaskWord> words;
};

TEST(ScanTest, DistancesAlongColumns) {
  std::mt19937 random(4);
  for (int const rows : {1, 2, 7, 100, 300}) {
    Columns const columns(static_cast<std::size_t>(rows), 60, random);
    auto const counts = lorb::allocateAligned<Distances>(static_cast<std::size_t>(rows));
    onEveryKernels([&](Kernels const& kernels) {
      kernels.countColumns(columns.words.data(), rows, counts.get());
      for (std::size_t y = 0; y < static_cast<std::size_t>(rows); ++y) {
        for (std::size_t k = 0; k < 64; ++k)
          ASSERT_EQ(std::min<int>(counts[y][k], unboundedDistance), columns.distance(y, k)) << y << ", " << k;
      }
    });
  }
}

TEST(ScanTest, DistancesFromSheetToSheetInChunks) {
  std::mt19937 random(5);
  constexpr int rows = 11;
  for (int const sheets : {1, 2, 15, 16, 17, 48, 100}) {
    std::vector<Columns> stacks;  // for each row, its columns across the sheets
    for (int row = 0; row < rows; ++row) stacks.emplace_back(static_cast<std::size_t>(sheets), 40, random);
    std::vector<MaskWord> words(static_cast<std::size_t>(sheets * rows));
    for (std::size_t z = 0; z < static_cast<std::size_t>(sheets); ++z) {
      for (std::size_t row = 0; row < rows; ++row) words[z * rows + row] = stacks[row].words[z];
    }
    for (int const chunk : {1, 7, 16, 200}) {
      auto const below = lorb::allocateAligned<Distances>(rows),
                 above = lorb::allocateAligned<Distances>(rows);
      auto const distances = lorb::allocateAligned<Distances>(static_cast<std::size_t>(sheets * rows));
      onEveryKernels([&](Kernels const& kernels) {
        SheetStack const stack = {words.data(), rows, rows};
        for (int row = 0; row < rows; ++row) below[static_cast<std::size_t>(row)].fill(unboundedDistance);
        for (int begin = 0; begin < sheets; begin += chunk) {
          int const end = std::min(begin + chunk, sheets);
          for (int row = 0; row < rows; ++row) above[static_cast<std::size_t>(row)].fill(unboundedDistance);
          if (end < sheets) kernels.countFromAbove(stack, end, sheets, true, above.get());
          kernels.scanAcross(stack, begin, end, end == sheets, below.get(), above.get(),
                             distances.get() + begin * rows, rows);
        }
        for (std::size_t z = 0; z < static_cast<std::size_t>(sheets); ++z) {
          for (std::size_t row = 0; row < rows; ++row) {
            for (std::size_t k = 0; k < 64; ++k)
              ASSERT_EQ(distances[z * rows + row][k], stacks[row].distance(z, k))
                  << "sheet " << z << " of " << sheets << ", chunks of " << chunk;
          }
        }
      });
    }
  }
}

}  // namespace
