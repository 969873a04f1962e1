// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/picture/canvas.h"

#include "pcbin_las/picture/font.h"

namespace picture {

std::string printable(std::string_view text) {
  std::string result;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte >= 0x80 && byte < 0xc0) continue;  // a further byte of a UTF-8 character
    result += character >= kFirstGlyph && character <= kLastGlyph ? character : '?';
  }
  return result;
}

Canvas::Canvas(int width, int height, const Colour& colour)
    : width_(width),
      height_(height),
      pixels_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), colour) {}

void Canvas::set(int x, int y, const Colour& colour) {
  if (x < 0 || x >= width_ || y < 0 || y >= height_) return;
  pixels_[static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) +
          static_cast<std::size_t>(x)] = colour;
}

void Canvas::fill(int x, int y, int width, int height, const Colour& colour) {
  for (int dy = 0; dy < height; ++dy) {
    for (int dx = 0; dx < width; ++dx) set(x + dx, y + dy, colour);
  }
}

void Canvas::write(int x, int y, std::string_view text, const Colour& colour) {
  constexpr int kScale = 2;
  for (const char character : text) {
    const Glyph& glyph = kGlyphs[static_cast<std::size_t>(character - kFirstGlyph)];
    for (int bit = 0; bit < 40; ++bit) {
      const int column = bit / 8;
      const int row = bit % 8;
      if ((glyph[static_cast<std::size_t>(column)] >> row & 1) != 0)
        fill(x + column * kScale, y + row * kScale, kScale, kScale, colour);
    }
    x += kCharacterWidth;
  }
}

}  // namespace picture
