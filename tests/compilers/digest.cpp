// One line of digests of everything the libraries compute from fixed seeds: every element type, plane and
// path, and every pair of conversions. The same line must come from every compiler with every switch.

#include <lorb/algorithm/EuclideanDistanceTransform2D.h>
#include <lorb/dataset/dump.h>

#include <reference/randomVolumes.h>
#include <tests/ElementTypes.h>

#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <type_traits>
#include <vector>

namespace {

using lorb::Dataset;
using lorb::TImageDataset;
using Transform = lorb::EuclideanDistanceTransform2D;

/// FNV-1a over bytes; all NaN count as one, since the processor chooses their bits.
class Digest {
 public:
  template <class T>
  void add(T value) {
    if (value != value) value = std::numeric_limits<T>::quiet_NaN();
    unsigned char bytes[sizeof(T)];
    std::memcpy(bytes, &value, sizeof(T));
    for (unsigned char const byte : bytes) hash_ = (hash_ ^ byte) * 0x100000001b3U;
  }
  void print(char const* what) const { std::printf("%s %016lx ", what, hash_); }

 private:
  unsigned long hash_ = 0xcbf29ce484222325U;
};

void maps() {
  Digest typed, generic;
  for (reference::Extents const& extents :
       {reference::Extents{61, 47, 35}, {300, 290, 2}, {3, 5000, 1}, {5000, 3, 2}, {2, 23200, 1}}) {
    for (auto const filling : reference::allFillings) {
      std::mt19937 random(static_cast<unsigned>(extents[0]) + static_cast<unsigned>(filling));
      auto const mask = reference::randomMask(extents[0] * extents[1] * extents[2], filling, random);
      Transform transform;
      TImageDataset<float, 3> map(extents);
      for (auto const plane : {Transform::planeYZ, Transform::planeXZ, Transform::planeXY}) {
        // The table must fit into memory: 23 200 voxels are for columns alone.
        if (extents[1] == 23200 && plane != Transform::planeXY) continue;
        transform.setPlane(plane);
        lorb::test::forEachElementType([&]<class T>(std::type_identity<T>) {
          auto const volume = reference::volumeFromMask<T>(extents, mask, random);
          transform.computeTwoSided(&volume, &map);
          for (float const value : map.voxels()) typed.add(value);
        });
      }
      if (mask.size() > 200000) continue;
      Dataset dataset(true);
      reference::shape(dataset, extents, lorb::elementDouble);
      reference::forEachVoxel(extents, [&](auto const& position, std::size_t element) {
        dataset.setElement<int>(position, mask[element]);
      });
      transform.computeTwoSided(&dataset, &dataset);
      reference::forEachVoxel(extents, [&](auto const& position, std::size_t) {
        generic.add(dataset.getElement<double>(position));
      });
    }
  }
  typed.print("typed");
  generic.print("generic");
}

/// Numbers around the powers of two, and any bits. Computed in integers and doubles, which are the same
/// everywhere.
template <class T>
std::vector<T> numbers() {
  std::vector<T> values;
  std::mt19937_64 random(7);
  for (int k = 0; k < 64; ++k) {
    unsigned long const power = 1UL << k;
    for (unsigned long const number : {power - 1, power, power + 1, 0 - power, ~power, random()}) {
      if constexpr (std::is_floating_point_v<T>) {
        auto const base = static_cast<T>(static_cast<double>(number));
        for (double const part : {-0.5, -0.25, 0.0, 0.25, 0.5}) {
          values.push_back(static_cast<T>(static_cast<double>(base) + part));
          values.push_back(-values.back());
        }
      } else {
        values.push_back(static_cast<T>(number));
      }
    }
  }
  if constexpr (std::is_floating_point_v<T>) {
    using limits = std::numeric_limits<T>;
    values.insert(values.end(), {limits::infinity(), -limits::infinity(), limits::quiet_NaN(), limits::max(),
                                 limits::lowest(), limits::denorm_min(), T(-0.0)});
  }
  return values;
}

void conversions() {
  Digest digest;
  lorb::test::forEachElementType([&]<class From>(std::type_identity<From>) {
    auto const values = numbers<From>();
    TImageDataset<From, 3> volume({values.size(), 1, 1});
    std::copy(values.begin(), values.end(), volume.pages[0].data.begin());
    lorb::test::forEachElementType([&]<class To>(std::type_identity<To>) {
      auto const buffer = std::make_unique<To[]>(values.size());
      lorb::dump(&volume, buffer.get(), lorb::typeIDOf<To>);
      for (std::size_t k = 0; k < values.size(); ++k) digest.add(buffer[k]);
    });
  });
  digest.print("conversions");
}

}  // namespace

int main() {
  maps();
  conversions();
  std::printf("\n");
}
