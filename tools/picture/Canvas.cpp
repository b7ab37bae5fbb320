#include "tools/picture/Canvas.h"

#include <cairo.h>

#include <cstddef>
#include <cstdint>
#include <numbers>
#include <stdexcept>

namespace lorb::tools {
namespace {

void setColour(cairo_t* context, Colour colour, double opacity = 1.0) {
  cairo_set_source_rgba(context, colour.red / 255.0, colour.green / 255.0, colour.blue / 255.0, opacity);
}

/// Grey levels and unhinted shapes, so that a user's settings for screens change nothing.
void setPlainFontRendering(cairo_t* context) {
  cairo_font_options_t* const options = cairo_font_options_create();
  cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
  cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
  cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
  cairo_set_font_options(context, options);
  cairo_font_options_destroy(options);
}

void setFont(cairo_t* context, double size) {
  cairo_select_font_face(context, "DejaVu Sans", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
  cairo_set_font_size(context, size);
}

void trace(cairo_t* context, std::vector<Point> const& polygon) {
  cairo_new_path(context);  // text leaves a point behind
  for (Point const& corner : polygon) cairo_line_to(context, corner.x, corner.y);
  cairo_close_path(context);
}

std::vector<Point> corners(Rectangle const& r) {
  return {{r.x, r.y}, {r.x + r.width, r.y}, {r.x + r.width, r.y + r.height}, {r.x, r.y + r.height}};
}

void requireSuccess(cairo_status_t status) {
  if (status == CAIRO_STATUS_NO_MEMORY) throw std::bad_alloc();
  if (status != CAIRO_STATUS_SUCCESS) throw std::runtime_error(cairo_status_to_string(status));
}

cairo_status_t append(void* closure, unsigned char const* data, unsigned length) try {
  static_cast<std::string*>(closure)->append(reinterpret_cast<char const*>(data), length);
  return CAIRO_STATUS_SUCCESS;
} catch (std::bad_alloc const&) {
  return CAIRO_STATUS_NO_MEMORY;
}

}  // namespace

void Canvas::Close::operator()(cairo_t* context) const {
  cairo_destroy(context);
}

Canvas::Canvas(int width, int height) {
  cairo_surface_t* const surface = cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height);
  context_.reset(cairo_create(surface));
  cairo_surface_destroy(surface);  // the context keeps it
  requireSuccess(cairo_status(context_.get()));
  setPlainFontRendering(context_.get());
  setColour(context_.get(), {255, 255, 255});
  cairo_paint(context_.get());
}

void Canvas::paint(int x, int y, int width, std::vector<Colour> const& colours) {
  cairo_surface_t* const surface = cairo_get_target(context_.get());
  cairo_surface_flush(surface);
  unsigned char* const pixels = cairo_image_surface_get_data(surface);
  auto const stride = static_cast<std::size_t>(cairo_image_surface_get_stride(surface));
  for (std::size_t k = 0; k < colours.size(); ++k) {
    auto const column = static_cast<std::size_t>(x) + k % static_cast<std::size_t>(width);
    auto const row = static_cast<std::size_t>(y) + k / static_cast<std::size_t>(width);
    auto const& [red, green, blue] = colours[k];
    reinterpret_cast<std::uint32_t*>(pixels + row * stride)[column] =
        static_cast<std::uint32_t>(red << 16 | green << 8 | blue);
  }
  cairo_surface_mark_dirty(surface);
}

void Canvas::fill(std::vector<Point> const& polygon, Colour colour) {
  setColour(context_.get(), colour);
  trace(context_.get(), polygon);
  cairo_fill(context_.get());
}

void Canvas::fill(Rectangle const& rectangle, Colour colour, double opacity) {
  setColour(context_.get(), colour, opacity);
  trace(context_.get(), corners(rectangle));
  cairo_fill(context_.get());
}

void Canvas::outline(std::vector<Point> const& polygon, Colour colour, double lineWidth) {
  setColour(context_.get(), colour);
  cairo_set_line_width(context_.get(), lineWidth);
  trace(context_.get(), polygon);
  cairo_stroke(context_.get());
}

void Canvas::outline(Rectangle const& rectangle, Colour colour, double lineWidth) {
  outline(corners(rectangle), colour, lineWidth);
}

void Canvas::stroke(std::vector<LineSegment> const& segments, Colour colour, double lineWidth,
                    Rectangle const& bounds) {
  cairo_t* const context = context_.get();
  cairo_save(context);
  cairo_new_path(context);
  cairo_rectangle(context, bounds.x, bounds.y, bounds.width, bounds.height);
  cairo_clip(context);
  setColour(context, colour);
  cairo_set_line_width(context, lineWidth);
  cairo_set_line_cap(context, CAIRO_LINE_CAP_ROUND);
  for (auto const& [from, to] : segments) {
    cairo_move_to(context, from.x, from.y);
    cairo_line_to(context, to.x, to.y);
  }
  cairo_stroke(context);
  cairo_restore(context);
}

void Canvas::text(Point const& at, std::string const& line, Align align, double size, Colour colour) {
  setColour(context_.get(), colour);
  setFont(context_.get(), size);
  cairo_text_extents_t extents;
  cairo_text_extents(context_.get(), line.c_str(), &extents);
  double const share = align == Align::left ? 0.0 : align == Align::centre ? 0.5 : 1.0;
  cairo_move_to(context_.get(), at.x - share * extents.x_advance, at.y);
  cairo_show_text(context_.get(), line.c_str());
}

void Canvas::textUpwards(Point const& at, std::string const& line, double size, Colour colour) {
  cairo_save(context_.get());
  cairo_translate(context_.get(), at.x, at.y);
  cairo_rotate(context_.get(), -std::numbers::pi / 2);
  text({0, 0}, line, Align::centre, size, colour);
  cairo_restore(context_.get());
}

double Canvas::textWidth(std::string const& line, double size) {
  setFont(context_.get(), size);
  cairo_text_extents_t extents;
  cairo_text_extents(context_.get(), line.c_str(), &extents);
  return extents.x_advance;
}

std::string Canvas::png() {
  requireSuccess(cairo_status(context_.get()));
  std::string content;
  requireSuccess(cairo_surface_write_to_png_stream(cairo_get_target(context_.get()), append, &content));
  return content;
}

}  // namespace lorb::tools
