// Every value of the element types of up to 16 bits, and the edge values of the others, through every pair of
// types in both directions, with every instruction set.

#include <lorb/dataset/TImageDataset.h>
#include <lorb/dataset/dump.h>

#include <tests/ElementTypes.h>
#include <tests/dataset/expectedConversion.h>
#include <tests/onEveryTarget.h>

#include <memory>
#include <vector>

namespace lorb {
namespace {

using test::agree;
using test::expectedConversion;
using test::forEachElementType;
using test::nameOf;

template <class T>
std::vector<T> everyValue() {
  if constexpr (sizeof(T) > 2 || std::is_same_v<T, bool>) {
    return test::edgeValues<T>();
  } else {
    std::vector<T> values;
    for (int value = std::numeric_limits<T>::min(); value <= std::numeric_limits<T>::max(); ++value)
      values.push_back(static_cast<T>(value));
    return values;
  }
}

/// `values` in an array, where those of `bool` have addresses too.
template <class T>
std::unique_ptr<T[]> arrayOf(std::vector<T> const& values) {
  auto array = std::make_unique<T[]>(values.size());
  std::copy(values.begin(), values.end(), array.get());
  return array;
}

template <class T>
class DumpEveryValueTest : public testing::Test {};
TYPED_TEST_SUITE(DumpEveryValueTest, test::ElementTypes, test::ElementTypeNames);

TYPED_TEST(DumpEveryValueTest, ConvertsByTheRuleInBothDirections) {
  using From = TypeParam;
  std::vector<From> const values = everyValue<From>();
  std::size_t const count = values.size();
  auto const source = arrayOf(values);
  TImageDataset<From, 3> volume({count, 1, 1});
  std::copy(values.begin(), values.end(), volume.pages[0].data.begin());
  forEachElementType([&]<class To>(std::type_identity<To>) {
    std::vector<To> expected;
    for (From const value : values) expected.push_back(expectedConversion<To>(value));
    reference::onEveryTarget([&] {
      auto const written = std::make_unique<To[]>(count);
      dump(&volume, written.get(), typeIDOf<To>);
      TImageDataset<To, 3> read({count, 1, 1});
      dump(source.get(), typeIDOf<From>, &read);
      for (std::size_t k = 0; k < count; ++k) {
        To const want = expected[k];
        To const got = read.pages[0].data[k];
        ASSERT_TRUE(agree(written[k], want)) << +values[k] << " became " << nameOf<To> << " " << +written[k];
        ASSERT_TRUE(agree(got, want)) << +values[k] << " became " << nameOf<To> << " " << +got;
      }
    });
  });
}

}  // namespace
}  // namespace lorb
