// A drawing surface that becomes a PNG file, through Cairo.
#pragma once

#include "tools/picture/Colour.h"
#include "tools/picture/zeroContour.h"

#include <memory>
#include <string>
#include <vector>

typedef struct _cairo cairo_t;

namespace lorb::tools {

struct Rectangle {
  double x, y, width, height;
};

enum class Align { left, centre, right };

/// White at first. Lengths are in pixels, y runs downwards, whole numbers lie between pixels. The same calls
/// give the same bytes, whatever screen the user's font settings are made for. All functions throw
/// `std::bad_alloc` when memory runs out.
class Canvas {
 public:
  Canvas(int width, int height);

  /// Copies rows of `width` colours, the upper left one to (x, y).
  void paint(int x, int y, int width, std::vector<Colour> const& colours);

  void fill(std::vector<Point> const& polygon, Colour colour);
  void fill(Rectangle const& rectangle, Colour colour, double opacity = 1.0);
  void outline(std::vector<Point> const& polygon, Colour colour, double lineWidth);
  void outline(Rectangle const& rectangle, Colour colour, double lineWidth);

  /// All as one line, so that it doesn't darken where segments meet; nothing outside `bounds`.
  void stroke(std::vector<LineSegment> const& segments, Colour colour, double lineWidth,
              Rectangle const& bounds);

  /// One line of UTF-8 with its baseline at y.
  void text(Point const& at, std::string const& line, Align align, double size, Colour colour);
  /// One line turned to be read upwards, centred on y.
  void textUpwards(Point const& at, std::string const& line, double size, Colour colour);
  double textWidth(std::string const& line, double size);

  /// The picture as the content of a PNG file. Throws `std::runtime_error` with Cairo's reason when anything
  /// has gone wrong up to here.
  std::string png();

 private:
  struct Close {
    void operator()(cairo_t* context) const;
  };
  std::unique_ptr<cairo_t, Close> context_;
};

}  // namespace lorb::tools
