#include <lorb/dataset/TImageDataset.h>
#include <lorb/dataset/dump.h>
#include <lorb/vtk/toImageDataset.h>

#include <array>
#include <cstdint>
#include <iterator>
#include <type_traits>

#include <vtkImageData.h>

namespace lorb {
namespace {

constexpr auto noTypeID = static_cast<TypeID>(~0U);

}  // namespace

TypeID toTypeID(int vtkScalarType) {
  switch (vtkScalarType) {
    case VTK_CHAR:
      return typeInt8;
    case VTK_UNSIGNED_CHAR:
      return typeUInt8;
    case VTK_SHORT:
      return typeInt16;
    case VTK_UNSIGNED_SHORT:
      return typeUInt16;
    case VTK_INT:
      return typeInt32;
    case VTK_UNSIGNED_INT:
      return typeUInt32;
    case VTK_FLOAT:
      return typeFloat;
    case VTK_DOUBLE:
      return typeDouble;
    case VTK_LONG_LONG:
      return typeInt64;
    case VTK_UNSIGNED_LONG_LONG:
      return typeUInt64;
    default:  // VTK's constants are plain integers, most of which are no scalar type of ours
      return noTypeID;
  }
}

ImageDataset* toImageDataset(vtkImageData const* image) {
  return toImageDataset(image, toTypeID(const_cast<vtkImageData*>(image)->GetScalarType()));
}

ImageDataset* toImageDataset(vtkImageData const* image, TypeID target) {
  // The worker only reads the image, but through VTK calls that are not const.
  auto* const readable = const_cast<vtkImageData*>(image);
  ImageDataset* result = nullptr;
  do_convert(readable, toTypeID(readable->GetScalarType()), result, target);
  return result;
}

namespace {

/// A negative dimension becomes a huge count, which `resize` refuses.
std::array<std::uint64_t, 3> extentsOf(vtkImageData* image) {
  int dimensions[3];
  image->GetDimensions(dimensions);
  return {static_cast<std::uint64_t>(dimensions[0]), static_cast<std::uint64_t>(dimensions[1]),
          static_cast<std::uint64_t>(dimensions[2])};
}

/// Placement and voxels of an image, into a volume of its extents.
void copy(vtkImageData* image, TypeID source, ImageDataset& volume) {
  double vector[3];
  image->GetOrigin(vector);
  volume.worldEmbedding().setDatasetOrigin(WorldCoordinates(vector[0], vector[1], vector[2], 0.0));
  image->GetSpacing(vector);
  volume.worldEmbedding().setVoxelSpacing(WorldCoordinates(vector[0], vector[1], vector[2], 0.0));

  dump(image->GetScalarPointer(), source, &volume);
}

}  // namespace

template <class T>
void do_convert(vtkImageData* image, TypeID source, ImageDataset*& result) {
  auto const extents = extentsOf(image);  // before anything is allocated
  // By contract a volume whose making fails halfway is neither destroyed nor handed out.
  auto* const volume = new TImageDataset<T, 3>();
  volume->resize(extents);
  copy(image, source, *volume);
  result = volume;
}

namespace {

using Worker = void (*)(vtkImageData*, TypeID, ImageDataset*&);

template <class T>
constexpr Worker workerFor() {
  if constexpr (std::is_same_v<T, bool>) {
    return nullptr;
  } else {
    return &do_convert<T>;
  }
}

/// A table rather than a switch: naming their addresses keeps all workers in the library.
constexpr Worker workers[] = {nullptr,  // typeNone
#define LORB_ROW(id, element, T, name) workerFor<T>(),
                              LORB_FOR_EACH_ELEMENT_TYPE(LORB_ROW)
#undef LORB_ROW
};

}  // namespace

void do_convert(vtkImageData* image, TypeID source, ImageDataset*& result, TypeID target) {
  if (target < std::size(workers) && workers[target] != nullptr) workers[target](image, source, result);
}

}  // namespace lorb
