// The element types as GoogleTest sees them, expanded from the one list of the library:
//
//   TYPED_TEST_SUITE(SomethingTest, lorb::test::ElementTypes, lorb::test::ElementTypeNames);

#pragma once

#include <lorb/dataset/Dataset.h>
#include <lorb/dataset/TypeID.h>

#include <gtest/gtest.h>

#include <string>
#include <type_traits>

namespace lorb::test {

template <class First, class... Rest>
struct TypesAfterFirst {
  using type = testing::Types<Rest...>;
};

/// All element types. (The list puts a comma in front of each, hence a first type to be dropped.)
#define LORB_NEXT(id, element, T, name) , T
using ElementTypes = TypesAfterFirst<void LORB_FOR_EACH_ELEMENT_TYPE(LORB_NEXT)>::type;
#undef LORB_NEXT

/// The name of an element type in the library's list, such as "UInt8".
template <class T>
inline constexpr char const* nameOf = nullptr;
/// The code of an element type in generic datasets.
template <class T>
inline constexpr LORBElementType elementTypeOf = elementNone;
#define LORB_TRAITS(id, code, T, name)            \
  template <>                                     \
  inline constexpr char const* nameOf<T> = #name; \
  template <>                                     \
  inline constexpr LORBElementType elementTypeOf<T> = element##name;
LORB_FOR_EACH_ELEMENT_TYPE(LORB_TRAITS)
#undef LORB_TRAITS

/// Names typed tests after their element type.
struct ElementTypeNames {
  template <class T>
  static std::string GetName(int) {
    return nameOf<T>;
  }
};

/// Calls `f(std::type_identity<T>{})` for every element type.
template <class F>
void forEachElementType(F f) {
#define LORB_CALL(id, element, T, name) f(std::type_identity<T>{});
  LORB_FOR_EACH_ELEMENT_TYPE(LORB_CALL)
#undef LORB_CALL
}

}  // namespace lorb::test
