// SPDX-License-Identifier: BSD-3-Clause
// Codes the colour of a point: item RGB12, version 2.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "pcbin_las/laz/models.h"
#include "pcbin_las/laz/record_layout.h"

namespace laz {

/// The models and predictions of item RGB12. Low and high bytes are coded apart.
template <class Coder>
class ColourItem {
 public:
  /// Starts a chunk, whose first point has the colour `first`.
  void reset(const ColourFields& first) {
    last_ = split(first);
    changed_.reset(128);
    for (auto& model : differences_) model.reset(256);
  }

  /// Encodes the colour, or decodes into it.
  [[gnu::always_inline]] void code(Coder& coder, ColourFields& colour) {
    Bytes bytes = last_;
    if constexpr (Coder::kEncodes) bytes = split(colour);
    const unsigned changed = coder.symbol(changed_, changesTo(bytes));
    for (unsigned i : {kRedLow, kRedHigh})
      if ((changed >> i & 1) != 0) codeByte(coder, i, last_[i], bytes[i]);
    if ((changed & kNotGrey) == 0) {
      bytes[kGreenLow] = bytes[kBlueLow] = bytes[kRedLow];
      bytes[kGreenHigh] = bytes[kBlueHigh] = bytes[kRedHigh];
    } else {
      for (unsigned half : {0U, 1U}) codeGreenAndBlue(coder, changed, half, bytes);
    }
    if constexpr (!Coder::kEncodes) colour = join(bytes);
    last_ = bytes;
  }

 private:
  /// The bytes of a colour, in the order of their bits in the symbol that says which change.
  enum Byte : unsigned { kRedLow, kRedHigh, kGreenLow, kGreenHigh, kBlueLow, kBlueHigh };
  using Bytes = std::array<std::uint8_t, 6>;

  static constexpr unsigned kNotGrey = 64;

  static Bytes split(const ColourFields& colour) {
    return {low(colour.red),    high(colour.red), low(colour.green),
            high(colour.green), low(colour.blue), high(colour.blue)};
  }
  static ColourFields join(const Bytes& bytes) {
    return {.red = word(bytes[kRedLow], bytes[kRedHigh]),
            .green = word(bytes[kGreenLow], bytes[kGreenHigh]),
            .blue = word(bytes[kBlueLow], bytes[kBlueHigh])};
  }
  static std::uint8_t low(std::uint16_t value) { return static_cast<std::uint8_t>(value); }
  static std::uint8_t high(std::uint16_t value) { return static_cast<std::uint8_t>(value >> 8); }
  static std::uint16_t word(std::uint8_t low, std::uint8_t high) {
    return static_cast<std::uint16_t>(low | high << 8);
  }

  unsigned changesTo(const Bytes& bytes) const {
    unsigned changed = 0;
    for (unsigned i = 0; i < 6; ++i) changed |= (bytes[i] != last_[i] ? 1U : 0U) << i;
    const bool grey = bytes[kGreenLow] == bytes[kRedLow] && bytes[kBlueLow] == bytes[kRedLow] &&
                      bytes[kGreenHigh] == bytes[kRedHigh] && bytes[kBlueHigh] == bytes[kRedHigh];
    return changed | (grey ? 0 : kNotGrey);
  }

  /// Codes byte `i` as the difference from a prediction.
  [[gnu::always_inline]] void codeByte(Coder& coder, unsigned i, int predicted,
                                       std::uint8_t& byte) {
    const unsigned difference = static_cast<unsigned>(byte - predicted) & 0xFFU;
    byte = static_cast<std::uint8_t>(static_cast<unsigned>(predicted) +
                                     coder.symbol(differences_[i], difference));
  }

  /// Predicts that green and blue change as red does. `half`: 0 for the low bytes, 1 for the high.
  [[gnu::always_inline]] void codeGreenAndBlue(Coder& coder, unsigned changed, unsigned half,
                                               Bytes& bytes) {
    const unsigned red = kRedLow + half;
    const unsigned green = kGreenLow + half;
    const unsigned blue = kBlueLow + half;
    const int redStep = bytes[red] - last_[red];
    if ((changed >> green & 1) != 0)
      codeByte(coder, green, std::clamp(redStep + last_[green], 0, 255), bytes[green]);
    const int greenStep = bytes[green] - last_[green];
    if ((changed >> blue & 1) != 0)
      codeByte(coder, blue, std::clamp((redStep + greenStep) / 2 + last_[blue], 0, 255),
               bytes[blue]);
  }

  Bytes last_{};
  typename Coder::template Model<128> changed_;
  std::array<typename Coder::template Model<256>, 6> differences_;
};

}  // namespace laz
