#include <lorb/vtk/toImageData.h>
#include <lorb/vtk/toImageDataset.h>

#include <tests/vtk/images.h>

#include <limits>
#include <memory>

namespace lorb {
namespace {

using test::agree;
using test::edgeVolume;
using test::expectedConversion;
using test::forEachElementType;
using test::forEachVtkElementType;
using test::nameOf;
using test::vtkTypeOf;

using Owned = vtkSmartPointer<vtkImageData>;

Owned own(vtkImageData* image) {
  return Owned::Take(image);
}

/// A volume 4 × 3 × 2 of the values 0, 10, 20 … (true and false in turn for `bool`).
template <class T>
TImageDataset<T, 3> volume4x3x2() {
  TImageDataset<T, 3> volume({4, 3, 2});
  for (unsigned k = 0; k < 24; ++k) {
    volume.pages[0].data[k] = std::is_same_v<T, bool> ? T(k % 2) : static_cast<T>(10 * k);
  }
  volume.worldEmbedding().setDatasetOrigin(WorldCoordinates(1.5, -2.0, 0.0, 9.0));
  volume.worldEmbedding().setVoxelSpacing(WorldCoordinates(0.5, 0.5, 2.0, 9.0));
  return volume;
}

void expectGeometry4x3x2(vtkImageData* image) {
  int const extent[6] = {0, 3, 0, 2, 0, 1}, dimensions[3] = {4, 3, 2};
  double const origin[3] = {1.5, -2.0, 0.0}, spacing[3] = {0.5, 0.5, 2.0};
  for (int k = 0; k < 6; ++k) EXPECT_EQ(image->GetExtent()[k], extent[k]) << k;
  for (int axis = 0; axis < 3; ++axis) {
    EXPECT_EQ(image->GetDimensions()[axis], dimensions[axis]) << axis;
    EXPECT_EQ(image->GetOrigin()[axis], origin[axis]) << axis;
    EXPECT_EQ(image->GetSpacing()[axis], spacing[axis]) << axis;
  }
  EXPECT_EQ(image->GetNumberOfScalarComponents(), 1);
  EXPECT_EQ(image->GetNumberOfPoints(), 24);
}

/// A volume of a type that nobody knows.
struct StrangeVolume : ImageDataset {
  explicit StrangeVolume(unsigned volumeCode) : code(volumeCode) {}
  TypeID type_id() const override {
    ++asked;
    return static_cast<TypeID>(code);
  }
  bool empty() const override { return false; }
  std::uint64_t const* size_array() const override { return size; }
  unsigned code;
  mutable int asked = 0;
  std::uint64_t size[3] = {1, 1, 1};
};

TEST(ToImageDataTest, AsksForTheTypeOnce) {
  StrangeVolume const volume(12);
  EXPECT_EQ(toImageData(&volume), nullptr);
  EXPECT_EQ(volume.asked, 1);
  EXPECT_EQ(toImageData(&volume, typeFloat), nullptr);
  EXPECT_EQ(volume.asked, 2);
}

TEST(ToImageDataTest, KeepsTypeGeometryAndVoxels) {
  auto const volume = volume4x3x2<float>();
  Owned const image = own(toImageData(&volume));
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->GetReferenceCount(), 1);
  EXPECT_EQ(image->GetScalarType(), VTK_FLOAT);
  EXPECT_EQ(image->GetNumberOfScalarComponents(), 1);
  expectGeometry4x3x2(image);
  for (int z = 0, k = 0; z < 2; ++z)
    for (int y = 0; y < 3; ++y)
      for (int x = 0; x < 4; ++x, ++k) {
        EXPECT_EQ(*static_cast<float*>(image->GetScalarPointer(x, y, z)), 10.0F * static_cast<float>(k));
      }
}

TEST(ToImageDataTest, ConvertsToTheTargetType) {
  auto const volume = volume4x3x2<float>();
  Owned const image = own(toImageData(&volume, typeUInt8));
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->GetScalarType(), VTK_UNSIGNED_CHAR);
  expectGeometry4x3x2(image);
  auto const* const scalars = static_cast<unsigned char const*>(image->GetScalarPointer());
  for (int k = 0; k < 24; ++k) EXPECT_EQ(scalars[k], 10 * k);
}

