#include <lorb/vtk/toImageData.h>
#include <lorb/vtk/toImageDataset.h>

#include <tests/sanitized.h>
#include <tests/vtk/images.h>

#include <climits>
#include <memory>
#include <stdexcept>
#include <string>

namespace lorb {
namespace {

using test::agree;
using test::edgeImage;
using test::expectedConversion;
using test::forEachVtkElementType;
using test::nameOf;
using test::shape4x3x2;
using test::vtkTypeOf;

constexpr auto noType = static_cast<TypeID>(~0U);
using Owned = std::unique_ptr<ImageDataset>;

template <class T>
TImageDataset<T, 3> const& typed(Owned const& volume) {
  return dynamic_cast<TImageDataset<T, 3> const&>(*volume);
}

/// An image 4 × 3 × 2 of the bytes 0, 10, 20 …
vtkSmartPointer<vtkImageData> byteImage() {
  auto const image = vtkSmartPointer<vtkImageData>::New();
  shape4x3x2(image, VTK_UNSIGNED_CHAR);
  auto* const scalars = static_cast<unsigned char*>(image->GetScalarPointer());
  for (int k = 0; k < 24; ++k) scalars[k] = static_cast<unsigned char>(10 * k);
  return image;
}

TEST(ToTypeIDTest, MapsEveryScalarType) {
  struct Row {
    int scalarType;
    TypeID expected;
  };
  for (auto const& [scalarType, expected] : {
           Row{2, typeInt8},    {3, typeUInt8}, {4, typeInt16},    {5, typeUInt16},   {6, typeInt32},
           Row{7, typeUInt32},  {8, noType},    {9, noType},       {10, typeFloat},   {11, typeDouble},
           Row{12, noType},     {13, noType},   {14, noType},      {15, noType},      {16, typeInt64},
           Row{17, typeUInt64}, {0, noType},    {1, noType},       {-1, noType},      {-5, noType},
           Row{18, noType},     {19, noType},   {20, noType},      {21, noType},      {22, noType},
           Row{258, noType},    {-254, noType}, {INT_MAX, noType}, {INT_MIN, noType},
       }) {
    EXPECT_EQ(toTypeID(scalarType), expected) << "scalar type " << scalarType;
  }
}

TEST(ToTypeIDTest, FollowsTheConstantsOfVtk) {
  forEachVtkElementType(
      []<class T>(std::type_identity<T>) { EXPECT_EQ(toTypeID(vtkTypeOf<T>), typeIDOf<T>) << nameOf<T>; });
  EXPECT_EQ(toTypeID(VTK_CHAR), typeInt8);
  EXPECT_EQ(toTypeID(VTK_SIGNED_CHAR), noType);
  EXPECT_EQ(toTypeID(VTK_LONG), noType);
  EXPECT_EQ(toTypeID(VTK_UNSIGNED_LONG), noType);
  EXPECT_EQ(toTypeID(VTK_LONG_LONG), typeInt64);
  EXPECT_EQ(toTypeID(VTK_UNSIGNED_LONG_LONG), typeUInt64);
  EXPECT_EQ(toTypeID(VTK_BIT), noType);
  EXPECT_EQ(toTypeID(VTK_ID_TYPE), noType);
}

TEST(ToImageDatasetTest, KeepsTypeGeometryAndVoxels) {
  auto const image = byteImage();
  Owned const volume(toImageDataset(image));
  ASSERT_NE(volume, nullptr);
  EXPECT_EQ(volume->type_id(), typeUInt8);
  auto const& bytes = typed<unsigned char>(volume);
  EXPECT_EQ(bytes.extents, (std::array<std::uint64_t, 3>{4, 3, 2}));
  ASSERT_EQ(bytes.pages.size(), 1U);
  EXPECT_EQ(bytes.pages[0].extents, bytes.extents);
  ASSERT_EQ(bytes.pages[0].data.size(), 24U);
  for (std::size_t k = 0; k < 24; ++k) EXPECT_EQ(bytes.pages[0].data[k], 10 * k);
  EXPECT_EQ(bytes(3, 2, 1), *static_cast<unsigned char*>(image->GetScalarPointer(3, 2, 1)));
  EXPECT_EQ(volume->worldEmbedding().getDatasetOrigin(), WorldCoordinates(1.5, -2.0, 0.0, 0.0));
  EXPECT_EQ(volume->worldEmbedding().getVoxelSpacing(), WorldCoordinates(0.5, 0.5, 2.0, 0.0));
  EXPECT_EQ(volume->minValue(), 1.0);
  EXPECT_EQ(volume->maxValue(), 0.0);
}

TEST(ToImageDatasetTest, ConvertsToTheTargetType) {
  Owned const volume(toImageDataset(byteImage(), typeFloat));
  ASSERT_NE(volume, nullptr);
  EXPECT_EQ(volume->type_id(), typeFloat);
  auto const& floats = typed<float>(volume);
  ASSERT_EQ(floats.voxels().size(), 24U);
  for (std::size_t k = 0; k < 24; ++k) EXPECT_EQ(floats.voxels()[k], 10.0F * static_cast<float>(k));
  EXPECT_EQ(volume->worldEmbedding().getDatasetOrigin(), WorldCoordinates(1.5, -2.0, 0.0, 0.0));
}

TEST(ToImageDatasetTest, LeavesTheImageAsItWas) {
  auto const image = byteImage();
  auto const before = vtkSmartPointer<vtkImageData>::New();
  before->DeepCopy(image);
  vtkMTimeType const time = image->GetMTime();
  Owned const volume(toImageDataset(image, typeInt16));
  EXPECT_EQ(image->GetMTime(), time);
  EXPECT_EQ(image->GetReferenceCount(), 1);
  EXPECT_EQ(std::memcmp(image->GetScalarPointer(), before->GetScalarPointer(), 24), 0);
}

TEST(ToImageDatasetTest, ConvertsEveryPairOfTypesByTheRule) {
  forEachVtkElementType([]<class S>(std::type_identity<S>) {
    auto const image = edgeImage<S>();
    auto const* const scalars = static_cast<S const*>(image->GetScalarPointer());
    forEachVtkElementType([&]<class T>(std::type_identity<T>) {
      Owned const volume(toImageDataset(image, typeIDOf<T>));
      ASSERT_NE(volume, nullptr);
      ASSERT_EQ(volume->type_id(), typeIDOf<T>);
      auto const voxels = typed<T>(volume).voxels();
      ASSERT_EQ(voxels.size(), static_cast<std::size_t>(image->GetNumberOfPoints()));
      for (std::size_t k = 0; k < voxels.size(); ++k) {
        ASSERT_TRUE(agree(voxels[k], expectedConversion<T>(scalars[k])))
            << nameOf<S> << " " << +scalars[k] << " became " << nameOf<T> << " " << +voxels[k];
      }
    });
  });
}

TEST(ToImageDatasetTest, KeepsTypeGeometryAndBitsThereAndBack) {
  forEachVtkElementType([]<class T>(std::type_identity<T>) {
    auto const image = edgeImage<T>();
    image->SetOrigin(0.1, 1e300, -3.0);
    image->SetSpacing(0.3, 1e-300, 7.0);
    Owned const volume(toImageDataset(image));
    ASSERT_NE(volume, nullptr) << nameOf<T>;
    auto const back = vtkSmartPointer<vtkImageData>::Take(toImageData(volume.get()));
    ASSERT_NE(back, nullptr) << nameOf<T>;
    EXPECT_EQ(back->GetScalarType(), vtkTypeOf<T>);
    for (int axis = 0; axis < 3; ++axis) {
      EXPECT_EQ(back->GetDimensions()[axis], image->GetDimensions()[axis]);
      EXPECT_EQ(back->GetOrigin()[axis], image->GetOrigin()[axis]);
      EXPECT_EQ(back->GetSpacing()[axis], image->GetSpacing()[axis]);
    }
    auto const bytes = static_cast<std::size_t>(image->GetNumberOfPoints()) * sizeof(T);
    EXPECT_EQ(std::memcmp(back->GetScalarPointer(), image->GetScalarPointer(), bytes), 0) << nameOf<T>;
  });
}

TEST(ToImageDatasetTest, IsNullForTargetsWithoutVtkType) {
  auto const image = byteImage();
  for (TypeID const target : {typeNone, typeBool, static_cast<TypeID>(12), noType}) {
    EXPECT_EQ(toImageDataset(image, target), nullptr) << target;
  }
}

TEST(ToImageDatasetTest, IsNullForImagesOfUnmappedType) {
  for (int const scalarType : {VTK_LONG, VTK_UNSIGNED_LONG, VTK_SIGNED_CHAR, VTK_ID_TYPE}) {
    vtkNew<vtkImageData> image;
    shape4x3x2(image, scalarType);
    EXPECT_EQ(toImageDataset(image), nullptr) << scalarType;
    EXPECT_EQ(toImageDataset(image, typeBool), nullptr) << scalarType;
  }
}

TEST(ToImageDatasetTest, PassesOnThatTheScalarsAreOfUnmappedType) {
  lorb::test::LeaksExpected const unfinished;
  for (int const scalarType : {VTK_LONG, VTK_UNSIGNED_LONG, VTK_SIGNED_CHAR, VTK_ID_TYPE}) {
    vtkNew<vtkImageData> image;
    shape4x3x2(image, scalarType);
    try {
      toImageDataset(image, typeInt64);
      ADD_FAILURE() << "scalar type " << scalarType << " was accepted";
    } catch (std::invalid_argument const& error) {
      EXPECT_NE(std::string(error.what()).find("4294967295"), std::string::npos) << error.what();
    }
  }
}

TEST(ToImageDatasetTest, HasNoPageForAnImageWithoutDimensions) {
  vtkNew<vtkImageData> image;
  image->SetOrigin(1.5, -2.0, 0.0);
  image->SetSpacing(0.5, 0.5, 2.0);
  image->AllocateScalars(VTK_SHORT, 1);
  ASSERT_EQ(image->GetDimensions()[0], 0);
  Owned const volume(toImageDataset(image));
  ASSERT_NE(volume, nullptr);
  EXPECT_EQ(volume->type_id(), typeInt16);
  EXPECT_TRUE(volume->empty());
  EXPECT_EQ(volume->size_array()[0], 0U);
  EXPECT_EQ(volume->worldEmbedding().getDatasetOrigin(), WorldCoordinates(1.5, -2.0, 0.0, 0.0));
  EXPECT_EQ(volume->worldEmbedding().getVoxelSpacing(), WorldCoordinates(0.5, 0.5, 2.0, 0.0));
}

TEST(ToImageDatasetTest, StillAsksForTheTypeOfAnImageWithoutDimensions) {
  vtkNew<vtkImageData> image;
  image->AllocateScalars(VTK_LONG, 1);
  lorb::test::LeaksExpected const unfinished;
  EXPECT_THROW(toImageDataset(image, typeFloat), std::invalid_argument);
}

TEST(ToImageDatasetTest, TakesTheOriginAsItIsWhereverTheExtentBegins) {
  vtkNew<vtkImageData> image;
  image->SetExtent(5, 8, -3, -1, 100, 101);
  image->SetOrigin(1.5, -2.0, 0.0);
  image->SetSpacing(0.5, 0.5, 2.0);
  image->AllocateScalars(VTK_INT, 1);
  for (int k = 0; k < 24; ++k) static_cast<int*>(image->GetScalarPointer())[k] = 100 + k;
  Owned const volume(toImageDataset(image));
  auto const& integers = typed<int>(volume);
  EXPECT_EQ(integers.extents, (std::array<std::uint64_t, 3>{4, 3, 2}));
  EXPECT_EQ(integers(0, 0, 0), 100);
  EXPECT_EQ(integers(3, 2, 1), 123);
  EXPECT_EQ(integers(1, 2, 1), *static_cast<int*>(image->GetScalarPointer(6, -1, 101)));
  EXPECT_EQ(volume->worldEmbedding().getDatasetOrigin(), WorldCoordinates(1.5, -2.0, 0.0, 0.0));
}

TEST(ToImageDatasetTest, RefusesNegativeDimensions) {
  vtkNew<vtkImageData> image;
  image->SetExtent(0, -3, 0, 0, 0, 0);
  if (image->GetDimensions()[0] >= 0) GTEST_SKIP() << "this VTK makes negative dimensions 0";
  lorb::test::LeaksExpected const unfinished;
  EXPECT_THROW(toImageDataset(image, typeUInt8), std::length_error);
}

TEST(DoConvertFromImageTest, LeavesTheResultAloneForTargetsWithoutVtkType) {
  auto const image = byteImage();
  TImageDataset<int, 3> other;
  for (TypeID const target : {typeNone, typeBool, static_cast<TypeID>(12), noType}) {
    ImageDataset* result = &other;
    do_convert(image, typeUInt8, result, target);
    EXPECT_EQ(result, &other) << target;
  }
}

TEST(DoConvertFromImageTest, LeavesTheResultAloneWhenTheSourceIsRefused) {
  auto const image = byteImage();
  TImageDataset<int, 3> other;
  lorb::test::LeaksExpected const unfinished;
  for (TypeID const source : {typeNone, static_cast<TypeID>(12), noType}) {
    ImageDataset* result = &other;
    EXPECT_THROW(do_convert(image, source, result, typeFloat), std::invalid_argument);
    EXPECT_EQ(result, &other) << source;
  }
}

TEST(DoConvertFromImageTest, ReadsTheScalarsAsTheSourceTypeSays) {
  auto const image = byteImage();
  ImageDataset* result = nullptr;
  do_convert(image, typeInt8, result, typeInt32);
  Owned const volume(result);
  auto const& integers = typed<int>(volume);
  EXPECT_EQ(integers.voxels()[12], 120);
  EXPECT_EQ(integers.voxels()[13], 130 - 256);
}

TEST(DoConvertFromImageTest, HasOneWorkerPerTarget) {
  auto const image = byteImage();
  forEachVtkElementType([&]<class T>(std::type_identity<T>) {
    ImageDataset* result = nullptr;
    do_convert<T>(image, typeUInt8, result);
    Owned const volume(result);
    ASSERT_NE(volume, nullptr);
    EXPECT_EQ(volume->type_id(), typeIDOf<T>);
    EXPECT_EQ(typed<T>(volume)(3, 0, 0), T(30));
  });
}

}  // namespace
}  // namespace lorb
