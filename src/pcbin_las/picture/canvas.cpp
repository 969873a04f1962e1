// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/picture/canvas.h"

#include <algorithm>

#include "pcbin_las/picture/font.h"

namespace picture {

Canvas::Canvas(int width, int height, const Colour& colour)
    : width_(width),
      height_(height),
      pixels_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), colour) {}

void Canvas::fill(int x, int y, int width, int height, const Colour& colour) {
  const int left = std::clamp(x, 0, width_);
  const int right = std::clamp(x + width, left, width_);
  for (int row = std::max(y, 0); row < std::min(y + height, height_); ++row)
    std::fill_n(pixels_.begin() + std::ptrdiff_t{row} * width_ + left, right - left, colour);
}

void Canvas::paste(int x, int y, int width, const std::vector<Colour>& image) {
  for (auto row = image.begin(); row != image.end(); row += width, ++y)
    std::copy_n(row, width, pixels_.begin() + std::ptrdiff_t{y} * width_ + x);
}

void Canvas::write(int x, int y, const Text& text, int dot, const Colour& colour) {
  const auto draw = [&](const Glyph& glyph, int top) {
    for (int bit = 0; bit < 40; ++bit) {
      const int column = bit / 8;
      const int row = bit % 8;
      if ((glyph[static_cast<std::size_t>(column)] >> row & 1) != 0)
        fill(x + column * dot, y + (top + row) * dot, dot, dot, colour);
    }
  };
  for (const auto& [base, name] : text) {
    const Mark* const mark = markOf(name);
    const bool above = mark != nullptr && name != ',';
    if (const Glyph* const glyph = above && base == 'i' ? &kDotlessI : glyphOf(base))
      draw(*glyph, 0);
    if (mark != nullptr) draw(mark->glyph, !above ? kTextHeight : base < 'a' ? -4 : -1);
    x += kCharacterWidth * dot;
  }
}

}  // namespace picture
