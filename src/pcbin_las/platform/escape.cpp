// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/platform/escape.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace ferrun {
std::size_t printableLength(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  if (byte(0) < 0x80) return byte(0) >= 0x20 && byte(0) != 0x7F ? 1 : 0;
  const std::size_t length = byte(0) >= 0xF0 ? 4 : byte(0) >= 0xE0 ? 3 : 2;
  if (byte(0) < 0xC2 || byte(0) > 0xF4 || text.size() < length) return 0;
  std::uint32_t character = byte(0) & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0U) != 0x80U) return 0;
    character = character << 6 | (byte(i) & 0x3FU);
  }
  constexpr std::array<std::uint32_t, 5> kSmallest = {0, 0, 0xA0, 0x800, 0x10000};
  const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
  return character >= kSmallest[length] && character <= 0x10FFFF && !surrogate ? length : 0;
}

bool hasControls(std::string_view text) {
  const auto plain = [](char c) { return c >= 0x20 && c < 0x7F; };
  auto rest = std::ranges::find_if_not(text, plain);
  while (rest != text.end()) {
    const std::size_t length = printableLength({rest, text.end()});
    if (length == 0) return true;
    rest += static_cast<std::ptrdiff_t>(length);
  }
  return false;
}

std::string escapeControls(std::string_view text) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string escaped;
  while (!text.empty()) {
    const std::size_t length = printableLength(text);
    if (length > 0) {
      escaped.append(text.substr(0, length));
    } else {
      const auto byte = static_cast<unsigned char>(text[0]);
      escaped.append("\\x").append(1, kDigits[byte >> 4]).append(1, kDigits[byte & 0xF]);
    }
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return escaped;
}

}  // namespace ferrun
