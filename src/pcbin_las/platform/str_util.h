// Small operations on text.
#pragma once

#include <string>
#include <vector>

#include "pcbin_las/platform/api.h"

namespace ferrun {

class PCBIN_API StrUtil {
 public:
  /// The pieces of `text` between occurrences of `separator` (not empty), in order; n occurrences
  /// give n + 1 pieces. Empty pieces are left out when `skipEmpty` is set.
  static std::vector<std::string> splitString(const std::string& text, const std::string& separator,
                                              bool skipEmpty);

  /// A new string, formatted by the rules of printf.
  [[gnu::format(printf, 1, 2)]] static std::string format(const char* format, ...);

  /// The bytes as pairs of hexadecimal digits with a blank between them: "FF 01 44 00".
  static std::string hexView(const char* bytes, int count);
};

}  // namespace ferrun
