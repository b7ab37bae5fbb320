// From elements as a DICOM file stores them to the values that they stand for.
#pragma once

#include "tools/volume/dicom/Frame.h"

#include <cstddef>
#include <span>
#include <vector>

namespace lorb::tools::dicom {

/// Bytes that the elements of a frame take as they are stored; bits are packed by eight.
std::uint64_t storedBytes(Frame const& frame);

/// The smallest type that holds all values that the frames may have: the stored one, another integer of up to
/// 32 bits, or double.
TypeID valueTypeOf(std::vector<Frame> const& frames);

/// Writes value = stored · slope + intercept for each element of a frame, in a type from `valueTypeOf`. Of
/// elements of 8 to 32 bits, those beyond `StoredType::storedBits` are not looked at. Of single bits, the
/// frame begins with bit `firstBit` of the first byte.
void writeValues(Frame const& frame, std::span<std::byte const> stored, unsigned firstBit, TypeID type,
                 std::byte* values);

}  // namespace lorb::tools::dicom
