// Elements of any bits through `dump` in both directions and through generic datasets, against the rule
// written a second time.

#include <lorb/dataset/Dataset.h>
#include <lorb/dataset/TImageDataset.h>
#include <lorb/dataset/dump.h>

#include <tests/ElementTypes.h>
#include <tests/dataset/expectedConversion.h>
#include <tests/fuzz/fuzzing.h>
#include <tests/onEveryTarget.h>

#include <memory>

namespace {

using fuzzing::require;
using lorb::Dataset;
using lorb::DatasetCoordinates;
using lorb::TImageDataset;
using lorb::test::agree;
using lorb::test::expectedConversion;

/// A volume of `values` whose page may be wider and higher than it.
template <class T>
TImageDataset<T, 3> volumeOf(std::vector<T> const& values, FuzzedDataProvider& data) {
  auto const width = data.ConsumeIntegralInRange<std::uint64_t>(1, 70);
  auto const height = data.ConsumeIntegralInRange<std::uint64_t>(1, 4);
  auto const depth = values.size() / (width * height);
  TImageDataset<T, 3> volume({width, height, depth});
  auto& page = volume.pages[0];
  page.extents = {width + data.ConsumeIntegralInRange<std::uint64_t>(0, 3),
                  height + data.ConsumeIntegralInRange<std::uint64_t>(0, 2), depth};
  page.data.assign(page.extents[0] * page.extents[1] * page.extents[2], T(1));
  for (std::uint64_t k = 0; k < width * height * depth; ++k)
    volume(k % width, k / width % height, k / width / height) = values[k];
  return volume;
}

template <class From, class To>
void check(FuzzedDataProvider& data) {
  TImageDataset<From, 3> const volume = volumeOf(fuzzing::elements<From>(data, 300), data);
  auto const [width, height, depth] = volume.extents;
  auto const count = width * height * depth;
  auto const source = std::make_unique<From[]>(count);
  lorb::dump(&volume, source.get(), lorb::typeIDOf<From>);
  auto const target = std::make_unique<To[]>(count);
  lorb::dump(&volume, target.get(), lorb::typeIDOf<To>);
  TImageDataset<To, 3> read(volume.extents);
  lorb::dump(source.get(), lorb::typeIDOf<From>, &read);

  Dataset generic(false);
  generic.newDataset(DatasetCoordinates(static_cast<int>(count), 1, 1, 1, 1), lorb::test::elementTypeOf<From>,
                     {});
  for (std::uint64_t k = 0; k < count; ++k) {
    From const value = volume(k % width, k / width % height, k / width / height);
    To const expected = expectedConversion<To>(value);
    To const inVolume = read.pages[0].data[k];
    DatasetCoordinates const position(static_cast<int>(k), 0, 0, 0, 0);
    generic.setElement<From>(position, value);
    require(lorb::test::haveSameBits(source[k], value), "copied element differs");
    require(agree(target[k], expected), "element written differs");
    require(agree(inVolume, expected), "element read differs");
    require(agree(generic.getElement<To>(position), expected), "element of the dataset differs");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* bytes, std::size_t size) {
  FuzzedDataProvider data(bytes, size);
  reference::useTarget(0);
  std::int64_t rest = hwy::SupportedTargets();
  for (int skip = data.ConsumeIntegralInRange(0, 7); skip > 0 && (rest & (rest - 1)) != 0; --skip)
    rest &= rest - 1;
  reference::useTarget(rest & -rest);
  fuzzing::withElementType(data, [&]<class From>(std::type_identity<From>) {
    fuzzing::withElementType(data, [&]<class To>(std::type_identity<To>) { check<From, To>(data); });
  });
  return 0;
}
