// SPDX-License-Identifier: BSD-3-Clause
// The shapes of characters and of marks above and below letters.
#pragma once

#include <array>
#include <cstdint>

namespace picture {

/// The columns of a shape from left to right; bit 0 is the top row.
using Shape = std::array<std::uint8_t, 5>;

/// The shape of a character, or null; bit 6 is on the baseline. The accented letters of Latin-1
/// have none: they are letters with marks.
const Shape* shapeOf(char32_t character);

/// The shape of a mark, ` ' ^ ~ " o above a letter or a comma for the cedilla; null for others.
const Shape* markOf(char name);

/// An i without its dot, for marks above it.
extern const Shape kDotlessI;

}  // namespace picture
