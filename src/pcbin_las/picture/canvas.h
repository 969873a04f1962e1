// SPDX-License-Identifier: BSD-3-Clause
// A picture in memory, with text.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace picture {

/// Red, green and blue, each from 0 to 255.
using Colour = std::array<std::uint8_t, 3>;

/// Width in pixels of one character including the gap after it, and height of a line of text.
constexpr int kCharacterWidth = 12;
constexpr int kTextHeight = 14;

/// The text in printable ASCII: control characters and all characters beyond ASCII become '?'.
std::string printable(std::string_view text);

/// An image: pixels in rows from the top left.
class Canvas {
 public:
  Canvas(int width, int height, const Colour& colour);

  int width() const { return width_; }
  int height() const { return height_; }
  const std::vector<Colour>& pixels() const { return pixels_; }

  /// Sets a pixel; ignores pixels outside.
  void set(int x, int y, const Colour& colour);

  /// Fills a rectangle.
  void fill(int x, int y, int width, int height, const Colour& colour);

  /// Writes printable ASCII with its upper left corner at (x, y).
  void write(int x, int y, std::string_view text, const Colour& colour);

 private:
  int width_;
  int height_;
  std::vector<Colour> pixels_;
};

}  // namespace picture
