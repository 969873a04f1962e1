// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/export/pose_diagnosis.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "pcbin_las/export/file_kind.h"
#include "pcbin_las/export/pose_line.h"
#include "pcbin_las/platform/str_util.h"

namespace {

constexpr std::ptrdiff_t kFieldCount = kPoseFields;

bool isUtf16(const std::string& line) {
  return line.starts_with("\xFF\xFE") || line.starts_with("\xFE\xFF") ||
         line.find('\0') != std::string::npos;
}

/// The number of words between blanks.
std::ptrdiff_t countWords(const std::string& line) {
  const auto words = ferrun::StrUtil::splitString(line, " ", true);
  return std::ssize(words);
}

/// The separator of the fields in place of a comma; empty if it cannot be told.
std::string_view otherSeparator(const std::string& line) {
  if (std::ranges::count(line, '\t') >= kFieldCount - 1) return "tabs";
  if (countWords(line) >= kFieldCount) return "blanks";
  return {};
}

}  // namespace

std::string whyNoPose(const std::string& firstLine, const std::string& line,
                      const std::string& damage) {
  if (const std::string_view kind = fileKind(firstLine); !kind.empty())
    return ferrun::StrUtil::format("it is a %s file", std::string(kind).c_str());
  if (line.empty()) return "it has no line with numbers";
  if (isUtf16(firstLine) || isUtf16(line))
    return "it is UTF-16 text; save it as plain text or UTF-8";
  const auto semicolons = std::ranges::count(line, ';');
  const auto commas = std::ranges::count(line, ',');
  if (semicolons >= kFieldCount - 1 || (semicolons > 0 && semicolons >= commas))
    return commas > 0 ? "its fields are separated by ';' and its numbers have decimal commas"
                      : "its fields are separated by ';', not by ','";
  if (const std::string_view separator = otherSeparator(line);
      commas + 1 < kFieldCount && !separator.empty())
    return ferrun::StrUtil::format("its fields are separated by %s, not by ','",
                                   std::string(separator).c_str());
  // Integers have no decimal comma, so a line has up to twice the parts.
  const bool hasPoint = line.find('.') != std::string::npos;
  if (!hasPoint && commas >= kFieldCount && commas < 2 * kFieldCount)
    return "its numbers have decimal commas, but ',' separates fields";
  if (commas + 1 != kFieldCount)
    return ferrun::StrUtil::format("its first line has %zd fields, not %zd", commas + 1,
                                   kFieldCount);
  return damage;
}
