// SPDX-License-Identifier: BSD-3-Clause
// Operations on text.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "pcbin_las/platform/api.h"

namespace ferrun {

class PCBIN_API StrUtil {
 public:
  /// The parts of `text` between occurrences of `separator`, in order: n occurrences give n + 1
  /// parts, without the empty ones when `skipEmpty` is set. An empty separator does not split.
  static std::vector<std::string> splitString(std::string_view text, std::string_view separator,
                                              bool skipEmpty);

  /// A string formatted by the rules of printf.
  [[gnu::format(printf, 1, 2)]] static std::string format(const char* format, ...);

  /// The bytes as pairs of hexadecimal digits separated by blanks: "FF 01 44 00".
  static std::string hexView(const char* bytes, int count);
};

}  // namespace ferrun
