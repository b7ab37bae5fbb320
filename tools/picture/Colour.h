// Colours as pictures store them.
#pragma once

#include <cstdint>

namespace lorb::tools {

/// An sRGB colour.
struct Colour {
  std::uint8_t red, green, blue;
  bool operator==(Colour const&) const = default;
};

}  // namespace lorb::tools
