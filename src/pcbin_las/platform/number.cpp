// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/platform/number.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>

namespace ferrun {
namespace {

/// Runs one of the strto... functions: nothing when no number was found or an integer is out of
/// range.
template <class Number, class Convert>
std::optional<Number> convertText(const std::string& text, std::size_t* behind, Convert convert) {
  char* end = nullptr;
  errno = 0;
  const Number value = convert(text.c_str(), &end);
  if (end == text.c_str()) return std::nullopt;
  if (behind != nullptr) {
    const auto length = static_cast<std::size_t>(end - text.c_str());
    *behind = std::min(text.find_first_not_of(" \t\r", length), text.size());
  }
  if constexpr (std::is_floating_point_v<Number>) {
    if (!std::isfinite(value))
      return std::nullopt;  // overflow gives infinity, underflow the rounded value
  } else if (errno == ERANGE) {
    return std::nullopt;
  }
  return value;
}

}  // namespace

std::optional<int> toInt(const std::string& text, std::size_t* end) {
  const auto value = convertText<long>(
      text, end, [](const char* begin, char** stop) { return std::strtol(begin, stop, 10); });
  if (!value || *value < std::numeric_limits<int>::min() ||
      *value > std::numeric_limits<int>::max())
    return std::nullopt;
  return static_cast<int>(*value);
}

std::optional<unsigned long> toUnsignedLong(const std::string& text, std::size_t* end) {
  return convertText<unsigned long>(
      text, end, [](const char* begin, char** stop) { return std::strtoul(begin, stop, 10); });
}

std::optional<float> toFloat(const std::string& text, std::size_t* end) {
  return convertText<float>(text, end, std::strtof);
}

std::optional<double> toDouble(const std::string& text, std::size_t* end) {
  return convertText<double>(text, end, std::strtod);
}

}  // namespace ferrun
