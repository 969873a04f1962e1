// SPDX-License-Identifier: BSD-3-Clause
// Text as glyphs of a font of 5 by 8 pixels for ASCII and Latin-1.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

namespace picture {

/// The columns of a character from left to right; bit 4 is the top row of a capital letter, bit 10
/// is on the baseline. Bits above and below are for marks and descenders.
using Glyph = std::array<std::uint16_t, 5>;
using Text = std::vector<Glyph>;

constexpr int kCharacterWidth = 6;  ///< in dots of the font, with the gap to the next
constexpr int kTextHeight = 7;      ///< of a capital letter
constexpr int kRowsAbove = 4;       ///< of a glyph above it

/// The glyphs of UTF-8 text: of ASCII, of the letters and most signs of Latin-1, of letters
/// followed by a combining mark, and of an arrow, U+2191. A byte that is not UTF-8 counts as a
/// character of Latin-1. All other characters become '?'.
Text toText(std::string_view utf8);

}  // namespace picture
