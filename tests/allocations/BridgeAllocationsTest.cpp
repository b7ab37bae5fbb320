// Memory runs out in the bridge: neither half-made volumes nor half-made images are left behind.

#if LORB_WITH_VTK

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

TEST_F(BridgeAllocationsTest, NoVolumeIsLeftBehind) {
  forEachVtkElementType([]<class T>(std::type_identity<T>) {
    auto const image = lorb::test::edgeImage<T>();
    onEveryAllocation([&](Trial& trial) {
      std::unique_ptr<lorb::ImageDataset> volume;
      auto const convert = [&] { volume.reset(lorb::toImageDataset(image)); };
      if (trial.fails(convert)) convert();
      EXPECT_EQ(volume->size_array()[0], lorb::test::edgeValues<T>().size());
    });
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
  onEveryAllocation([&](Trial& trial) {
    std::unique_ptr<lorb::ImageDataset> volume;
    image->asked = false;
    trial.fails([&] { volume.reset(lorb::toImageDataset(image)); });
    EXPECT_TRUE(image->asked);
  });
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
