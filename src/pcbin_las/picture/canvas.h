// SPDX-License-Identifier: BSD-3-Clause
// A picture in memory, with text.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "pcbin_las/picture/text.h"

namespace picture {

/// Red, green and blue, each from 0 to 255.
using Colour = std::array<std::uint8_t, 3>;

/// Width of one character including the gap after it, and height of a line of text, in dots of the
/// font.
constexpr int kCharacterWidth = 6;
constexpr int kTextHeight = 7;

/// An image: pixels in rows from the top left.
class Canvas {
 public:
  Canvas(int width, int height, const Colour& colour);

  int width() const { return width_; }
  int height() const { return height_; }
  const std::vector<Colour>& pixels() const { return pixels_; }

  /// Fills the part of a rectangle that is inside.
  void fill(int x, int y, int width, int height, const Colour& colour);

  /// Copies an image of `width` columns to (x, y); it must fit.
  void paste(int x, int y, int width, const std::vector<Colour>& image);

  /// Writes text with the upper left corner of a capital letter at (x, y); a dot of the font has
  /// `dot` by `dot` pixels.
  void write(int x, int y, const Text& text, int dot, const Colour& colour);

 private:
  int width_;
  int height_;
  std::vector<Colour> pixels_;
};

}  // namespace picture
