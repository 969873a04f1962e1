// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/picture/text.h"

#include <algorithm>
#include <utility>

#include "pcbin_las/picture/font.h"

namespace picture {
namespace {

/// Removes the first character of `utf8`, which must not be empty. A byte that is not UTF-8, or
/// begins a character beyond U+FFFF, counts as a character of Latin-1.
char32_t takeCharacter(std::string_view& utf8) {
  const auto byte = [&](std::size_t i) {
    return i < utf8.size() ? static_cast<unsigned char>(utf8[i]) : 0U;
  };
  const auto isNext = [&](std::size_t i) { return (byte(i) & 0xc0) == 0x80; };
  char32_t character = byte(0);
  std::size_t size = 1;
  if (byte(0) >= 0xc2 && byte(0) < 0xe0 && isNext(1)) {
    size = 2;
    character = (byte(0) & 0x1f) << 6 | (byte(1) & 0x3f);
  } else if (byte(0) >= 0xe0 && byte(0) < 0xf0 && isNext(1) && isNext(2)) {
    size = 3;
    character = (byte(0) & 0x0f) << 12 | (byte(1) & 0x3f) << 6 | (byte(2) & 0x3f);
  } else if (byte(0) >= 0xf0 && isNext(1) && isNext(2) && isNext(3)) {
    size = 4;
    character = 0xffff;
  }
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

Symbol toSymbol(char32_t character) {
  constexpr char32_t kFirstLetter = 0xc0;
  // The letters of Latin-1 from U+00C0 on and their marks; a dot stands for one with its own glyph.
  static constexpr std::string_view kLetters =
      "AAAAAA.CEEEEIIII.NOOOOO..UUUUY..aaaaaa.ceeeeiiii.nooooo..uuuuy.y";
  static constexpr std::string_view kLetterMarks =
      "`'^~\"o.,`'^\"`'^\".~`'^~\"..`'^\"'..`'^~\"o.,`'^\"`'^\".~`'^~\"..`'^\"'.\"";
  if (character == 0xa0) return {};
  if (character >= kFirstLetter && character - kFirstLetter < kLetters.size()) {
    const std::size_t i = character - kFirstLetter;
    if (kLetters[i] != '.') return {static_cast<char32_t>(kLetters[i]), kLetterMarks[i]};
  }
  return {glyphOf(character) == nullptr ? U'?' : character, ' '};
}

}  // namespace

Text toText(std::string_view utf8) {
  Text text;
  while (!utf8.empty()) {
    const char32_t character = takeCharacter(utf8);
    const char mark = combiningMark(character);
    if (mark != ' ' && !text.empty())
      text.back().mark = mark;
    else
      text.push_back(toSymbol(character));
  }
  return text;
}

}  // namespace picture
