#include "rows.h"

#include <lorb/algorithm/engine/maskRow.h>

#include <gtest/gtest.h>

namespace {

using lorb::engine::MaskWord;

TEST(MaskRowTest, PaddingRepeatsTheOutermostColumns) {
  std::mt19937 random(1);
  for (std::size_t const count : {1U, 2U, 15U, 63U, 64U, 65U, 100U, 128U, 181U}) {
    for (int const shift : {0, 1, 4, 15, 63}) {
      auto const classes = lorb::test::randomClasses(count, 5, random);
      std::size_t const columns = count + static_cast<std::size_t>(shift);
      std::vector<MaskWord> words = lorb::test::wordsOf(classes);
      words.resize((columns + 63) / 64 + 1, 0x5555);  // what lies behind is overwritten
      lorb::engine::padMaskRow(words.data(), words.size(), count, shift);
      for (std::size_t k = 0; k < words.size() * 64; ++k) {
        auto const column = std::clamp(static_cast<int>(k) - shift, 0, static_cast<int>(count) - 1);
        EXPECT_EQ(words[k / 64] >> k % 64 & 1, MaskWord{classes[static_cast<std::size_t>(column)]})
            << count << " columns, shift " << shift << ", bit " << k;
      }
    }
  }
}

TEST(MaskRowTest, WholeWordsStayAsTheyAre) {
  std::vector<MaskWord> words = {0x123456789ABCDEF0, 0xFEDCBA9876543210};
  auto const before = words;
  lorb::engine::padMaskRow(words.data(), 2, 128, 0);
  EXPECT_EQ(words, before);
}

}  // namespace
