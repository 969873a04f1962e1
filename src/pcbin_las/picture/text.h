// SPDX-License-Identifier: BSD-3-Clause
// Text as glyphs of the font.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace picture {

/// A character to be drawn: a glyph, and the mark above or below it.
struct Symbol {
  char32_t base = ' ';  ///< a character of the font
  char mark = ' ';      ///< of kMarks in font.h; blank for none

  bool operator==(const Symbol&) const = default;
};

using Text = std::vector<Symbol>;

/// The symbols of UTF-8 text: of ASCII, of the letters and most signs of Latin-1, and of letters
/// followed by a combining mark. A byte that is not UTF-8 counts as a character of Latin-1. All
/// other characters become '?'.
Text toText(std::string_view utf8);

}  // namespace picture
