#include "tools/picture/previewPicture.h"

#include "tools/picture/Canvas.h"
#include "tools/picture/DistanceScale.h"
#include "tools/picture/divergingColours.h"
#include "tools/picture/zeroContour.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>

namespace lorb::tools {
namespace {

constexpr int pictureWidth = 1600, pictureHeight = 1200, margin = 24;
constexpr int barWidth = 30, barGap = 36, tickLength = 8, tickGap = 5, titleGap = 36;
constexpr int mostBarSpace = 240;  // with labels of ten characters
constexpr int noteHeight = 40;
constexpr int leastBarHeight = 300, greatestBarHeight = 640;
constexpr double textSize = 22, lineHeight = 28;
constexpr double contourWidth = 2.0, haloWidth = 4.5;
constexpr Colour black{20, 20, 20}, white{255, 255, 255}, frame{150, 150, 150}, blank{238, 238, 238};
constexpr Colour noValue{165, 165, 165};

/// The colour of a distance, a fraction of the range shown, on a grey image. It covers the more the farther
/// the boundary is: about it, where colours are pale and say little, the anatomy shows.
Colour colourOnGrey(Colour grey, double fraction) {
  double const opacity = 0.3 + 0.5 * std::min(1.0, std::abs(fraction));
  return blended(grey, divergingColour(fraction), opacity);
}

/// The grey values that are drawn darkest and white. The darkest is no black, on which colours would drown.
struct Window {
  static constexpr double darkest = 40;

  float black, white;

  Colour colourOf(double value) const {
    double const range = double(white) - black;
    double const fraction = range > 0 ? (value - black) / range : 0.5;
    return shade(std::isnan(fraction) ? 0.0 : std::clamp(fraction, 0.0, 1.0));
  }

  static Colour shade(double fraction) {
    auto const level = static_cast<std::uint8_t>(std::lround(darkest + (255 - darkest) * fraction));
    return {level, level, level};
  }
};

Window windowOf(std::vector<SliceGrid> const& greys) {
  std::vector<float> values;
  for (SliceGrid const& grey : greys) {
    std::copy_if(grey.samples.begin(), grey.samples.end(), std::back_inserter(values),
                 [](float value) { return std::isfinite(value); });
  }
  if (values.empty()) return {0, 1};
  auto const at = [&](double share) {
    auto const rank = static_cast<std::ptrdiff_t>(share * double(values.size() - 1));
    std::nth_element(values.begin(), values.begin() + rank, values.end());
    return values[static_cast<std::size_t>(rank)];
  };
  return {at(0.01), at(0.99)};
}

/// "−12.5": no locale, the true minus sign.
std::string tickLabel(double value) {
  char text[32];
  auto const end =
      std::to_chars(std::begin(text), std::end(text), std::abs(value), std::chars_format::general, 6).ptr;
  return (value < 0 ? "\u2212" : "") + std::string(text, end);
}

double widestLabel(DistanceScale const& scale) {
  Canvas ruler(1, 1);
  return std::max(ruler.textWidth(tickLabel(-scale.range), textSize),
                  ruler.textWidth(tickLabel(-scale.step), textSize));
}

/// Pixels that a line of text takes.
int lengthOf(std::string const& text) {
  return static_cast<int>(std::ceil(Canvas(1, 1).textWidth(text, textSize)));
}

/// Draws the parts of one picture.
class Picture {
 public:
  Picture(PreviewContent const& content, MontageLayout const& layout)
      : content_(content),
        layout_(layout),
        scale_(distanceScale(content.maps)),
        window_(windowOf(content.greys)),
        montageHeight_(std::max(layout.height(), scale_ ? leastBarHeight : 0)),
        labelWidth_(scale_ ? widestLabel(*scale_) : 0.0),
        notes_(notes()),
        canvas_(2 * margin + std::max(layout.width() + (scale_ ? barSpace() : 0), lengthOf(notes_)),
                2 * margin + montageHeight_ + (notes_.empty() ? 0 : noteHeight)) {}

  std::string png() {
    for (std::size_t k = 0; k < content_.maps.size(); ++k) drawCell(k);
    if (!content_.maps.empty()) drawSides(panelOf(0));
    if (scale_) drawBar();
    canvas_.text({double(margin), margin + montageHeight_ + 30.0}, notes_, Align::left, textSize, black);
    return canvas_.png();
  }

 private:
  /// What the picture itself does not show, in one line.
  std::string notes() const {
    std::string text;
    for (std::string const& note : {scaleNote(), gapNote(), sidesNote()}) {
      if (!note.empty()) text += (text.empty() ? "" : "; ") + note;
    }
    return text;
  }

  std::string scaleNote() const { return layout_.toScale ? "" : "height and width not to scale"; }

