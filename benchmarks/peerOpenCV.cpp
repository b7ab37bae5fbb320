// OpenCV's exact transform, once for the mask and once for its complement; their difference is the map.

#include "benchmarks/subjects.h"

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

namespace benchmarks {
namespace {

void openCV(benchmark::State& state, Case const& c) {
  cv::setNumThreads(1);
  auto const& input = inputOf<unsigned char>(c);
  auto& output = outputFor(c);
  auto const sliceVoxels = static_cast<std::size_t>(c.side) * static_cast<std::size_t>(c.side);
  cv::Mat outsideMask, insideDistance, outsideDistance;
  timePerVoxel(state, c, [&] {
    for (std::size_t first = 0; first < c.voxels(); first += sliceVoxels) {
      // A Mat over memory that is only read still takes a mutable pointer.
      cv::Mat const mask(c.side, c.side, CV_8U, const_cast<unsigned char*>(input.voxels().data() + first));
      cv::Mat map(c.side, c.side, CV_32F, output.voxels().data() + first);
      cv::compare(mask, 0, outsideMask, cv::CMP_EQ);
      cv::distanceTransform(mask, insideDistance, cv::DIST_L2, cv::DIST_MASK_PRECISE);
      cv::distanceTransform(outsideMask, outsideDistance, cv::DIST_L2, cv::DIST_MASK_PRECISE);
      cv::subtract(outsideDistance, insideDistance, map);
    }
  });
  requireSameMap(state, c);
}

}  // namespace

void registerOpenCV() {
  benchmark::AddCustomContext("OpenCV", CV_VERSION);
  for (Case const& c : comparedCases()) add(c.name("opencv"), c, openCV);
  for (Case const& c : sizeCases()) {
    if (c.workload == Workload::blobs) add(c.name("opencv"), c, openCV);
  }
}

}  // namespace benchmarks
