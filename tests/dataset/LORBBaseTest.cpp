#include <lorb/dataset/LORBBase.h>

#include <gtest/gtest.h>

#include <memory>
#include <type_traits>

namespace lorb {
namespace {

/// A shared object that says when it is gone.
struct Counted : SharedObject {
  explicit Counted(int& destroyedSoFar) : destroyed(destroyedSoFar) {}
  ~Counted() override { ++destroyed; }
  int& destroyed;
};

TEST(LORBBaseTest, IsNotReferedWhenNew) {
  LORBBase const base;
  EXPECT_FALSE(base.isRefered());
}

TEST(LORBBaseTest, IsReferedUntilEveryReferenceIsGivenUp) {
  LORBBase base;
  base.refer();
  base.refer();
  EXPECT_TRUE(base.isRefered());
  base.unrefer();
  EXPECT_TRUE(base.isRefered());
  base.unrefer();
  EXPECT_FALSE(base.isRefered());
}

TEST(LORBBaseTest, StaysAtZeroReferences) {
  LORBBase base;
  base.unrefer();
  base.unrefer();
  EXPECT_FALSE(base.isRefered());
  base.refer();
  EXPECT_TRUE(base.isRefered());
}

TEST(SharedObjectTest, OutlivesItsLastReference) {
  int destroyed = 0;
  auto* const object = new Counted(destroyed);
  object->refer();
  object->unrefer();
  EXPECT_FALSE(object->isRefered());
  EXPECT_EQ(destroyed, 0);
  delete object;
  EXPECT_EQ(destroyed, 1);
}

TEST(SharedObjectTest, IsDestroyedThroughItsBase) {
  int destroyed = 0;
  std::unique_ptr<SharedObject> object = std::make_unique<Counted>(destroyed);
  object.reset();
  EXPECT_EQ(destroyed, 1);
}

TEST(SharedObjectTest, HoldsItsCountBehindTheVirtualTablePointer) {
  SharedObject object;
  auto const* const start = reinterpret_cast<char const*>(&object);
  auto const* const count = reinterpret_cast<char const*>(static_cast<LORBBase*>(&object));
  EXPECT_EQ(count - start, 8);
  EXPECT_TRUE(std::has_virtual_destructor_v<SharedObject>);
}

}  // namespace
}  // namespace lorb