TEST(ToImageDataTest, KeepsEveryTypeThatVtkHas) {
  forEachVtkElementType([]<class T>(std::type_identity<T>) {
    auto const volume = volume4x3x2<T>();
    Owned const image = own(toImageData(&volume));
    ASSERT_NE(image, nullptr) << nameOf<T>;
    EXPECT_EQ(image->GetScalarType(), vtkTypeOf<T>);
    EXPECT_EQ(toTypeID(image->GetScalarType()), typeIDOf<T>);
  });
}

TEST(ToImageDataTest, ConvertsEveryPairOfTypesByTheRule) {
  forEachElementType([]<class S>(std::type_identity<S>) {
    TImageDataset<S, 3> const volume = edgeVolume<S>();
    auto const& voxels = volume.pages[0].data;
    forEachVtkElementType([&]<class D>(std::type_identity<D>) {
      Owned const image = own(toImageData(&volume, typeIDOf<D>));
      ASSERT_NE(image, nullptr);
      ASSERT_EQ(image->GetScalarType(), vtkTypeOf<D>);
      ASSERT_EQ(static_cast<std::size_t>(image->GetNumberOfPoints()), voxels.size());
      auto const* const scalars = static_cast<D const*>(image->GetScalarPointer());
      for (std::size_t k = 0; k < voxels.size(); ++k) {
        S const value = voxels[k];
        ASSERT_TRUE(agree(scalars[k], expectedConversion<D>(value)))
            << nameOf<S> << " " << +value << " became " << nameOf<D> << " " << +scalars[k];
      }
    });
  });
}

TEST(ToImageDataTest, KeepsTypeGeometryAndBitsThereAndBack) {
  forEachVtkElementType([]<class T>(std::type_identity<T>) {
    TImageDataset<T, 3> const volume = edgeVolume<T>();
    Owned const image = own(toImageData(&volume));
    ASSERT_NE(image, nullptr) << nameOf<T>;
    std::unique_ptr<ImageDataset> const back(toImageDataset(image));
    ASSERT_NE(back, nullptr) << nameOf<T>;
    ASSERT_EQ(back->type_id(), typeIDOf<T>);
    auto const& copy = dynamic_cast<TImageDataset<T, 3> const&>(*back);
    EXPECT_EQ(copy.extents, volume.extents);
    EXPECT_EQ(back->worldEmbedding().getDatasetOrigin(), volume.worldEmbedding().getDatasetOrigin());
    EXPECT_EQ(back->worldEmbedding().getVoxelSpacing(), volume.worldEmbedding().getVoxelSpacing());
    EXPECT_EQ(std::memcmp(copy.voxels().data(), volume.voxels().data(), volume.voxels().size_bytes()), 0)
        << nameOf<T>;
  });
}

TEST(ToImageDataTest, MakesLongLongOfLongAndLongAgain) {
  auto const volume = volume4x3x2<long>();
  Owned const image = own(toImageData(&volume));
  EXPECT_EQ(image->GetScalarType(), VTK_LONG_LONG);
  std::unique_ptr<ImageDataset> const back(toImageDataset(image));
  EXPECT_EQ(back->type_id(), typeInt64);
}

TEST(ToImageDataTest, IsNullForBitsUnlessAskedForAnotherType) {
  auto const volume = volume4x3x2<bool>();
  EXPECT_EQ(toImageData(&volume), nullptr);
  Owned const image = own(toImageData(&volume, typeUInt8));
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->GetScalarType(), VTK_UNSIGNED_CHAR);
  expectGeometry4x3x2(image);
  auto const* const scalars = static_cast<unsigned char const*>(image->GetScalarPointer());
  for (int k = 0; k < 24; ++k) EXPECT_EQ(scalars[k], k % 2);
}

TEST(ToImageDataTest, IsNullForTargetsWithoutVtkType) {
  forEachElementType([]<class S>(std::type_identity<S>) {
    auto const volume = volume4x3x2<S>();
    for (unsigned const target : {0U, 1U, 12U, ~0U}) {
      EXPECT_EQ(toImageData(&volume, static_cast<TypeID>(target)), nullptr) << nameOf<S> << " to " << target;
    }
  });
}

