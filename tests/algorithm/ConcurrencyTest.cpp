// Separate transforms are independent, also over the same input and over parts of one output.

#include "reference/literalTransform.h"
#include "tests/sameBits.h"

#include <lorb/algorithm/EuclideanDistanceTransform2D.h>

#include <gtest/gtest.h>

#include <thread>

namespace {

using lorb::TImageDataset;
using Transform = lorb::EuclideanDistanceTransform2D;

/// The slices [begin, end) of one volume into another.
template <class In, class Out>
void computeSlices(In in, Out out, int begin, int end) {
  in.slice = out.slice = begin;
  in.sliceCount = end;
  Transform().computeAllSlicesTwoSided(in, out);
}

TEST(ConcurrencyTest, ThreadsShareInputAndOutputSliceBySlice) {
  std::mt19937 random(23);
  reference::Extents const extents = {37, 41, 43};
  auto const mask = reference::randomMask(37 * 41 * 43, reference::Filling::half, random);
  auto const input = reference::volumeFromMask<unsigned char>(extents, mask, random);
  for (int plane = 0; plane < 3; ++plane) {
    auto expected = reference::untouchedOutput(extents);
    reference::literalTransform(input, expected, plane);
    auto output = reference::untouchedOutput(extents);
    auto const [width, height, slices] = reference::planeExtents(plane, 37, 41, 43);
    std::vector<std::thread> threads;
    for (int worker = 0; worker < 4; ++worker) {
      threads.emplace_back([&, plane, worker, w = width, h = height, n = slices] {
        int const begin = n * worker / 4;
        int const end = n * (worker + 1) / 4;
        if (plane == 2) {
          computeSlices(Transform::CIsliceXY<unsigned char>{&input, w, h, n, 0},
                        Transform::IsliceXY<float>{&output, w, h, n, 0}, begin, end);
        } else if (plane == 1) {
          computeSlices(Transform::CIsliceXZ<unsigned char>{&input, w, h, n, 0},
                        Transform::IsliceXZ<float>{&output, w, h, n, 0}, begin, end);
        } else {
          computeSlices(Transform::CIsliceYZ<unsigned char>{&input, w, h, n, 0},
                        Transform::IsliceYZ<float>{&output, w, h, n, 0}, begin, end);
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_TRUE(reference::sameBits(output, expected)) << "plane " << plane;
  }
}

}  // namespace
