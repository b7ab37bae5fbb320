#include <lorb/dataset/ImageDataset.h>

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <type_traits>
#include <utility>

namespace lorb {
namespace {

/// A volume made outside the library.
class OutsideDataset : public ImageDataset {
 public:
  explicit OutsideDataset(bool* destroyed = nullptr) : destroyed_(destroyed) {}
  ~OutsideDataset() override {
    if (destroyed_ != nullptr) *destroyed_ = true;
  }
  TypeID type_id() const override { return static_cast<TypeID>(42); }
  bool empty() const override { return true; }
  std::uint64_t const* size_array() const override { return size_; }

 private:
  bool* destroyed_;
  std::uint64_t size_[3] = {3, 4, 5};
};

TEST(ImageDatasetTest, IsABaseForVolumesMadeOutside) {
  bool destroyed = false;
  std::unique_ptr<ImageDataset> volume = std::make_unique<OutsideDataset>(&destroyed);
  EXPECT_EQ(volume->type_id(), static_cast<TypeID>(42));
  EXPECT_TRUE(volume->empty());
  EXPECT_EQ(volume->size_array()[2], 5U);
  volume.reset();
  EXPECT_TRUE(destroyed);
}

TEST(ImageDatasetTest, HoldsItsEmbeddingBehindTheVirtualTablePointer) {
  OutsideDataset volume;
  auto const* const start = reinterpret_cast<char const*>(static_cast<ImageDataset*>(&volume));
  EXPECT_EQ(reinterpret_cast<char const*>(&volume.worldEmbedding()) - start, 8);
}

TEST(ImageDatasetTest, OrdersItsVirtualOperations) {
  OutsideDataset const volume;
  // By the C++ ABI a virtual operation is a function of the object's address. Slots 0 and 1 destroy.
  auto const* const slots = *reinterpret_cast<void* const* const*>(static_cast<ImageDataset const*>(&volume));
  using TypeIDOf = TypeID (*)(ImageDataset const*);
  using IsEmpty = bool (*)(ImageDataset const*);
  using SizeOf = std::uint64_t const* (*)(ImageDataset const*);
  EXPECT_EQ(reinterpret_cast<TypeIDOf>(slots[2])(&volume), static_cast<TypeID>(42));
  EXPECT_TRUE(reinterpret_cast<IsEmpty>(slots[3])(&volume));
  EXPECT_EQ(reinterpret_cast<SizeOf>(slots[4])(&volume), volume.size_array());
}

TEST(ImageDatasetTest, KeepsItsPlacement) {
  OutsideDataset volume;
  EXPECT_EQ(volume.worldEmbedding().getVoxelSpacing(), WorldCoordinates(1, 1, 1, 0));
  volume.worldEmbedding().setDatasetOrigin(WorldCoordinates(1.5, -2, 0, 0));
  EXPECT_EQ(std::as_const(volume).worldEmbedding().getDatasetOrigin(), WorldCoordinates(1.5, -2, 0, 0));
}

TEST(ImageDatasetTest, DoesNotKnowItsValueRangeWhenNew) {
  OutsideDataset const volume;
  EXPECT_GT(volume.minValue(), volume.maxValue());
}

TEST(ImageDatasetTest, TakesAnyValueRangeAsGiven) {
  OutsideDataset volume;
  volume.setMinMaxValue(-3.5, 7.25);
  EXPECT_EQ(volume.minValue(), -3.5);
  EXPECT_EQ(volume.maxValue(), 7.25);
  volume.setMinMaxValue(1.0, 0.0);
  EXPECT_EQ(volume.minValue(), 1.0);
  EXPECT_EQ(volume.maxValue(), 0.0);
  volume.setMinMaxValue(-std::numeric_limits<double>::infinity(), std::numeric_limits<double>::max());
  EXPECT_EQ(volume.minValue(), -std::numeric_limits<double>::infinity());
  EXPECT_EQ(volume.maxValue(), std::numeric_limits<double>::max());
}

TEST(ImageDatasetTest, IsAbstractAndDestroyedThroughItsBase) {
  EXPECT_TRUE(std::is_abstract_v<ImageDataset>);
  EXPECT_TRUE(std::has_virtual_destructor_v<ImageDataset>);
}

}  // namespace
}  // namespace lorb
