// SPDX-License-Identifier: BSD-3-Clause
// Codes integers as differences from predictions.
#pragma once

#include <array>
#include <bit>
#include <cstdint>

#include "pcbin_las/laz/models.h"

namespace laz {

/// Codes integers of `kBits` bits, 16 or 32, with one of `kContexts` models for the magnitude of
/// the difference. Integers are passed as std::uint32_t and wrap.
template <class Coder, unsigned kBits, unsigned kContexts>
class IntegerCoder {
  static_assert(kBits == 16 || kBits == 32);

 public:
  void reset() {
    for (auto& model : magnitudes_) model.reset(kBits + 1);
    zeroOrOne_.reset();
    for (unsigned k = 1; k <= kLargest; ++k) places_[k - 1].reset(1U << (k < 8 ? k : 8));
  }

  /// Encodes `actual`, or decodes and returns it. Context from 0 to kContexts - 1.
  [[gnu::always_inline]] std::uint32_t code(Coder& coder, unsigned context, std::uint32_t predicted,
                                            std::uint32_t actual = 0) {
    std::uint32_t difference = 0;
    if constexpr (Coder::kEncodes) difference = narrowed(actual - predicted);
    magnitude_ = coder.symbol(magnitudes_[context], magnitudeOf(difference));
    return narrowed(predicted + place(coder, difference));
  }

  /// The magnitude of the last difference: 0 for 0 and 1, otherwise the k for which it is in
  /// [-2^k + 1, -2^(k-1)] or [2^(k-1) + 1, 2^k].
  unsigned magnitude() const { return magnitude_; }

 private:
  static constexpr unsigned kLargest = kBits == 32 ? 31 : 16;  ///< magnitude with a place

  /// The sign-extended low kBits.
  static std::uint32_t narrowed(std::uint32_t value) {
    if constexpr (kBits == 32) return value;
    return static_cast<std::uint32_t>(static_cast<std::int16_t>(value));
  }

  static unsigned magnitudeOf(std::uint32_t difference) {
    const bool positive = static_cast<std::int32_t>(difference) > 0;
    return static_cast<unsigned>(std::bit_width(positive ? difference - 1 : 0 - difference));
  }

  /// Codes which of the differences of magnitude_ it is, and returns it.
  [[gnu::always_inline]] std::uint32_t place(Coder& coder, std::uint32_t difference) {
    const unsigned k = magnitude_;
    if (k == 0) return coder.bit(zeroOrOne_, difference);
    if (k > kLargest) return 0x80000000U;
    const std::uint32_t span = 1U << k;
    // The negative differences, from -2^k + 1 on, come before the positive ones.
    std::uint32_t index = difference + (static_cast<std::int32_t>(difference) < 0 ? span : 0) - 1;
    if (k <= 8) {
      index = coder.symbol(places_[k - 1], index);
    } else {
      const unsigned lowBits = k - 8;
      const std::uint32_t high = coder.symbol(places_[k - 1], index >> lowBits & 0xFF);
      index = high << lowBits | coder.raw(lowBits, index & ((1U << lowBits) - 1));
    }
    return index + 1 - (index < span / 2 ? span : 0);
  }

  std::array<typename Coder::template Model<kBits + 1>, kContexts> magnitudes_;
  BitModel zeroOrOne_;
  std::array<typename Coder::template Model<256>, kLargest> places_;  ///< [k - 1] for magnitude k
  unsigned magnitude_ = 0;
};

}  // namespace laz
