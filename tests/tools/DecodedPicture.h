// The pixels of a PNG file.
#pragma once

#include "tools/picture/Colour.h"

#include <cairo.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace lorb::tools {

inline void PrintTo(Colour colour, std::ostream* out) {
  *out << '(' << int(colour.red) << ' ' << int(colour.green) << ' ' << int(colour.blue) << ')';
}

/// Largest difference of a channel.
inline int difference(Colour a, Colour b) {
  return std::max({std::abs(a.red - b.red), std::abs(a.green - b.green), std::abs(a.blue - b.blue)});
}

struct DecodedPicture {
  int width = 0, height = 0;
  std::vector<Colour> pixels;

  explicit DecodedPicture(std::string content) {
    cairo_surface_t* const surface = cairo_image_surface_create_from_png_stream(read, &content);
    if (cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS) throw std::runtime_error("no PNG file");
    width = cairo_image_surface_get_width(surface);
    height = cairo_image_surface_get_height(surface);
    for (int y = 0; y < height; ++y) {
      auto const* const row =
          cairo_image_surface_get_data(surface) + std::ptrdiff_t{y} * cairo_image_surface_get_stride(surface);
      for (int x = 0; x < width; ++x) {
        std::uint32_t pixel;
        std::memcpy(&pixel, row + 4 * x, 4);
        pixels.push_back({static_cast<std::uint8_t>(pixel >> 16), static_cast<std::uint8_t>(pixel >> 8),
                          static_cast<std::uint8_t>(pixel)});
      }
    }
    cairo_surface_destroy(surface);
  }

  Colour at(int x, int y) const {
    return pixels.at(static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                     static_cast<std::size_t>(x));
  }

 private:
  static cairo_status_t read(void* closure, unsigned char* data, unsigned length) {
    auto& rest = *static_cast<std::string*>(closure);
    if (rest.size() < length) return CAIRO_STATUS_READ_ERROR;
    std::memcpy(data, rest.data(), length);
    rest.erase(0, length);
    return CAIRO_STATUS_SUCCESS;
  }
};

}  // namespace lorb::tools
