// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/picture/page.h"

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

std::string counted(std::uint64_t number) {
  return grouped(number) + (number == 1 ? " point" : " points");
}

/// The text without a part in its middle if it is longer than `most`, at least 9.
Text shortened(const std::string& utf8, int most) {
  Text text = toText(utf8);
  const std::ptrdiff_t size = std::max(most, 9);
  if (std::ssize(text) <= size) return text;
  const Text dots = toText("...");
  const auto rest = std::copy(dots.begin(), dots.end(), text.begin() + (size - 2) / 2);
  text.erase(rest, rest + (std::ssize(text) - size));
  return text;
}

/// The lines of text below the maps.
class Footer {
 public:
  Footer(Canvas& page, const PageLayout& layout, int y) : page_(page), layout_(layout), y_(y) {}

  /// Writes a line with `indent` pixels before its text. Returns where the text at its right
  /// begins.
  int write(const std::string& left, const std::string& right = "", int indent = 0) {
    const int character = kCharacterWidth * layout_.dot;
    const int width = page_.width() - 2 * layout_.margin;
    const Text end = shortened(right, width / character);
    const int used = static_cast<int>(std::size(end)) * character;
    const int x = layout_.margin + width - used + (used > 0 ? layout_.dot : 0);
    page_.write(x, y_, end, layout_.dot, kInk);
    const int gap = used > 0 ? 2 * character : 0;
    page_.write(layout_.margin + indent, y_,
                shortened(left, (width - used - gap - indent) / character), layout_.dot, kInk);
    y_ += layout_.line;
    return x;
  }

  /// Writes a line with a scale bar of a round length and a north arrow.
  void writeScale(const MapView& view, const std::string& unit, const std::string& right) {
    const int dot = layout_.dot;
    const double length = roundLength(view.pixelSize * view.width / 4);
    const int pixels = std::max(static_cast<int>(std::lround(length / view.pixelSize)), 1);
    page_.fill(layout_.margin, y_ + 5 * dot / 2, pixels, 2 * dot, kInk);
    page_.fill(layout_.margin, y_, dot, kTextHeight * dot, kInk);
    page_.fill(layout_.margin + pixels - dot, y_, dot, kTextHeight * dot, kInk);
    write(StrUtil::format("%.10g %s   \u2191N", length, unit.c_str()), right, pixels + 5 * dot);
  }

  /// Writes a line with the height scale between its two end values, at the right.
  void writeLegend(const std::string& left, const Range& heights, const std::string& unit) {
    constexpr int kCharacters = 10;  // the width of the scale
    const std::string low = StrUtil::format("%.1f ", heights.low);
    const std::string high = StrUtil::format(" %.1f %s", heights.high, unit.c_str());
    const int y = y_;
    const int character = kCharacterWidth * layout_.dot;
    const int x = write(left, low + std::string(kCharacters, ' ') + high) +
                  static_cast<int>(low.size()) * character;
    const int width = kCharacters * character;
    for (int i = 0; i < width; ++i)
      page_.fill(x + i, y, 1, kTextHeight * layout_.dot, heightColour(i / (width - 1.0)));
  }

 private:
  Canvas& page_;
  const PageLayout& layout_;
  int y_;
};

void writeFooter(Footer& footer, const MapRaster& raster, const Caption& caption) {
  const MapView& view = raster.view();
  const PointCounts& counts = raster.counts();
  const std::string& unit = caption.system.unit;
  const std::string heightUnit = unit == "degrees" ? "m" : unit;  // of such a system
  std::string points = counted(caption.total);
  if (counts.shown < caption.total) points = grouped(counts.shown) + " of " + points;
  footer.write(caption.name, points);
  footer.writeScale(view, unit,
                    counts.shown == 0
                        ? ""
                        : StrUtil::format("heights %.2f to %.2f %s", counts.heights.low,
                                          counts.heights.high, heightUnit.c_str()));
  // The coordinates of the edges, to the precision of a pixel.
  const int digits = std::clamp(static_cast<int>(std::ceil(-std::log10(view.pixelSize))), 0,
                                unit == "degrees" ? 7 : 3);
  const auto edges = [&](const char* axis, const Range& range) {
    return StrUtil::format("%s %.*f to %.*f %s", axis, digits, range.low, digits, range.high,
                           unit.c_str());
  };
  footer.write(edges("x", view.x()));
  if (counts.colourBits == 0)
    footer.writeLegend(edges("y", view.y()), view.heights, heightUnit);
  else
    footer.write(edges("y", view.y()));
  footer.write(caption.system.name.empty() ? "no coordinate system" : caption.system.name);
  if (view.slice.high < kInfinite) footer.write(describeSlice(counts, view.slice));
  footer.write(describeLeftOut(counts, caption.zoomed));
}

}  // namespace

double roundLength(double length) {
  const double power = std::pow(10, std::floor(std::log10(length)));
  return length >= 5 * power ? 5 * power : length >= 2 * power ? 2 * power : power;
}

std::string describeSlice(const PointCounts& counts, const Range& slice) {
  return StrUtil::format("only z %.10g to %.10g: %s above and %s below are not shown", slice.low,
                         slice.high, counted(counts.above).c_str(), counted(counts.below).c_str());
}

std::string describeLeftOut(const PointCounts& counts, bool zoomed) {
  if (counts.outside == 0) return {};
  const std::string points = counted(counts.outside);
  if (zoomed) return points + " outside the square";
  const auto range = [](const Range& values) {
    const std::string low = StrUtil::format("%.0f", values.low);
    const std::string high = StrUtil::format("%.0f", values.high);
    return low == high ? low : low + " to " + high;
  };
  return points + " far away " + (counts.outside == 1 ? "is" : "are") + " not shown: x " +
         range(counts.outsideX) + ", y " + range(counts.outsideY);
}

PageLayout::PageLayout(const Request& request, int panels) {
  const int size = request.size;
  constexpr int kSmallestWithText = 400;
  constexpr int kSmallestWithLargeText = 800;
  dot = size < kSmallestWithText ? 0 : size < kSmallestWithLargeText ? 1 : 2;
  margin = dot == 0 ? 2 : 7 * dot;
  line = 12 * dot;
  lines = dot == 0 ? 0 : 5 + panels + (request.isSlice() ? 1 : 0);
  // A small picture has the cells of the largest, so that it shows the same.
  map = {.width = (size - (panels + 1) * margin) / panels,
         .height = size - 2 * margin - lines * line,
         .cellsPerPixel = static_cast<double>(kLargestSize) / size};
}

Canvas drawPage(const PageLayout& layout, std::span<const Panel> panels, const Caption& caption) {
  const MapRaster& last = *panels.back().raster;
  const MapView& view = last.view();
  const int columnWidth = view.width + layout.margin;
  Canvas page(static_cast<int>(panels.size()) * columnWidth + layout.margin,
              view.height + 2 * layout.margin + layout.lines * layout.line, kPaper);
  const int below = view.height + layout.margin + 6 * layout.dot;
  int x = layout.margin;
  for (const auto& [raster, title] : panels) {
    page.fill(x - 1, layout.margin - 1, view.width + 2, view.height + 2, kFrame);
    page.paste(x, layout.margin, view.width, drawSurface(*raster, last.counts().colourBits == 0));
    page.write(x, below, toText(title), layout.dot, kInk);
    x += columnWidth;
  }
  if (layout.dot == 0) return page;
  Footer footer(page, layout, panels.size() == 1 ? below : below + layout.line);
  writeFooter(footer, last, caption);
  return page;
}

}  // namespace picture
