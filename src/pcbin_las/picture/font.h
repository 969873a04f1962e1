// SPDX-License-Identifier: BSD-3-Clause
// A font of 5 by 8 pixels for ASCII and Latin-1, with marks above and below letters.
#pragma once

#include <array>
#include <cstdint>

namespace picture {

/// The columns of a character from left to right; bit 0 is the top row, bit 6 is on the baseline.
using Glyph = std::array<std::uint8_t, 5>;

/// The glyph of a character, or null. The accented letters of Latin-1 have none: they are letters
/// with marks.
const Glyph* glyphOf(char32_t character);

/// A mark of a letter: ` ' ^ ~ " o above it, and a comma for the cedilla below it.
struct Mark {
  char name;
  Glyph glyph;  ///< three rows above the letter; for the cedilla two rows below the baseline
};

/// The mark of this name, or null.
const Mark* markOf(char name);

/// An i without its dot, for marks above it.
extern const Glyph kDotlessI;

}  // namespace picture
