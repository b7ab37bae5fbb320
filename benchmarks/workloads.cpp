#include "benchmarks/workloads.h"

#include <cmath>
#include <random>

namespace benchmarks {
namespace {

/// A slice under construction; what falls outside is dropped.
struct Canvas {
  explicit Canvas(int s) : side(s), voxels(static_cast<std::size_t>(s) * static_cast<std::size_t>(s)) {}

  void set(int x, int y) {
    if (x < 0 || y < 0 || x >= side || y >= side) return;
    voxels[static_cast<std::size_t>(y) * static_cast<std::size_t>(side) + static_cast<std::size_t>(x)] = 1;
  }

  int side;
  std::vector<std::uint8_t> voxels;
};

void drawBlobs(Canvas& canvas, std::mt19937& random) {
  std::uniform_real_distribution<double> place(0.0, canvas.side);
  std::uniform_real_distribution<double> halfAxis(0.03 * canvas.side, 0.15 * canvas.side);
  for (int blob = 0; blob < 24; ++blob) {
    double const cx = place(random), cy = place(random), a = halfAxis(random), b = halfAxis(random);
    for (int y = static_cast<int>(cy - b); y <= cy + b; ++y) {
      for (int x = static_cast<int>(cx - a); x <= cx + a; ++x) {
        double const u = (x - cx) / a, v = (y - cy) / b;
        if (u * u + v * v <= 1.0) canvas.set(x, y);
      }
    }
  }
}

void drawThin(Canvas& canvas, std::mt19937& random) {
  std::uniform_real_distribution<double> place(0.0, canvas.side);
  std::uniform_real_distribution<double> angle(0.0, 6.283185307179586);
  std::normal_distribution<double> bend(0.0, 0.05);
  for (int curve = 0; curve < 40; ++curve) {
    double x = place(random), y = place(random), direction = angle(random);
    for (int step = 0; step < canvas.side; ++step) {
      canvas.set(static_cast<int>(x), static_cast<int>(y));
      direction += bend(random);
      x += std::cos(direction);
      y += std::sin(direction);
    }
  }
}

}  // namespace

char const* nameOf(Workload workload) {
  switch (workload) {
    case Workload::blobs:
      return "blobs";
    case Workload::thin:
      return "thin";
    case Workload::noise:
      return "noise";
    case Workload::singleVoxel:
      return "single";
    case Workload::empty:
      return "empty";
  }
  return "";
}

std::vector<std::uint8_t> makeSlice(Workload workload, int side, unsigned seed) {
  Canvas canvas(side);
  std::mt19937 random(seed);
  switch (workload) {
    case Workload::blobs:
      drawBlobs(canvas, random);
      break;
    case Workload::thin:
      drawThin(canvas, random);
      break;
    case Workload::noise:
      for (std::uint8_t& voxel : canvas.voxels) voxel = random() & 1;
      break;
    case Workload::singleVoxel:
      canvas.set(side * 3 / 7, side * 4 / 7);
      break;
    case Workload::empty:
      break;
  }
  return canvas.voxels;
}

}  // namespace benchmarks
