// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/picture/canvas.h"

#include <algorithm>

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
  y -= kRowsAbove * dot;
  for (const Glyph& glyph : text) {
    for (std::size_t column = 0; column < glyph.size(); ++column) {
      for (int row = 0; row < 16; ++row)
        if ((glyph[column] >> row & 1) != 0)
          fill(x + static_cast<int>(column) * dot, y + row * dot, dot, dot, colour);
    }
    x += kCharacterWidth * dot;
  }
}

}  // namespace picture
