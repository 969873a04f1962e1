// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/picture/page.h"

#include <algorithm>
#include <cmath>

#include "pcbin_las/picture/map_surface.h"
#include "pcbin_las/platform/str_util.h"

namespace picture {
namespace {

using ferrun::StrUtil;

constexpr Colour kPaper = {30, 33, 40};
constexpr Colour kFrame = {70, 75, 84};
constexpr Colour kInk = {222, 226, 232};

/// The number with a comma before every three digits.
std::string grouped(std::uint64_t number) {
  std::string digits = std::to_string(number);
  for (std::size_t i = digits.size(); i > 3;) digits.insert(i -= 3, ",");
  return digits;
}

std::string counted(std::uint64_t number, const char* noun = "point") {
  return grouped(number) + " " + noun + (number == 1 ? "" : "s");
}

/// "LOW to HIGH", or one number.
std::string leftOutRange(const std::string& low, const std::string& high) {
  return low == high ? low : low + " to " + high;
}

/// The largest number of decimals, up to `most`, with which text that `format` makes of it fits.
template <class Format>
std::string fitting(int most, std::size_t characters, Format format) {
  std::string text = format(most);
  while (most > 0 && text.size() > characters) text = format(--most);
  return text;
}

/// The text area below the maps.
class Footer {
 public:
  Footer(const PageLayout& layout, Canvas& page, int y)
      : layout_(layout), page_(page), left_(layout.margin), y_(y) {}

  /// The number of characters that fit between the texts of this line.
  int room() const {
    return (page_.width() - layout_.margin - left_ - right_) / (kCharacterWidth * layout_.dot);
  }

  void writeRight(const std::string& utf8) {
    const Text text = shortened(toText(utf8));
    right_ += width(text);
    page_.write(page_.width() - layout_.margin - right_ + layout_.dot, y_, text, layout_.dot, kInk);
    right_ += 2 * kCharacterWidth * layout_.dot;
  }

  void write(const std::string& utf8) {
    const Text text = shortened(toText(utf8));
    page_.write(left_, y_, text, layout_.dot, kInk);
    left_ += width(text) + 2 * kCharacterWidth * layout_.dot;
  }

  void endLine() {
    left_ = layout_.margin;
    right_ = 0;
    y_ += layout_.line;
  }

  /// A scale bar of a round length.
  void drawScale(const MapView& view, const std::string& unit) {
    const int dot = layout_.dot;
    const double length = roundLength(view.pixelSize * view.width / 4);
    const auto pixels = std::max(static_cast<int>(std::lround(length / view.pixelSize)), 1);
    page_.fill(left_, y_ + 5 * dot / 2, pixels, 2 * dot, kInk);
    page_.fill(left_, y_, dot, kTextHeight * dot, kInk);
    page_.fill(left_ + pixels - dot, y_, dot, kTextHeight * dot, kInk);
    left_ += pixels + 5 * dot;
    write(StrUtil::format("%.10g %s", length, unit.c_str()));
  }

  /// A north arrow with its letter.
  void drawNorth() {
    const int dot = layout_.dot;
    for (int row = 0; row < kTextHeight * dot; ++row)
      page_.fill(left_ + 3 * dot - row / 2, y_ + row, row / 2 * 2 + 1, 1, kInk);
    left_ += 9 * dot;
    write("N");
  }

  /// The height scale between its two end values, at the right.
  void drawLegend(const Range& heights, const std::string& unit) {
    const int steps = 50 * layout_.dot;
    writeRight(StrUtil::format("%.1f %s", heights.high, unit.c_str()));
    right_ -= kCharacterWidth * layout_.dot;
    for (int i = 1; i <= steps; ++i)
      page_.fill(page_.width() - layout_.margin - right_ - i, y_, 1, kTextHeight * layout_.dot,
                 heightColour((steps - i) / (steps - 1.0)));
    right_ += steps + kCharacterWidth * layout_.dot;
    writeRight(StrUtil::format("%.1f", heights.low));
  }

 private:
  int width(const Text& text) const {
    return static_cast<int>(text.size()) * kCharacterWidth * layout_.dot;
  }

  /// The text without a part in its middle if it is too long.
  Text shortened(Text text) const {
    const auto most = static_cast<std::size_t>(std::max(room(), 9));
    if (text.size() <= most) return text;
    const Text dots = toText("...");
    const auto begin = static_cast<std::ptrdiff_t>((most - 2) / 2);
    const auto rest = static_cast<std::ptrdiff_t>(most - 3) - begin;
    Text result(text.begin(), text.begin() + begin);
    result.insert(result.end(), dots.begin(), dots.end());
    result.insert(result.end(), text.end() - rest, text.end());
    return result;
  }

