#include "pcbin_las/platform/number.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>

namespace ferrun {
namespace {

/// Runs one of the strto... functions: nothing when no number was found or an integer is out of
/// range.
template <class Number, class Convert>
std::optional<Number> convertText(const std::string& text, Convert convert) {
  char* end = nullptr;
  errno = 0;
  const Number value = convert(text.c_str(), &end);
  if (end == text.c_str()) return std::nullopt;
  if constexpr (std::is_floating_point_v<Number>) {
    if (!std::isfinite(value))
      return std::nullopt;  // overflow gives infinity, underflow what it rounds to
  } else if (errno == ERANGE) {
    return std::nullopt;
  }
  return value;
}

}  // namespace

std::optional<int> toInt(const std::string& text) {
  const auto value = convertText<long>(
      text, [](const char* begin, char** end) { return std::strtol(begin, end, 10); });
  if (!value || *value < std::numeric_limits<int>::min() ||
      *value > std::numeric_limits<int>::max())
    return std::nullopt;
  return static_cast<int>(*value);
}

std::optional<unsigned long> toUnsignedLong(const std::string& text) {
  return convertText<unsigned long>(
      text, [](const char* begin, char** end) { return std::strtoul(begin, end, 10); });
}

std::optional<float> toFloat(const std::string& text) {
  return convertText<float>(text, std::strtof);
}

std::optional<double> toDouble(const std::string& text) {
  return convertText<double>(text, std::strtod);
}

}  // namespace ferrun
