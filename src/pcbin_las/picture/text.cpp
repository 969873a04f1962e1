// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/picture/text.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "pcbin_las/picture/font.h"

namespace picture {
namespace {

/// Removes the first character of `utf8`, which must not be empty. A byte that is not UTF-8 counts
/// as a character of Latin-1.
char32_t takeCharacter(std::string_view& utf8) {
  const auto lead = static_cast<unsigned char>(utf8[0]);
  auto size = static_cast<std::size_t>(std::countl_one(lead));
  const auto isNext = [](char byte) { return (byte & 0xc0) == 0x80; };
  char32_t character = lead & (0x7fU >> size);
  if (size < 2 || size > 4 || size > utf8.size() ||
      !std::ranges::all_of(utf8.substr(1, size - 1), isNext)) {
    size = 1;
    character = lead;
  }
  for (const char byte : utf8.substr(1, size - 1)) character = character << 6 | (byte & 0x3fU);
  utf8.remove_prefix(size);
  return character;
}

/// The mark of a combining character; blank for any other.
char combiningMark(char32_t character) {
  static constexpr std::pair<char32_t, char> kCombining[] = {
      {0x300, '`'}, {0x301, '\''}, {0x302, '^'}, {0x303, '~'},
      {0x308, '"'}, {0x30a, 'o'},  {0x327, ','}};
  for (const auto& [combining, mark] : kCombining)
    if (combining == character) return mark;
  return ' ';
}

Glyph makeGlyph(char32_t character, char markName) {
  const Shape* const mark = markOf(markName);
  const bool above = mark != nullptr && markName != ',';
  const Shape* shape = above && character == 'i' ? &kDotlessI : shapeOf(character);
  if (shape == nullptr) shape = shapeOf('?');
  const int markRow = !above ? kRowsAbove + kTextHeight : character < 'a' ? 0 : kRowsAbove - 1;
  Glyph glyph = {};
  for (std::size_t i = 0; i < glyph.size(); ++i) {
    const int marked = mark == nullptr ? 0 : (*mark)[i] << markRow;
    glyph[i] = static_cast<std::uint16_t>((*shape)[i] << kRowsAbove | marked);
  }
  return glyph;
}

}  // namespace

Text toText(std::string_view utf8) {
  constexpr char32_t kFirstLetter = 0xc0;
  // The letters of Latin-1 from U+00C0 on and their marks; a dot stands for one with its own glyph.
  static constexpr std::string_view kLetters =
      "AAAAAA.CEEEEIIII.NOOOOO..UUUUY..aaaaaa.ceeeeiiii.nooooo..uuuuy.y";
  static constexpr std::string_view kLetterMarks =
      "`'^~\"o.,`'^\"`'^\".~`'^~\"..`'^\"'..`'^~\"o.,`'^\"`'^\".~`'^~\"..`'^\"'.\"";
  Text text;
  char32_t base = ' ';
  while (!utf8.empty()) {
    const char32_t character = takeCharacter(utf8);
    char mark = combiningMark(character);
    if (mark != ' ' && !text.empty()) {
      text.pop_back();
    } else {
      const std::size_t letter = character - kFirstLetter;  // huge for characters before
      const bool composed = letter < kLetters.size() && kLetters[letter] != '.';
      base = composed ? static_cast<char32_t>(kLetters[letter]) : character;
      mark = composed ? kLetterMarks[letter] : ' ';
    }
    text.push_back(makeGlyph(base == 0xa0 ? U' ' : base, mark));
  }
  return text;
}

}  // namespace picture
