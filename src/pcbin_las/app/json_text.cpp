// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/app/json_text.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "pcbin_las/platform/escape.h"
#include "pcbin_las/platform/str_util.h"

namespace cli {
namespace {

/// The number of bytes of the character that `text` begins with and that JSON text may contain
/// unescaped; 0 for a control character and for invalid UTF-8.
std::size_t plainLength(std::string_view text) {
  if (text[0] == '\x7F') return 1;
  const bool isC1 =
      text.size() > 1 && text[0] == '\xC2' && (static_cast<unsigned char>(text[1]) & 0xE0U) == 0x80;
  return isC1 ? 2 : ferrun::printableLength(text);
}

std::string quotedText(std::string_view text) {
  std::string json = "\"";
  while (!text.empty()) {
    const std::size_t length = plainLength(text);
    const char c = text[0];
    if (c == '"' || c == '\\')
      json.append(1, '\\').append(1, c);
    else if (length > 0)
      json.append(text.substr(0, length));
    else if (c == '\n')
      json.append("\\n");
    else if (c == '\t')
      json.append("\\t");
    else if (static_cast<unsigned char>(c) < 0x20)
      json.append(ferrun::StrUtil::format("\\u%04x", static_cast<unsigned>(c)));
    else
      json.append("\xEF\xBF\xBD");  // U+FFFD
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return json.append(1, '"');
}

std::string numberText(double number) {
  if (!std::isfinite(number)) return "null";
  std::array<char, 32> digits{};
  const auto end = std::to_chars(digits.begin(), digits.end(), number).ptr;
  std::string text(digits.begin(), end);
  return text.find_first_of(".e") == text.npos ? text + ".0" : text;
}

}  // namespace

void JsonObject::addJson(std::string_view key, std::string_view value) {
  members_.append(members_.empty() ? "\n" : ",\n").append(indent_);
  members_.append(quotedText(key)).append(": ").append(value);
}

void JsonObject::add(std::string_view key, std::uint64_t number) {
  addJson(key, std::to_string(number));
}

void JsonObject::add(std::string_view key, double number) {
  addJson(key, numberText(number));
}

void JsonObject::addText(std::string_view key, std::string_view text) {
  addJson(key, quotedText(text));
}

void JsonObject::addTextOrNull(std::string_view key, std::string_view text) {
  addJson(key, text.empty() ? "null" : quotedText(text));
}

void JsonObject::addList(std::string_view key, const std::vector<std::string>& values) {
  std::string list;
  for (const std::string& value : values)
    list += (list.empty() ? "\n" : ",\n") + indent_ + "  " + value;
  addJson(key, list.empty() ? "[]" : "[" + list + "\n" + indent_ + "]");
}

void JsonObject::add(std::string_view key, const std::array<double, 3>& numbers) {
  addList(key, {numberText(numbers[0]), numberText(numbers[1]), numberText(numbers[2])});
}

void JsonObject::add(std::string_view key, const std::vector<std::string>& texts) {
  std::vector<std::string> values;
  values.reserve(texts.size());
  for (const std::string& text : texts) values.push_back(quotedText(text));
  addList(key, values);
}

std::string JsonObject::text() const {
  return "{" + members_ + "\n" + indent_.substr(2) + "}";
}

}  // namespace cli
