// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/picture/page.h"

#include <algorithm>
#include <cmath>

#include "pcbin_las/platform/str_util.h"

namespace picture {
namespace {

using ferrun::StrUtil;

constexpr Colour kPaper = {255, 255, 255};
constexpr Colour kGround = {236, 236, 232};
constexpr Colour kFrame = {150, 150, 150};
constexpr Colour kInk = {40, 40, 40};
constexpr int kLine = kTextHeight + 14;  // pixels from one line of text to the next

int textWidth(const std::string& text) {
  return static_cast<int>(text.size()) * kCharacterWidth;
}

/// The number with a comma before every three digits.
std::string grouped(std::uint64_t number) {
  std::string digits = std::to_string(number);
  for (std::size_t i = digits.size(); i > 3;) digits.insert(i -= 3, ",");
  return digits;
}

/// The text in at most `width` pixels, shortened in its middle.
std::string shortened(const std::string& text, int width) {
  const auto most = static_cast<std::size_t>(std::max(width / kCharacterWidth, 9));
  if (text.size() <= most) return text;
  const std::size_t end = (most - 3) / 2;
  return text.substr(0, most - 3 - end) + "..." + text.substr(text.size() - end);
}

/// Writes the text so that it ends at the right edge of the map.
void writeRight(Canvas& page, int y, const std::string& text) {
  page.write(page.width() - kMargin - textWidth(text) + 2, y, text, kInk);
}

void drawMap(Canvas& page, const MapRaster& raster, const MapView& view) {
  page.fill(kMargin - 1, kMargin - 1, view.width + 2, view.height + 2, kFrame);
  const std::vector<Colour> pixels = raster.colours(kGround);
  auto pixel = pixels.begin();
  for (int y = 0; y < view.height; ++y) {
    for (int x = 0; x < view.width; ++x) page.set(kMargin + x, kMargin + y, *pixel++);
  }
}

/// The coordinates of the map's edges, to the precision of a pixel if they fit in one line.
std::string edges(const MapView& view) {
  std::string text;
  int digits = std::clamp(static_cast<int>(std::ceil(-std::log10(view.pixelSize))), 0, 3);
  do {
    text = StrUtil::format("x %.*f to %.*f, y %.*f to %.*f m", digits, view.left, digits,
                           view.right(), digits, view.bottom(), digits, view.top);
  } while (digits-- > 0 && textWidth(text) > view.width);
  return text;
}

/// A north arrow with its letter; `x` is its left edge.
void drawNorth(Canvas& page, int x, int y) {
  for (int row = 0; row < kTextHeight; ++row)
    page.fill(x + 6 - row / 2, y + row, row / 2 * 2 + 1, 1, kInk);
  page.write(x + 18, y, "N", kInk);
}

/// A scale bar of a round length with its label; returns the x coordinate after it.
int drawScaleBar(Canvas& page, int y, const MapView& view) {
  const double length = roundLength(view.pixelSize * view.width / 4);
  const auto pixels = std::max(static_cast<int>(std::lround(length / view.pixelSize)), 1);
  page.fill(kMargin, y + 5, pixels, 4, kInk);
  page.fill(kMargin, y, 2, kTextHeight, kInk);
  page.fill(kMargin + pixels - 2, y, 2, kTextHeight, kInk);
  const std::string label = StrUtil::format("%.10g m", length);
  page.write(kMargin + pixels + 10, y, label, kInk);
  return kMargin + pixels + 10 + textWidth(label);
}

/// The height scale with its two end values, at the right.
void drawHeights(Canvas& page, int y, const Range& heights) {
  constexpr int kScaleWidth = 100;
  const std::string high = StrUtil::format("%.1f m", heights.high);
  const std::string low = StrUtil::format("%.1f", heights.low);
  writeRight(page, y, high);
  const int x = page.width() - kMargin - textWidth(high) - 8 - kScaleWidth;
  for (int i = 0; i < kScaleWidth; ++i)
    page.fill(x + i, y, 1, kTextHeight, heightColour(i / (kScaleWidth - 1.0)));
  page.write(x - 8 - textWidth(low), y, low, kInk);
}

}  // namespace

double roundLength(double length) {
  const double power = std::pow(10, std::floor(std::log10(length)));
  for (const double factor : {5, 2}) {
    if (factor * power <= length) return factor * power;
  }
  return power;
}

Canvas drawPage(const MapRaster& raster, const MapView& view, const std::string& name,
                std::uint64_t total) {
  Canvas page(view.width + 2 * kMargin, view.height + kMargin + kFooter, kPaper);
  drawMap(page, raster, view);

  int y = kMargin + view.height + 14;
  std::string points = grouped(total) + " points";
  if (raster.count() < total) points = grouped(raster.count()) + " of " + points;
  writeRight(page, y, points);
  const int nameWidth = page.width() - 2 * kMargin - textWidth(points) - 2 * kCharacterWidth;
  page.write(kMargin, y, shortened(printable(name), nameWidth), kInk);

  y += kLine;
  const int scaleEnd = drawScaleBar(page, y, view);
  drawNorth(page, scaleEnd + 24, y);
  if (raster.showsHeights()) drawHeights(page, y, view.heights);

  y += kLine;
  page.write(kMargin, y, edges(view), kInk);
  return page;
}

}  // namespace picture