  const PageLayout& layout_;
  Canvas& page_;
  int left_;       ///< where the next text of the line begins
  int right_ = 0;  ///< pixels used at the end of the line
  int y_;
};

/// The coordinates of the map's edges, to the precision of a pixel if they fit.
std::string edges(const MapView& view, const std::string& unit, int room) {
  const int most = std::clamp(static_cast<int>(std::ceil(-std::log10(view.pixelSize))), 0,
                              unit == "degrees" ? 7 : 3);
  return fitting(most, static_cast<std::size_t>(std::max(room, 0)), [&](int digits) {
    return StrUtil::format("x %.*f to %.*f, y %.*f to %.*f %s", digits, view.left, digits,
                           view.right(), digits, view.bottom(), digits, view.top, unit.c_str());
  });
}

void writeFooter(Footer& footer, std::span<const Panel> panels, const Caption& caption) {
  const MapRaster& raster = *panels.back().raster;
  const MapView& view = raster.view();
  std::string points = counted(caption.total);
  if (raster.count() < caption.total) points = grouped(raster.count()) + " of " + points;
  footer.writeRight(points);
  footer.write(caption.name);
  footer.endLine();
  // The vertical unit of a system in degrees is the metre.
  const std::string heightUnit = caption.system.unit == "degrees" ? "m" : caption.system.unit;
  if (raster.count() > 0)
    footer.writeRight(StrUtil::format("heights %.2f to %.2f %s", raster.heights().low,
                                      raster.heights().high, heightUnit.c_str()));
  footer.drawScale(view, caption.system.unit);
  footer.drawNorth();
  footer.endLine();
  footer.write(edges(view, caption.system.unit, footer.room()));
  footer.endLine();
  if (caption.showsHeights) footer.drawLegend(view.heights, heightUnit);
  footer.write(caption.system.name.empty() ? "no coordinate system" : caption.system.name);
  footer.endLine();
  footer.write(describeLeftOut(raster, caption));
}

}  // namespace

double roundLength(double length) {
  const double power = std::pow(10, std::floor(std::log10(length)));
  for (const double factor : {5, 2}) {
    if (factor * power <= length) return factor * power;
  }
  return power;
}

std::string describeLeftOut(const MapRaster& raster, const Caption& caption) {
  const LeftOut& leftOut = raster.leftOut();
  std::string text;
  if (raster.view().slice.high < kInfinite)
    text = StrUtil::format("only z %.10g to %.10g: %s above and %s below are not shown",
                           raster.view().slice.low, raster.view().slice.high,
                           counted(leftOut.above).c_str(), counted(leftOut.below).c_str());
  if (leftOut.outside == 0) return text;
  if (!text.empty()) text += "; ";
  if (caption.zoomed) return text + counted(leftOut.outside) + " outside the square";
  const auto from = [](const Range& range) {
    return leftOutRange(StrUtil::format("%.0f", range.low), StrUtil::format("%.0f", range.high));
  };
  return text + counted(leftOut.outside) + " far away " + (leftOut.outside == 1 ? "is" : "are") +
         " not shown: x " + from(leftOut.x) + ", y " + from(leftOut.y);
}

PageLayout::PageLayout(const Request& request, int panels) {
  constexpr int kSmallestWithLargeText = 800;
  dot = request.size < kSmallestWithText ? 0 : request.size < kSmallestWithLargeText ? 1 : 2;
  margin = dot == 0 ? 2 : 7 * dot;
  line = 12 * dot;
  lines = dot == 0 ? 0 : 5 + (panels > 1 ? 1 : 0);
  // A small picture has the cells of the largest, so that it shows the same.
  map = {.width = (request.size - (panels + 1) * margin) / panels,
         .height = request.size - 2 * margin - lines * line,
         .cellsPerPixel = static_cast<double>(kLargestSize) / request.size};
}

Canvas drawPage(const PageLayout& layout, std::span<const Panel> panels, const Caption& caption) {
  const MapView& view = panels[0].raster->view();
  const int columnWidth = view.width + layout.margin;
  Canvas page(static_cast<int>(panels.size()) * columnWidth + layout.margin,
              view.height + 2 * layout.margin + layout.lines * layout.line, kPaper);
  const int below = view.height + layout.margin + 6 * layout.dot;
  int x = layout.margin;
  for (const Panel& panel : panels) {
    page.fill(x - 1, layout.margin - 1, view.width + 2, view.height + 2, kFrame);
    page.paste(x, layout.margin, view.width, panel.pixels);
    if (layout.dot > 0) page.write(x, below, toText(panel.title), layout.dot, kInk);
    x += columnWidth;
  }
  if (layout.dot == 0) return page;
  Footer footer(layout, page, below);
  if (panels.size() > 1) footer.endLine();
  writeFooter(footer, panels, caption);
  return page;
}

}  // namespace picture