TEST(ToImageDataTest, IsNullForVolumesOfUnknownType) {
  for (unsigned const code : {0U, 12U, ~0U}) {
    StrangeVolume const volume(code);
    EXPECT_EQ(toImageData(&volume), nullptr) << code;
    EXPECT_EQ(toImageData(&volume, typeFloat), nullptr) << code;
  }
}

TEST(ToImageDataTest, MakesAnImageWithoutVoxelsOfAnEmptyVolume) {
  TImageDataset<short, 3> volume;
  volume.worldEmbedding().setDatasetOrigin(WorldCoordinates(1.5, -2.0, 0.0, 0.0));
  Owned const image = own(toImageData(&volume));
  ASSERT_NE(image, nullptr);
  int const extent[6] = {0, -1, 0, -1, 0, -1};
  for (int k = 0; k < 6; ++k) EXPECT_EQ(image->GetExtent()[k], extent[k]) << k;
  EXPECT_EQ(image->GetNumberOfPoints(), 0);
  EXPECT_EQ(image->GetScalarType(), VTK_SHORT);
  EXPECT_EQ(image->GetOrigin()[1], -2.0);
}

TEST(ToImageDataTest, ExtentsBeyondIntegersAreCutToTheirLowBits) {
  /// Says that it is 2³¹ voxels wide and holds none.
  struct Wide : TImageDataset<unsigned char, 3> {
    std::uint64_t size[3] = {std::uint64_t{1} << 31, 0, 0};
    std::uint64_t const* size_array() const override { return size; }
  };
  Wide const wide;
  Owned const image = own(toImageData(&wide));
  EXPECT_EQ(image->GetExtent()[1], std::numeric_limits<int>::max());
}

TEST(ToImageDataTest, LeavesTheVolumeAsItWas) {
  auto volume = volume4x3x2<float>();
  volume.setMinMaxValue(0.0, 230.0);
  auto const before = volume;
  Owned const image = own(toImageData(&volume, typeInt16));
  *static_cast<short*>(image->GetScalarPointer()) = 1;
  EXPECT_EQ(volume.pages[0].data, before.pages[0].data);
  EXPECT_EQ(volume.maxValue(), 230.0);
}

TEST(DoConvertToImageTest, LeavesTheResultAloneForTargetsWithoutVtkType) {
  vtkNew<vtkImageData> other;
  forEachElementType([&]<class S>(std::type_identity<S>) {
    auto const volume = volume4x3x2<S>();
    for (unsigned const target : {0U, 1U, 12U, ~0U}) {
      vtkImageData* result = other;
      do_convert<S>(&volume, result, static_cast<TypeID>(target));
      EXPECT_EQ(result, other) << nameOf<S> << " to " << target;
    }
  });
}

TEST(DoConvertToImageTest, HasOneWorkerPerPairOfTypes) {
  forEachElementType([]<class S>(std::type_identity<S>) {
    auto const volume = volume4x3x2<S>();
    forEachVtkElementType([&]<class D>(std::type_identity<D>) {
      vtkImageData *byWorker = nullptr, *byDispatcher = nullptr;
      do_convert<S, D>(&volume, byWorker);
      do_convert<S>(&volume, byDispatcher, typeIDOf<D>);
      Owned const one = own(byWorker), other = own(byDispatcher);
      ASSERT_NE(one, nullptr);
      ASSERT_NE(other, nullptr);
      EXPECT_EQ(one->GetScalarType(), vtkTypeOf<D>);
      EXPECT_EQ(other->GetScalarType(), vtkTypeOf<D>);
      expectGeometry4x3x2(one);
      D const second = expectedConversion<D>(S(volume(1, 0, 0)));
      EXPECT_EQ(static_cast<D*>(one->GetScalarPointer())[1], second);
      EXPECT_EQ(std::memcmp(one->GetScalarPointer(), other->GetScalarPointer(), 24 * sizeof(D)), 0);
    });
  });
}

}  // namespace
}  // namespace lorb
