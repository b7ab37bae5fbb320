// A program that is built once, against the baseline, and then runs with newer libraries. It uses what is
// compiled into its callers: layouts, virtual functions, inline functions, templates. Prints what must stay
// the same.

#include <lorb/algorithm/EuclideanDistanceTransform2D.h>
#include <lorb/algorithm/module.h>
#include <lorb/dataset/dump.h>

#include <cstdio>

namespace {

using lorb::Dataset;
using lorb::DatasetCoordinates;
using lorb::TImageDataset;
using Transform = lorb::EuclideanDistanceTransform2D;

void print(char const* what, TImageDataset<float, 3> const& map) {
  std::printf("%s", what);
  for (float const value : map.voxels()) std::printf(" %a", static_cast<double>(value));
  std::printf("\n");
}

class Shared : public lorb::SharedObject {
 public:
  ~Shared() override { std::printf("shared object destroyed\n"); }
};

void typed() {
  TImageDataset<short, 3> volume({5, 4, 3});
  volume(2, 2, 1) = 9;
  volume.at(1, 1, 2) = 3;
  lorb::ImageDataset const& base = volume;
  std::printf("type %u, empty %d, size %lu\n", static_cast<unsigned>(base.type_id()), base.empty(),
              base.size_array()[0]);
  for (int plane = -1; plane < 4; ++plane) {
    TImageDataset<float, 3> map({5, 4, 3});
    Transform transform;
    transform.setPlane(static_cast<Transform::PlaneOrientationE>(plane));
    transform.computeTwoSided(&base, &map);
    transform.computeTwoSided(&base, &map, 0);
    std::printf("plane %d table %d ", transform.plane, transform.sqrtTable.maxIndex);
    print("map", map);
  }
}

void generic() {
  Dataset dataset(true);
  dataset.newDataset(DatasetCoordinates(4, 3, 2, 1, 1), lorb::elementDouble, lorb::DatasetWorldEmbedding());
  dataset.announceAccessToFullDataset();
  dataset.setElement<int>(DatasetCoordinates(1, 1, 1, 0, 0), 5);
  Transform transform;
  transform.computeTwoSided(&dataset, &dataset);
  std::printf("generic %a, extent %d\n", dataset.getElement<double>(DatasetCoordinates(3, 2, 1, 0, 0)),
              dataset.getSize()[1]);
}

void kernels() {
  TImageDataset<bool, 3> volume({4, 4, 1});
  volume(1, 2, 0) = true;
  TImageDataset<float, 3> map({4, 4, 1});
  Dataset work(true);
  work.newDataset(DatasetCoordinates(4, 4, 1, 1, 1), lorb::elementUInt32, lorb::DatasetWorldEmbedding());
  Transform transform;
  transform.sqrtTable.init(32);
  Transform::sliceXY const scratch{&work, 4, 4, 1, 0, DatasetCoordinates(0, 0, 0, 0, 0)};
  Transform::IsliceXY<float> const out{&map, 4, 4, 1, 0};
  std::printf("boundary %d\n",
              transform.twoSidedIn(Transform::CIsliceXY<bool>{&volume, 4, 4, 1, 0}, scratch, out));
  transform.twoSidedOut(out, scratch);
  print("kernels", map);
}

void shared() {
  Transform transform;
  auto* const object = new Shared;
  object->refer();
  transform.referencedObject = object;
}

void placed() {
  TImageDataset<unsigned char, 3> volume({3, 1, 1});
  volume.worldEmbedding().setDatasetOrigin(lorb::WorldCoordinates(1.5, -2.0, 0.25, 0.0));
  volume.setMinMaxValue(-1.0, 2.0);
  float const values[] = {0.5F, 254.5F, 1e9F};
  lorb::dump(values, lorb::typeFloat, &volume);
  std::printf("converted %d %d %d, origin %a, largest %a, hook %d\n", volume(0, 0, 0), volume(1, 0, 0),
              volume(2, 0, 0), volume.worldEmbedding().getDatasetOrigin()[0], volume.maxValue(),
              lorb::lorb_init_algorithm());
}

}  // namespace

int main() {
  typed();
  generic();
  kernels();
  shared();
  placed();
}
