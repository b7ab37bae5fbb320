#include <lorb/dataset/TImageDataset.h>
#include <lorb/dataset/dump.h>
#include <lorb/vtk/toImageData.h>

#include <iterator>
#include <type_traits>

#include <vtkImageData.h>
#include <vtkPointData.h>

namespace lorb {
namespace {

/// The VTK scalar type that `toTypeID` maps to the code of `T`.
template <class T>
constexpr int vtkScalarTypeOf() {
  switch (typeIDOf<T>) {
    case typeInt8:
      return VTK_CHAR;
    case typeUInt8:
      return VTK_UNSIGNED_CHAR;
    case typeInt16:
      return VTK_SHORT;
    case typeUInt16:
      return VTK_UNSIGNED_SHORT;
    case typeInt32:
      return VTK_INT;
    case typeUInt32:
      return VTK_UNSIGNED_INT;
    case typeInt64:
      return VTK_LONG_LONG;
    case typeUInt64:
      return VTK_UNSIGNED_LONG_LONG;
    case typeFloat:
      return VTK_FLOAT;
    case typeDouble:
      return VTK_DOUBLE;
    case typeNone:
    case typeBool:
      break;
  }
  return VTK_VOID;
}

/// The image is in `result` before anything else can fail.
void convert(ImageDataset const* volume, vtkImageData*& result, int vtkScalarType, TypeID target) {
  vtkImageData* const image = vtkImageData::New();
  result = image;
  std::uint64_t const* const size = volume->size_array();
  auto const last = [&](int axis) { return static_cast<int>(size[axis] - 1); };
  image->SetExtent(0, last(0), 0, last(1), 0, last(2));
  WorldCoordinates const& origin = volume->worldEmbedding().getDatasetOrigin();
  image->SetOrigin(origin[0], origin[1], origin[2]);
  WorldCoordinates const& spacing = volume->worldEmbedding().getVoxelSpacing();
  image->SetSpacing(spacing[0], spacing[1], spacing[2]);
  image->AllocateScalars(vtkScalarType, 1);
  dump(volume, image->GetScalarPointer(), target);
}

}  // namespace

template <class S, class D>
void do_convert(ImageDataset const* volume, vtkImageData*& result) {
  convert(volume, result, vtkScalarTypeOf<D>(), typeIDOf<D>);
}

namespace {

using Worker = void (*)(ImageDataset const*, vtkImageData*&);

template <class S, class D>
constexpr Worker workerFor() {
  if constexpr (std::is_same_v<D, bool>) {
    return nullptr;
  } else {
    return &do_convert<S, D>;
  }
}

/// A table rather than a switch: naming their addresses keeps all workers in the library.
template <class S>
constexpr Worker workers[] = {nullptr,  // typeNone
#define LORB_ROW(id, element, D, name) workerFor<S, D>(),
                              LORB_FOR_EACH_ELEMENT_TYPE(LORB_ROW)
#undef LORB_ROW
};

}  // namespace

template <class S>
void do_convert(ImageDataset const* volume, vtkImageData*& result, TypeID target) {
  if (target < std::size(workers<S>) && workers<S>[target] != nullptr) workers<S>[target](volume, result);
}

#define LORB_INSTANTIATE(id, element, S, name) \
  template LORB_EXPORT void do_convert<S>(ImageDataset const*, vtkImageData*&, TypeID);
LORB_FOR_EACH_ELEMENT_TYPE(LORB_INSTANTIATE)
#undef LORB_INSTANTIATE

namespace {

/// The image of a volume of type `source`; null when `target` names no scalar type.
vtkImageData* toImageData(ImageDataset const* volume, TypeID source, TypeID target) {
  vtkImageData* result = nullptr;
  try {
    visitElementType(source, [&]<class S>(std::type_identity<S>) { do_convert<S>(volume, result, target); });
  } catch (...) {
    // Nobody else knows the unfinished image. VTK 9.1 can't destroy one that was about to receive its
    // scalars.
    if (result != nullptr && result->GetPointData()->GetNumberOfArrays() == 0) result->Delete();
    throw;
  }
  return result;
}

}  // namespace

vtkImageData* toImageData(ImageDataset const* volume) {
  TypeID const type = volume->type_id();
  return toImageData(volume, type, type);
}

vtkImageData* toImageData(ImageDataset const* volume, TypeID target) {
  return toImageData(volume, volume->type_id(), target);
}

}  // namespace lorb
