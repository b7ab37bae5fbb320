#pragma once

#include <lorb/dataset/TImageDataset.h>

#include <reference/randomVolumes.h>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <ostream>
#include <vector>

namespace lorb::test {

/// A volume of flags that shrinks to what makes a property fail: a background and boxes, each of which turns
/// inside into outside and back.
struct Scene {
  struct Box {
    std::array<int, 3> corner, opposite;  // reduced modulo the extents
  };

  std::array<int, 3> extents;
  bool background;
  std::vector<Box> boxes;

  reference::Extents counts() const {
    return {static_cast<std::uint64_t>(extents[0]), static_cast<std::uint64_t>(extents[1]),
            static_cast<std::uint64_t>(extents[2])};
  }

  /// The flags, x fastest.
  std::vector<char> mask() const {
    auto const [nx, ny, nz] = extents;
    std::vector<char> flags(static_cast<std::size_t>(nx) * static_cast<std::size_t>(ny * nz), background);
    for (Box const& box : boxes) {
      std::array<int, 3> low, high;
      for (std::size_t axis = 0; axis < 3; ++axis) {
        int const a = box.corner[axis] % extents[axis], b = box.opposite[axis] % extents[axis];
        low[axis] = std::min(a, b);
        high[axis] = std::max(a, b);
      }
      for (int z = low[2]; z <= high[2]; ++z) {
        for (int y = low[1]; y <= high[1]; ++y) {
          for (int x = low[0]; x <= high[0]; ++x) flags[static_cast<std::size_t>((z * ny + y) * nx + x)] ^= 1;
        }
      }
    }
    return flags;
  }

  template <class T>
  TImageDataset<T, 3> volume() const {
    auto const flags = mask();
    TImageDataset<T, 3> result(counts());
    std::copy(flags.begin(), flags.end(), result.pages[0].data.begin());
    return result;
  }
};

inline void showValue(Scene const& scene, std::ostream& out) {
  auto const triple = [&](std::array<int, 3> const& n) -> std::ostream& {
    return out << "(" << n[0] << ", " << n[1] << ", " << n[2] << ")";
  };
  triple(scene.extents) << (scene.background ? " inside" : " outside") << ", boxes";
  for (auto const& [corner, opposite] : scene.boxes) {
    out << " ";
    triple(corner) << "-";
    triple(opposite);
  }
}

}  // namespace lorb::test

namespace rc {

template <>
struct Arbitrary<lorb::test::Scene> {
  static Gen<lorb::test::Scene> arbitrary() {
    using lorb::test::Scene;
    auto const place = gen::container<std::array<int, 3>>(gen::inRange(0, 1000));
    // A range grows with the size of the case, up to its limit.
    auto const extent = gen::inRange(1, 90);
    return gen::build<Scene>(
        gen::set(&Scene::extents, gen::container<std::array<int, 3>>(extent)), gen::set(&Scene::background),
        gen::set(&Scene::boxes,
                 gen::container<std::vector<Scene::Box>>(gen::build<Scene::Box>(
                     gen::set(&Scene::Box::corner, place), gen::set(&Scene::Box::opposite, place)))));
  }
};

/// The same seed in every run unless RC_PARAMS names another one.
[[maybe_unused]] inline int const seeded = setenv("RC_PARAMS", "seed=20250310", 0);

}  // namespace rc
