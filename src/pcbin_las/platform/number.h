// SPDX-License-Identifier: BSD-3-Clause
// Conversions of text and floating-point numbers to numbers, without undefined behaviour.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <type_traits>

namespace ferrun {

/// Converts text by the rules of std::stoi, std::stoul, std::stof and std::stod: leading white
/// space is skipped, text after the number is ignored, integers are decimal. Nothing when there is
/// no number, or it is out of range or not finite. A real number too small for its type is rounded.
/// `end`, when not null, is set to the index of the first character after the number and the blanks
/// that follow it.
std::optional<int> toInt(const std::string& text, std::size_t* end = nullptr);
std::optional<unsigned long> toUnsignedLong(const std::string& text, std::size_t* end = nullptr);
std::optional<float> toFloat(const std::string& text, std::size_t* end = nullptr);
std::optional<double> toDouble(const std::string& text, std::size_t* end = nullptr);

/// A real number as an integer of at most 32 bits: truncated toward zero, limited to the integer's
/// range, and 0 for NaN. The result is the same on every machine; that of a plain cast is not.
template <class Integer>
constexpr Integer saturatingTruncate(float value) {
  static_assert(std::is_integral_v<Integer> && sizeof(Integer) <= 4);
  constexpr Integer kLowest = std::numeric_limits<Integer>::lowest();
  constexpr Integer kHighest = std::numeric_limits<Integer>::max();
  // The highest value may not be a float. The next integer is a power of two and therefore a float.
  constexpr auto kAboveHighest = static_cast<float>(static_cast<std::int64_t>(kHighest) + 1);
  constexpr auto kLow = static_cast<float>(kLowest);
  if (!(value > kLow)) return value == value ? kLowest : Integer{0};
  return value < kAboveHighest ? static_cast<Integer>(value) : kHighest;
}

}  // namespace ferrun
