// Volumes there and back again through vtkImageData.

#if LORB_WITH_VTK

#include <lorb/vtk/toImageData.h>
#include <lorb/vtk/toImageDataset.h>

#include <tests/properties/Scene.h>
#include <tests/vtk/images.h>

#include <cstring>
#include <memory>

namespace {

using lorb::TImageDataset;
using lorb::test::Scene;

/// Voxels of any bits, NaN included.
template <class T>
TImageDataset<T, 3> anyVolume(Scene const& scene) {
  TImageDataset<T, 3> volume(scene.counts());
  std::mt19937 random(*rc::gen::arbitrary<unsigned>());
  for (T& voxel : volume.voxels()) {
    std::uint64_t const bits = random() * std::uint64_t{0x9E3779B97F4A7C15};
    std::memcpy(&voxel, &bits, sizeof(T));
  }
  auto const vector = *rc::gen::arbitrary<std::array<double, 6>>();
  volume.worldEmbedding().setDatasetOrigin({vector[0], vector[1], vector[2], 0.0});
  volume.worldEmbedding().setVoxelSpacing({vector[3], vector[4], vector[5], 0.0});
  return volume;
}

RC_GTEST_PROP(BridgeProperties, TypeGeometryAndBitsSurviveThereAndBack, (Scene const& scene)) {
  lorb::test::forEachVtkElementType([&]<class T>(std::type_identity<T>) {
    auto const volume = anyVolume<T>(scene);
    auto const image = vtkSmartPointer<vtkImageData>::Take(lorb::toImageData(&volume));
    std::unique_ptr<lorb::ImageDataset> const back(lorb::toImageDataset(image));
    RC_ASSERT(back->type_id() == lorb::typeIDOf<T>);
    auto const& copy = static_cast<TImageDataset<T, 3> const&>(*back);
    RC_ASSERT(copy.extents == volume.extents);
    RC_ASSERT(std::memcmp(copy.voxels().data(), volume.voxels().data(), volume.voxels().size_bytes()) == 0);
    RC_ASSERT(copy.worldEmbedding().getDatasetOrigin() == volume.worldEmbedding().getDatasetOrigin());
    RC_ASSERT(copy.worldEmbedding().getVoxelSpacing() == volume.worldEmbedding().getVoxelSpacing());
  });
}

RC_GTEST_PROP(BridgeProperties, ConvertingOnTheWayOutOrBackIsTheSame, (Scene const& scene)) {
  auto const volume = anyVolume<double>(scene);
  lorb::test::forEachVtkElementType([&]<class T>(std::type_identity<T>) {
    auto const plain = vtkSmartPointer<vtkImageData>::Take(lorb::toImageData(&volume));
    auto const converted = vtkSmartPointer<vtkImageData>::Take(lorb::toImageData(&volume, lorb::typeIDOf<T>));
    std::unique_ptr<lorb::ImageDataset> const onTheWayBack(lorb::toImageDataset(plain, lorb::typeIDOf<T>));
    std::unique_ptr<lorb::ImageDataset> const onTheWayOut(lorb::toImageDataset(converted));
    auto const a = static_cast<TImageDataset<T, 3> const&>(*onTheWayBack).voxels();
    auto const b = static_cast<TImageDataset<T, 3> const&>(*onTheWayOut).voxels();
    RC_ASSERT(a.size() == b.size());
    RC_ASSERT(std::memcmp(a.data(), b.data(), a.size_bytes()) == 0);
  });
}

}  // namespace

#endif
