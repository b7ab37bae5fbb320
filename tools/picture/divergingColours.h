// The colours of signed distances: blue inside, nearly white at the boundary, red outside.
#pragma once

#include "tools/picture/Colour.h"

namespace lorb::tools {

/// The colour of a signed distance that is `fraction` of the range shown: −1 blue, 0 nearly white, +1 red;
/// beyond, the colour of the end.
///
/// Perceptually even: in OKLab (B. Ottosson, "A perceptual color space for image processing", 2020,
/// https://bottosson.github.io/posts/oklab/) each side is a straight line, so equal steps of distance are
/// equal steps to the eye, of the same size on both sides and all the way through 0. Opposite distances have
/// the same lightness: printed in grey, the map shows how far the boundary is. Blue and red stay apart for
/// readers who don't tell red from green.
Colour divergingColour(double fraction);

/// `over` laid on `under`, covering it to the share `opacity` of 0 to 1.
Colour blended(Colour under, Colour over, double opacity);

}  // namespace lorb::tools
