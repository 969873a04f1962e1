// SPDX-License-Identifier: BSD-3-Clause
// JSON text.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

/// One JSON object, two spaces deeper than the one around it. Members keep their order. All
/// functions throw std::bad_alloc.
class JsonObject {
 public:
  explicit JsonObject(int depth = 1) : indent_(static_cast<std::size_t>(depth) * 2, ' ') {}

  void add(std::string_view key, std::uint64_t number);

  /// The shortest text that reads as the same number; null if it is not finite.
  void add(std::string_view key, double number);

  /// A text in quotes. Bytes that are not UTF-8 become U+FFFD.
  void addText(std::string_view key, std::string_view text);

  /// The same, but null for an empty text.
  void addTextOrNull(std::string_view key, std::string_view text);

  void add(std::string_view key, const std::array<double, 3>& numbers);
  void add(std::string_view key, const std::vector<std::string>& texts);

  /// `value` must be JSON text, such as null or the text() of an object that is one deeper.
  void addJson(std::string_view key, std::string_view value);

  /// The object, without a line break at its end.
  std::string text() const;

 private:
  void addList(std::string_view key, const std::vector<std::string>& values);

  std::string indent_;  ///< of the members
  std::string members_;
};

}  // namespace cli
