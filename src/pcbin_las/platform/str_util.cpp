// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/platform/str_util.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

namespace ferrun {

std::vector<std::string> StrUtil::splitString(std::string_view text, std::string_view separator,
                                              bool skipEmpty) {
  if (separator.empty()) return {std::string(text)};
  std::vector<std::string> pieces;
  for (std::size_t begin = 0; begin <= text.size();) {
    const std::size_t end = std::min(text.find(separator, begin), text.size());
    if (end > begin || !skipEmpty) pieces.emplace_back(text.substr(begin, end - begin));
    begin = end + separator.size();
  }
  return pieces;
}

std::string StrUtil::format(const char* format, ...) {
  va_list values;
  va_start(values, format);
  const int length = std::vsnprintf(nullptr, 0, format, values);
  va_end(values);
  if (length < 0) return {};

  std::string text(static_cast<std::size_t>(length), '\0');
  va_start(values, format);
  std::vsnprintf(text.data(), text.size() + 1, format, values);
  va_end(values);
  return text;
}

std::string StrUtil::hexView(const char* bytes, int count) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  for (int i = 0; i < count; ++i) {
    const auto byte = static_cast<unsigned char>(bytes[i]);
    if (i > 0) text += ' ';
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0xF];
  }
  return text;
}

}  // namespace ferrun
