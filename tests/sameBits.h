#pragma once

#include "reference/randomVolumes.h"

#include <gtest/gtest.h>

#include <cstring>

namespace reference {

/// Equal bit for bit; otherwise the first difference.
inline testing::AssertionResult sameBits(lorb::TImageDataset<float, 3> const& actual,
                                         lorb::TImageDataset<float, 3> const& expected) {
  auto const a = actual.voxels();
  auto const b = expected.voxels();
  if (a.size() != b.size()) return testing::AssertionFailure() << a.size() << " voxels, not " << b.size();
  if (a.empty() || std::memcmp(a.data(), b.data(), a.size_bytes()) == 0) return testing::AssertionSuccess();
  for (std::size_t k = 0; k < a.size(); ++k) {
    if (std::memcmp(&a[k], &b[k], sizeof(float)) == 0) continue;
    auto const [nx, ny, nz] = actual.extents;
    return testing::AssertionFailure()
           << "voxel (" << k % nx << ", " << k / nx % ny << ", " << k / nx / ny << ") of (" << nx << ", "
           << ny << ", " << nz << ") is " << a[k] << " instead of " << b[k];
  }
  return testing::AssertionSuccess();
}

}  // namespace reference
