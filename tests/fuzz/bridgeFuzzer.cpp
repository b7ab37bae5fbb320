// Images of odd extents, components and scalar types into volumes and back.

#include <lorb/dataset/TImageDataset.h>
#include <lorb/vtk/toImageData.h>
#include <lorb/vtk/toImageDataset.h>

#include <tests/dataset/expectedConversion.h>
#include <tests/fuzz/fuzzing.h>
#include <tests/sanitized.h>

#include <memory>
#include <stdexcept>

#include <vtkImageData.h>
#include <vtkNew.h>
#include <vtkSmartPointer.h>

namespace {

using fuzzing::require;
using lorb::ImageDataset;
using lorb::TImageDataset;
using lorb::TypeID;
using lorb::test::agree;
using lorb::test::expectedConversion;

constexpr auto noType = static_cast<TypeID>(~0U);

/// Extents that start anywhere and may be empty; a dimension is never negative, since VTK has no such images.
void shape(vtkImageData* image, FuzzedDataProvider& data) {
  int extent[6];
  for (int axis = 0; axis < 3; ++axis) {
    extent[2 * axis] = data.ConsumeIntegralInRange(-9, 9);
    extent[2 * axis + 1] = extent[2 * axis] + data.ConsumeIntegralInRange(-1, 11);
  }
  image->SetExtent(extent);
  for (auto *const set : {+[](vtkImageData*i, double*v) { i->SetOrigin(v); },
                          +[](vtkImageData*i, double*v) { i->SetSpacing(v); }}) {
    double vector[3];
    for (double& component : vector) component = data.ConsumeFloatingPointInRange(-1e3, 1e3);
    set(image, vector);
  }
}

void fill(vtkImageData* image, FuzzedDataProvider& data) {
  int const scalarType = data.ConsumeIntegralInRange(1, 17);
  // Strings, variants and the like are no scalars of an image.
  if (scalarType == 13 || scalarType == 14) return image->AllocateScalars(VTK_FLOAT, 1);
  image->AllocateScalars(scalarType, data.ConsumeIntegralInRange(1, 4));
  std::size_t const bytes = static_cast<std::size_t>(image->GetNumberOfPoints()) *
                            static_cast<std::size_t>(image->GetNumberOfScalarComponents()) *
                            static_cast<std::size_t>(image->GetScalarSize());
  auto const values = fuzzing::elements<std::uint8_t>(data, bytes);
  if (bytes > 0 && scalarType != VTK_BIT) std::memcpy(image->GetScalarPointer(), values.data(), bytes);
}

/// The volume holds the image's first numbers, one a voxel, converted.
template <class From, class To>
void requireConverted(vtkImageData* image, TImageDataset<To, 3> const& volume) {
  auto const* const scalars = static_cast<From const*>(image->GetScalarPointer());
  std::size_t k = 0;
  for (To const value : volume.voxels())
    require(agree(value, expectedConversion<To>(scalars[k++])), "voxel differs");
}

template <class T>
void checkVolume(vtkImageData* image, TypeID source, ImageDataset const& base) {
  auto const& volume = static_cast<TImageDataset<T, 3> const&>(base);
  for (int axis = 0; axis < 3; ++axis) {
    require(volume.extents[static_cast<std::size_t>(axis)] ==
                static_cast<std::uint64_t>(image->GetDimensions()[axis]),
            "extents differ");
    require(volume.worldEmbedding().getDatasetOrigin()[axis] == image->GetOrigin()[axis], "origin differs");
    require(volume.worldEmbedding().getVoxelSpacing()[axis] == image->GetSpacing()[axis], "spacing differs");
  }
  lorb::visitElementType(source, [&]<class From>(std::type_identity<From>) {
    if constexpr (!std::is_same_v<From, bool> && !std::is_same_v<T, bool>)
      requireConverted<From>(image, volume);
  });
}

/// Back to an image, in the volume's own type.
void checkBack(ImageDataset const& volume) {
  auto const image = vtkSmartPointer<vtkImageData>::Take(lorb::toImageData(&volume));
  require(image != nullptr, "no image");
  require(lorb::toTypeID(image->GetScalarType()) == volume.type_id(), "type differs");
  lorb::visitElementType(volume.type_id(), [&]<class T>(std::type_identity<T>) {
    checkVolume<T>(image, volume.type_id(), volume);
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* bytes, std::size_t size) {
  vtkObject::GlobalWarningDisplayOff();
  FuzzedDataProvider data(bytes, size);
  vtkNew<vtkImageData> image;
  auto const target = static_cast<TypeID>(data.ConsumeIntegralInRange(-1, 13));
  shape(image, data);
  fill(image, data);
  TypeID const source = lorb::toTypeID(image->GetScalarType());
  bool const known = target >= 2 && target <= 11;

  std::unique_ptr<ImageDataset> own(lorb::toImageDataset(image));
  require((own == nullptr) == (source == noType), "volume of an image without type, or none");
  std::unique_ptr<ImageDataset> converted;
  try {
    lorb::test::LeaksExpected const unfinished;  // `dump` refuses images without a type
    converted.reset(lorb::toImageDataset(image, target));
    require((converted == nullptr) == !known, "volume of an unknown type, or none");
  } catch (std::invalid_argument const&) {
    require(known && source == noType, "known types refused");
  }
  for (ImageDataset const* volume : {own.get(), converted.get()}) {
    if (volume == nullptr) continue;
    lorb::visitElementType(volume->type_id(),
                           [&]<class T>(std::type_identity<T>) { checkVolume<T>(image, source, *volume); });
    checkBack(*volume);
  }
  return 0;
}
