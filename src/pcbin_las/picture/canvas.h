// SPDX-License-Identifier: BSD-3-Clause
// A picture in memory, with text.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "pcbin_las/picture/text.h"

namespace picture {

/// Red, green and blue, each from 0 to 255.
using Colour = std::array<std::uint8_t, 3>;

/// An image: pixels in rows from the top left.
class Canvas {
 public:
  Canvas(int width, int height, const Colour& colour);

  int width() const { return width_; }
  const std::vector<Colour>& pixels() const { return pixels_; }

  /// Fills the part of a rectangle that is inside.
  void fill(int x, int y, int width, int height, const Colour& colour);

  /// Copies an image of `width` columns to (x, y); it must fit.
  void paste(int x, int y, int width, const std::vector<Colour>& image);

  /// Writes text with the upper left corner of a capital letter at (x, y); a dot of the font has
  /// `dot` by `dot` pixels.
  void write(int x, int y, const Text& text, int dot, const Colour& colour);

  /// Writes a PNG file, which is replaced atomically. False, with an error line and without a new
  /// file, when that fails or `path` is something else than a regular file.
  bool writePng(const std::string& path) const;

 private:
  int width_;
  int height_;
  std::vector<Colour> pixels_;
};

}  // namespace picture
