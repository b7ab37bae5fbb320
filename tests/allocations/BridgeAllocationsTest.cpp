// Memory runs out in the bridge. The caller then receives nothing; a half-made volume is not destroyed
// either.

#if LORB_WITH_VTK

#include <lorb/dataset/dump.h>
#include <lorb/vtk/toImageData.h>
#include <lorb/vtk/toImageDataset.h>

#include <tests/allocations/failingAllocations.h>
#include <tests/vtk/images.h>

#include <memory>

#include <vtkNew.h>
#include <vtkObject.h>
#include <vtkObjectFactory.h>
#include <vtkPointData.h>

namespace {

using lorb::TImageDataset;
using lorb::test::forEachVtkElementType;
using lorb::test::onEveryAllocation;
using lorb::test::Trial;

class BridgeAllocationsTest : public testing::Test {
 protected:
  // VTK reports failed allocations on a window of its own.
  void SetUp() override { vtkObject::GlobalWarningDisplayOff(); }
  void TearDown() override { vtkObject::GlobalWarningDisplayOn(); }
};

/// The volume of an image, left as it is when its voxels can't be had.
template <class T>
void makeVolume(Trial& trial, vtkImageData* image) {
  TImageDataset<T, 3>* volume = nullptr;
  bool const failed = trial.fails([&] {
    int size[3];
    image->GetDimensions(size);
    volume = new TImageDataset<T, 3>();
    volume->resize({std::uint64_t(size[0]), std::uint64_t(size[1]), std::uint64_t(size[2])});
    lorb::dump(image->GetScalarPointer(), lorb::typeIDOf<T>, volume);
  });
  if (!failed) delete volume;
}

TEST_F(BridgeAllocationsTest, AnUnfinishedVolumeIsNeitherHandedOutNorDestroyed) {
  forEachVtkElementType([]<class T>(std::type_identity<T>) {
    auto const image = lorb::test::edgeImage<T>();
    onEveryAllocation(
        [&](Trial& trial) {
          std::unique_ptr<lorb::ImageDataset> volume;
          auto const convert = [&] { volume.reset(lorb::toImageDataset(image)); };
          if (trial.fails(convert)) {
            EXPECT_EQ(volume, nullptr);
            convert();
          }
          EXPECT_EQ(volume->size_array()[0], lorb::test::edgeValues<T>().size());
        },
        [&](Trial& trial) { makeVolume<T>(trial, image); });
  });
}

/// Tells whether its dimensions have been asked for.
class AskedImage : public vtkImageData {
 public:
  static AskedImage* New() { VTK_STANDARD_NEW_BODY(AskedImage); }
  vtkTypeMacro(AskedImage, vtkImageData);
  using vtkImageData::GetDimensions;
  void GetDimensions(int dimensions[3]) override {
    asked = true;
    vtkImageData::GetDimensions(dimensions);
  }
  bool asked = false;
};

TEST_F(BridgeAllocationsTest, AnImageIsAskedForItsDimensionsBeforeAnythingIsAllocated) {
  vtkNew<AskedImage> image;
  image->SetDimensions(4, 3, 2);
  image->AllocateScalars(VTK_SHORT, 1);
  onEveryAllocation(
      [&](Trial& trial) {
        std::unique_ptr<lorb::ImageDataset> volume;
        image->asked = false;
        trial.fails([&] { volume.reset(lorb::toImageDataset(image)); });
        EXPECT_TRUE(image->asked);
      },
      [&](Trial& trial) { makeVolume<short>(trial, image); });
}

/// VTK alone. Its constructors and `AllocateScalars` do not clean up after themselves, and an image that was
/// about to receive its scalars can't be destroyed.
template <class T>
void makeImage(Trial& trial) {
  vtkImageData* image = nullptr;
  auto const last = static_cast<int>(lorb::test::edgeValues<T>().size()) - 1;
  bool const failed = trial.fails([&] {
    image = vtkImageData::New();
    image->SetExtent(0, last, 0, 0, 0, 0);
    image->SetOrigin(1.5, -2.0, 0.0);
    image->SetSpacing(0.5, 0.5, 2.0);
    image->AllocateScalars(lorb::test::vtkTypeOf<T>, 1);
  });
  if (image != nullptr && (!failed || image->GetPointData()->GetNumberOfArrays() == 0)) image->Delete();
}

TEST_F(BridgeAllocationsTest, NoImageIsLeftBehind) {
  forEachVtkElementType([]<class T>(std::type_identity<T>) {
    auto const volume = lorb::test::edgeVolume<T>();
    onEveryAllocation(
        [&](Trial& trial) {
          vtkSmartPointer<vtkImageData> image;
          auto const convert = [&] { image.TakeReference(lorb::toImageData(&volume)); };
          if (trial.fails(convert)) convert();
          EXPECT_EQ(image->GetNumberOfPoints(), static_cast<vtkIdType>(lorb::test::edgeValues<T>().size()));
        },
        makeImage<T>);
  });
}

}  // namespace

#endif
