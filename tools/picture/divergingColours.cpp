#include "tools/picture/divergingColours.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace lorb::tools {
namespace {

struct OkLab {
  double lightness, a, b;
};

// The most colourful ends of one lightness and chroma for which both lines stay within sRGB.
constexpr double centreLightness = 0.975;
constexpr double endLightness = 0.43;
constexpr double endChroma = 0.170;
constexpr double insideHue = 260.0;  // degrees: blue
constexpr double outsideHue = 28.0;  // red

OkLab alongLine(double fraction) {
  double const t = std::abs(fraction);
  double const hue = (fraction < 0 ? insideHue : outsideHue) * std::numbers::pi / 180.0;
  return {centreLightness + t * (endLightness - centreLightness), t * endChroma * std::cos(hue),
          t * endChroma * std::sin(hue)};
}

std::uint8_t encoded(double linear) {
  double const x = std::clamp(linear, 0.0, 1.0);
  double const curved = x <= 0.0031308 ? 12.92 * x : 1.055 * std::pow(x, 1.0 / 2.4) - 0.055;
  return static_cast<std::uint8_t>(std::lround(255.0 * curved));
}

double cube(double x) {
  return x * x * x;
}

/// By the matrices of the publication: to the responses of the eye's cones, then to linear light.
Colour toColour(OkLab const& c) {
  double const l = cube(c.lightness + 0.3963377774 * c.a + 0.2158037573 * c.b);
  double const m = cube(c.lightness - 0.1055613458 * c.a - 0.0638541728 * c.b);
  double const s = cube(c.lightness - 0.0894841775 * c.a - 1.2914855480 * c.b);
  return {encoded(4.0767416621 * l - 3.3077115913 * m + 0.2309699292 * s),
          encoded(-1.2684380046 * l + 2.6097574011 * m - 0.3413193965 * s),
          encoded(-0.0041960863 * l - 0.7034186147 * m + 1.7076147010 * s)};
}

std::uint8_t mixed(std::uint8_t under, std::uint8_t over, double opacity) {
  return static_cast<std::uint8_t>(std::lround((1.0 - opacity) * under + opacity * over));
}

}  // namespace

Colour divergingColour(double fraction) {
  return toColour(alongLine(std::clamp(fraction, -1.0, 1.0)));
}

Colour blended(Colour under, Colour over, double opacity) {
  return {mixed(under.red, over.red, opacity), mixed(under.green, over.green, opacity),
          mixed(under.blue, over.blue, opacity)};
}

}  // namespace lorb::tools
