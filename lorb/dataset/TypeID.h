#pragma once

#include <lorb/dataset/export.h>

#include <cstdint>
#include <type_traits>
#include <utility>

/// The element types of the family, one row each. Codes, traits, run-time switches, explicit
/// instantiations and typed tests all expand this list, so none of them can miss a type.
///
///   X(TypeID code, LORBElementType code, C++ type, name)
///
/// The two codes differ because they serve two worlds: `TypeID` numbers the types of typed volumes
/// one after the other; `LORBElementType` numbers those of generic datasets in families (see there).
#define LORB_FOR_EACH_ELEMENT_TYPE(X) \
  X(1, 1, bool, Bool)                 \
  X(2, 2, signed char, Int8)          \
  X(3, 7, unsigned char, UInt8)       \
  X(4, 3, short, Int16)               \
  X(5, 8, unsigned short, UInt16)     \
  X(6, 4, int, Int32)                 \
  X(7, 9, unsigned int, UInt32)       \
  X(8, 5, long, Int64)                \
  X(9, 10, unsigned long, UInt64)     \
  X(10, 12, float, Float)             \
  X(11, 13, double, Double)

namespace lorb {

/// Element type of a typed volume. Every other value, all ones included, names no type and is
/// refused or ignored wherever a code is taken.
enum LORB_EXPORT TypeID : std::uint32_t {
  typeNone = 0,
#define LORB_ENUMERATOR(id, element, T, name) type##name = id,
  LORB_FOR_EACH_ELEMENT_TYPE(LORB_ENUMERATOR)
#undef LORB_ENUMERATOR
};

/// The code of the C++ type `T`; `typeNone` for a type that is no element type.
template <class T>
inline constexpr TypeID typeIDOf = typeNone;
#define LORB_TRAIT(id, element, T, name) \
  template <>                            \
  inline constexpr TypeID typeIDOf<T> = type##name;
LORB_FOR_EACH_ELEMENT_TYPE(LORB_TRAIT)
#undef LORB_TRAIT

/// Calls `f(std::type_identity<T>{})` with the element type `T` that `id` names.
/// Returns false, without a call, when `id` names none.
template <class F>
bool visitElementType(TypeID id, F&& f) {
  switch (id) {
    case typeNone:
      return false;
#define LORB_CASE(code, element, T, name)        \
  case type##name:                               \
    std::forward<F>(f)(std::type_identity<T>{}); \
    return true;
      LORB_FOR_EACH_ELEMENT_TYPE(LORB_CASE)
#undef LORB_CASE
  }
  return false;  // a value that is not in the list
}

}  // namespace lorb
