// To be included before ITK. Distributions build ITK with one compiler, and its headers then refuse all
// others; clang understands what they have found out about GCC.
#pragma once

#ifdef __clang__
#pragma push_macro("__clang__")
#pragma push_macro("__GNUC__")
#undef __clang__
#undef __GNUC__
#define __GNUC__ 12
#include <itk_compiler_detection.h>
#pragma pop_macro("__GNUC__")
#pragma pop_macro("__clang__")
#endif
