// SPDX-License-Identifier: BSD-3-Clause
// A font of 5 by 8 pixels for printable ASCII.
#pragma once

#include <array>
#include <cstdint>

namespace picture {

/// The columns of a character from left to right; bit 0 is the top row, bit 6 is on the baseline.
using Glyph = std::array<std::uint8_t, 5>;

constexpr char kFirstGlyph = ' ';
constexpr char kLastGlyph = '~';

/// The glyphs of the characters from kFirstGlyph to kLastGlyph.
extern const std::array<Glyph, kLastGlyph - kFirstGlyph + 1> kGlyphs;

}  // namespace picture
