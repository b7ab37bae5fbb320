// The transform object itself: construction, destruction, plane and the operation that refuses to work.

#include <lorb/algorithm/EuclideanDistanceTransform2D.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <new>

namespace lorb {
namespace {

using Transform = EuclideanDistanceTransform2D;

/// A shared object that says when it is gone.
struct Counted : SharedObject {
  explicit Counted(int& destroyedSoFar) : destroyed(destroyedSoFar) {}
  ~Counted() override { ++destroyed; }
  int& destroyed;
};

/// Hands `object` to a transform and destroys that transform.
void letATransformGo(SharedObject* object) {
  Transform transform;
  transform.referencedObject = object;
}

/// The same; what is left in the place of the pointer.
SharedObject* pointerLeftBy(SharedObject* object) {
  alignas(Transform) std::byte memory[sizeof(Transform)];
  auto* const transform = new (memory) Transform;
  transform->referencedObject = object;
  transform->~Transform();
  SharedObject* left;
  std::memcpy(&left, memory + offsetof(Transform, referencedObject), sizeof left);
  return left;
}

TEST(TransformObjectTest, StartsWithThePlaneXYAndAnEmptyTable) {
  Transform const transform;
  EXPECT_EQ(transform.plane, Transform::planeXY);
  EXPECT_EQ(transform.plane, 2);
  EXPECT_EQ(transform.referencedObject, nullptr);
  EXPECT_FALSE(transform.flag);
  EXPECT_EQ(transform.sqrtTable.values, nullptr);
  EXPECT_EQ(transform.sqrtTable.maxIndex, -1);
}

TEST(TransformObjectTest, NumbersThePlanes) {
  EXPECT_EQ(Transform::planeYZ, 0);
  EXPECT_EQ(Transform::planeXZ, 1);
  EXPECT_EQ(Transform::planeXY, 2);
  EXPECT_EQ(sizeof(Transform::PlaneOrientationE), 4U);
}

TEST(TransformObjectTest, ComputesSlicesOfConstantZWhenNew) {
  // Slice 0 lies inside, slice 1 outside: no XY slice has a boundary, but every XZ slice has.
  TImageDataset<unsigned char, 3> input({3, 3, 2});
  for (std::uint64_t k = 0; k < 9; ++k) input.pages[0].data[k] = 1;
  TImageDataset<float, 3> output({3, 3, 2});
  Transform transform;
  transform.computeTwoSided(&input, &output);
  for (std::uint64_t k = 0; k < 18; ++k) EXPECT_EQ(output.pages[0].data[k], k < 9 ? -18.0F : 18.0F) << k;
}

TEST(TransformObjectTest, StoresAnyPlaneAsItIs) {
  Transform transform;
  for (int const value : {0, 1, 2, 3, -1, 0x7fffffff}) {
    transform.setPlane(static_cast<Transform::PlaneOrientationE>(value));
    int stored;
    std::memcpy(&stored, &transform.plane, sizeof(stored));
    EXPECT_EQ(stored, value);
  }
}

TEST(TransformObjectTest, RefusesToComputeWhateverItIsGiven) {
  Transform transform;
  Dataset empty(true), shaped(true);
  shaped.newDataset(DatasetCoordinates(2, 2, 1, 1, 1), elementFloat, DatasetWorldEmbedding());
  shaped.setElement<float>(DatasetCoordinates(), 3.0F);
  struct Arguments {
    Dataset *input, *output;
  };
  for (auto const& [input, output] :
       {Arguments{nullptr, nullptr}, {&shaped, nullptr}, {nullptr, &shaped}, {&empty, &shaped}}) {
    testing::internal::CaptureStderr();
    EXPECT_FALSE(transform.compute(input, output));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "This part of the code is currently not maintained and needs revision.\n");
  }
  EXPECT_EQ(shaped.getElement<float>(DatasetCoordinates()), 3.0F);
  EXPECT_EQ(transform.plane, Transform::planeXY);
  EXPECT_EQ(transform.sqrtTable.maxIndex, -1);
}

TEST(TransformObjectTest, DestroysTheReferencedObjectWithItsLastReference) {
  int destroyed = 0;
  auto* const object = new Counted(destroyed);
  object->refer();
  letATransformGo(object);
  EXPECT_EQ(destroyed, 1);
}

TEST(TransformObjectTest, DestroysTheReferencedObjectThatNobodyRefersTo) {
  int destroyed = 0;
  letATransformGo(new Counted(destroyed));
  EXPECT_EQ(destroyed, 1);
}

TEST(TransformObjectTest, LeavesTheReferencedObjectToItsOtherHolders) {
  int destroyed = 0;
  auto* const object = new Counted(destroyed);
  object->refer();
  object->refer();
  letATransformGo(object);
  EXPECT_EQ(destroyed, 0);
  EXPECT_TRUE(object->isRefered());
  letATransformGo(object);
  EXPECT_EQ(destroyed, 1);
}

TEST(TransformObjectTest, ClearsThePointerToAnObjectThatIsDestroyedAlone) {
  int destroyed = 0;
  auto* const object = new Counted(destroyed);
  object->refer();
  object->refer();
  EXPECT_EQ(pointerLeftBy(object), object);
  EXPECT_EQ(pointerLeftBy(object), nullptr);
  EXPECT_EQ(destroyed, 1);
}

}  // namespace
}  // namespace lorb
