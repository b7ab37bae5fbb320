#pragma once

#include <lorb/dataset/TypeID.h>

#include <cstddef>

namespace lorb {

/// Converts `count` consecutive elements by the rule of `convertElement`. The ranges must not overlap.
using RowConversion = void (*)(void const* source, void* target, std::size_t count);

/// The conversion from one element type to another in the best instructions of the processor at hand; for
/// equal types a memcpy. `bool` is an array of C++ `bool`. Both codes must be 1 to 11.
RowConversion rowConversion(TypeID from, TypeID to);

}  // namespace lorb