  std::string gapNote() const {
    bool const gaps = std::any_of(content_.maps.begin(), content_.maps.end(), [](SliceGrid const& map) {
      return hasBoundary(map) && std::any_of(map.samples.begin(), map.samples.end(),
                                             [](float sample) { return std::isnan(sample); });
    });
    if (!gaps) return "";
    return content_.greys.empty() ? "grey: no value" : "no colour: no value";
  }

  /// The sides of the patient, unless letters name them.
  std::string sidesNote() const {
    SliceOrientation const& sides = content_.orientation;
    if (content_.maps.empty() || hasLetters()) return "";
    if (sides.left == 0) return "orientation unknown";
    return std::string("left ") + sides.left + ", right " + sides.right + ", top " + sides.top + ", bottom " +
           sides.bottom;
  }

  bool hasLetters() const {
    constexpr int least = 100;
    return content_.orientation.left != 0 && layout_.panelWidth >= least && layout_.panelHeight >= least;
  }

  int barSpace() const {
    return barGap + barWidth + tickLength + tickGap + static_cast<int>(labelWidth_) + titleGap;
  }

  Rectangle panelOf(std::size_t k) const {
    int const column = static_cast<int>(k) % layout_.columns, row = static_cast<int>(k) / layout_.columns;
    int const x = margin + column * (layout_.cellWidth + MontageLayout::gap);
    int const top = margin + (montageHeight_ - layout_.height()) / 2;
    int const y = top + row * (layout_.cellHeight + MontageLayout::gap) + MontageLayout::captionHeight;
    return {double(x + (layout_.cellWidth - layout_.panelWidth) / 2), double(y), double(layout_.panelWidth),
            double(layout_.panelHeight)};
  }

  void drawCell(std::size_t k) {
    Rectangle const panel = panelOf(k);
    bool const bounded = scale_ && hasBoundary(content_.maps[k]);
    canvas_.paint(int(panel.x), int(panel.y), layout_.panelWidth, coloursOf(k, bounded));
    if (bounded) drawContour(k, panel);
    canvas_.outline({panel.x - 0.5, panel.y - 0.5, panel.width + 1, panel.height + 1}, frame, 1.0);
    double const centre = panel.x + panel.width / 2;
    canvas_.text({centre, panel.y - 9}, "slice " + std::to_string(content_.numbers[k]), Align::centre,
                 textSize, black);
    if (!bounded) drawUnboundedMark(content_.maps[k], panel);
  }

  /// The pixels of a panel.
  std::vector<Colour> coloursOf(std::size_t k, bool bounded) const {
    SliceGrid const& map = content_.maps[k];
    std::vector<Colour> colours;
    for (int v = 0; v < layout_.panelHeight; ++v) {
      double const y = (v + 0.5) * map.height / layout_.panelHeight;
      for (int u = 0; u < layout_.panelWidth; ++u) {
        double const x = (u + 0.5) * map.width / layout_.panelWidth;
        colours.push_back(colourAt(k, bounded ? map.interpolated(x, y) : NAN, bounded, x, y));
      }
    }
    return colours;
  }

  Colour colourAt(std::size_t k, double distance, bool bounded, double x, double y) const {
    bool const overGrey = !content_.greys.empty();
    Colour const ground = overGrey  ? window_.colourOf(content_.greys[k].interpolated(x, y))
                          : bounded ? noValue
                                    : blank;
    if (std::isnan(distance)) return ground;
    double const fraction = distance / scale_->range;
    return overGrey ? colourOnGrey(ground, fraction) : divergingColour(fraction);
  }

  void drawContour(std::size_t k, Rectangle const& panel) {
    SliceGrid const& map = content_.maps[k];
    double const perColumn = panel.width / map.width, perRow = panel.height / map.height;
    std::vector<LineSegment> segments = zeroContour(map);
    for (LineSegment& segment : segments) {
      for (Point* const end : {&segment.from, &segment.to}) {
        *end = {panel.x + end->x * perColumn, panel.y + end->y * perRow};
      }
    }
    if (!content_.greys.empty()) canvas_.stroke(segments, white, haloWidth, panel);
    canvas_.stroke(segments, black, contourWidth, panel);
  }

  std::vector<std::string> unboundedText(SliceGrid const& map, Rectangle const& panel) {
    if (panel.height < 3 * lineHeight) return {"no boundary"};
    if (panel.width < canvas_.textWidth("no boundary", textSize) + 20) return {"no", "boundary"};
    if (map.positive) return {"no boundary", "all outside"};
    if (map.negative) return {"no boundary", "all inside"};
    return {"no boundary"};
  }

  void drawUnboundedMark(SliceGrid const& map, Rectangle const& panel) {
    std::vector<std::string> const lines = unboundedText(map, panel);
    double width = 0;
    for (std::string const& line : lines) width = std::max(width, canvas_.textWidth(line, textSize));
    double const height = lineHeight * double(lines.size());
    Point const centre{panel.x + panel.width / 2, panel.y + panel.height / 2};
    canvas_.fill(Rectangle{centre.x - width / 2 - 8, centre.y - height / 2 - 2, width + 16, height + 4},
                 white, 0.85);
    for (std::size_t k = 0; k < lines.size(); ++k) {
      canvas_.text({centre.x, centre.y - height / 2 + lineHeight * (double(k) + 0.77)}, lines[k],
                   Align::centre, textSize, black);
    }
  }

  /// Letters of the patient's sides along the edges of a panel, where there is room.
  void drawSides(Rectangle const& panel) {
    if (!hasLetters()) return;
    SliceOrientation const& sides = content_.orientation;
    double const x = panel.x + panel.width / 2, y = panel.y + panel.height / 2;
    drawSide({panel.x + 14, y}, sides.left);
    drawSide({panel.x + panel.width - 14, y}, sides.right);
    drawSide({x, panel.y + 16}, sides.top);
    drawSide({x, panel.y + panel.height - 16}, sides.bottom);
  }

  void drawSide(Point const& centre, char letter) {
    // On a plate of its own, since contours are as black as letters.
    constexpr double half = 12.0, opacity = 0.85;
    canvas_.fill({centre.x - half, centre.y - half, 2 * half, 2 * half}, white, opacity);
    canvas_.text({centre.x, centre.y + 7}, std::string(1, letter), Align::centre, textSize, black);
  }

  void drawBar() {
    double const x = margin + layout_.width() + barGap;
    double const space = std::min(montageHeight_, greatestBarHeight);
    double const top = margin + (montageHeight_ - space) / 2 + 56, height = space - 112;
    Rectangle const bar{x, top, double(barWidth), height};
    fillBar(bar);
    drawTicks(bar);
    canvas_.text({x + barWidth / 2.0, top - 34}, "outside", Align::centre, textSize, black);
    canvas_.text({x + barWidth / 2.0, top + height + 50}, "inside", Align::centre, textSize, black);
    canvas_.textUpwards({x - barGap + barSpace(), top + height / 2},
                        "signed distance (" + content_.unit + ")", textSize, black);
  }

  void fillBar(Rectangle const& bar) {
    std::vector<Colour> colours;
    for (int v = 0; v < int(bar.height); ++v) {
      double const fraction = 1.0 - 2.0 * (v + 0.5) / bar.height;
      for (int u = 0; u < barWidth; ++u) colours.push_back(onBar(fraction, (u + 0.5) / barWidth));
    }
    canvas_.paint(int(bar.x), int(bar.y), barWidth, colours);
    canvas_.outline(bar, black, 1.0);
    if (scale_->beyondOutside) drawPoint(bar, bar.y, -1.0, onBar(1.0, 0.5));
    if (scale_->beyondInside) drawPoint(bar, bar.y + bar.height, 1.0, onBar(-1.0, 0.5));
  }

  /// Over an image, the bar shows each colour on all shades from the darkest to white.
  Colour onBar(double fraction, double across) const {
    return content_.greys.empty() ? divergingColour(fraction) : colourOnGrey(Window::shade(across), fraction);
  }

  /// The pointed end that says that there are farther distances.
  void drawPoint(Rectangle const& bar, double y, double direction, Colour colour) {
    std::vector<Point> const triangle = {
        {bar.x, y}, {bar.x + bar.width / 2, y + direction * 22}, {bar.x + bar.width, y}};
    canvas_.fill(triangle, colour);
    canvas_.outline(triangle, black, 1.0);
  }

  void drawTicks(Rectangle const& bar) {
    int const count = scale_->ticksPerSide();
    double const right = bar.x + bar.width;
    for (int k = -count; k <= count; ++k) {
      double const y = bar.y + bar.height * (0.5 - 0.5 * k / count);
      canvas_.stroke({{{right, y}, {right + tickLength, y}}}, black, 1.5, {right, y - 2, 20, 4});
      canvas_.text({right + tickLength + tickGap + labelWidth_, y + 8}, tickLabel(k * scale_->step),
                   Align::right, textSize, black);
    }
  }

  PreviewContent const& content_;
  MontageLayout const& layout_;
  std::optional<DistanceScale> scale_;
  Window window_;
  int montageHeight_;
  double labelWidth_;
  std::string notes_;
  Canvas canvas_;
};

}  // namespace

MontageLayout previewLayout(int count, double ratio) {
  return montageLayout(count, ratio, pictureWidth - 2 * margin - mostBarSpace,
                       pictureHeight - 2 * margin - noteHeight);
}

std::string drawPicture(PreviewContent const& content, MontageLayout const& layout) {
  return Picture(content, layout).png();
}

}  // namespace lorb::tools
