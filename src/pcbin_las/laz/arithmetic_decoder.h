// SPDX-License-Identifier: BSD-3-Clause
// The decoder side of the arithmetic coder.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "pcbin_las/laz/models.h"

namespace laz {

/// Decodes one coded stream. Any bytes are safe: a stream that no encoder writes, or that ends too
/// early, sets damaged(), and all later steps return values within their ranges. The steps ignore
/// their last argument; it is there for code that serves encoder and decoder.
class ArithmeticDecoder {
 public:
  static constexpr bool kEncodes = false;

  template <unsigned kMost>
  using Model = SymbolModel<kMost, true>;
  using ModelsOfBytes = ByteModels<true>;

  ArithmeticDecoder() = default;

  /// `bytes` begins with the stream, may go on after its end, and must outlive the decoder.
  explicit ArithmeticDecoder(std::span<const std::uint8_t> bytes)
      : begin_(bytes.data()), next_(begin_), end_(begin_ + bytes.size()) {
    for (int i = 0; i < 4; ++i) value_ = value_ << 8 | nextByte();
    if (value_ >= length_) reject();
  }

  template <unsigned kMost>
  [[gnu::always_inline]] unsigned symbol(Model<kMost>& model, unsigned = 0) {
    const std::uint32_t part = length_ >> Model<kMost>::kScaleBits;
    const unsigned symbol = model.find(value_ / part);
    const std::uint32_t start = model.below(symbol) * part;
    const std::uint32_t end = symbol + 1 < model.count() ? model.below(symbol + 1) * part : length_;
    narrow(start, end - start);
    model.add(symbol);
    return symbol;
  }

  [[gnu::always_inline]] unsigned bit(BitModel& model, unsigned = 0) {
    const std::uint32_t zero = model.ofZero() * (length_ >> BitModel::kScaleBits);
    const unsigned bit = value_ >= zero ? 1 : 0;
    narrow(bit == 0 ? 0 : zero, bit == 0 ? zero : length_ - zero);
    model.add(bit);
    return bit;
  }

  [[gnu::always_inline]] std::uint32_t raw(unsigned count, std::uint32_t = 0) {
    if (count <= kMostRawBits) return rawStep(count);
    const std::uint32_t low = rawStep(16);
    return rawStep(count - 16) << 16 | low;
  }

  /// Marks the stream as damaged, for a value that no encoder writes there.
  void reject() {
    damaged_ = true;
    value_ = 0;
  }

  /// Whether the bytes cannot be those of an encoder.
  bool damaged() const { return damaged_; }

  /// Whether it is damaged because bytes were missing at its end.
  bool outOfBytes() const { return outOfBytes_; }

  /// The number of bytes read.
  std::size_t position() const { return static_cast<std::size_t>(next_ - begin_); }

 private:
  static constexpr unsigned kMostRawBits = 19;

  [[gnu::always_inline]] std::uint32_t rawStep(unsigned count) {
    const std::uint32_t part = length_ >> count;
    std::uint32_t bits = value_ / part;
    if (bits >> count != 0) {
      reject();
      bits = 0;
    }
    narrow(bits * part, part);
    return bits;
  }

  /// Precondition: value_ is in [start, start + size).
  [[gnu::always_inline]] void narrow(std::uint32_t start, std::uint32_t size) {
    value_ -= start;
    // Without a loop: how many bytes follow a step cannot be predicted.
    const int shift = std::countl_zero(size) & 24;  // in whole bytes: 0, 8, 16 or 24
    length_ = size << shift;
    if (end_ - next_ >= 4) {
      std::uint32_t bytes = 0;
      std::memcpy(&bytes, next_, sizeof(bytes));
      const std::uint64_t both = std::uint64_t{value_} << 32 | __builtin_bswap32(bytes);
      value_ = static_cast<std::uint32_t>(both >> (32 - shift));
      next_ += shift / 8;
    } else {
      for (int i = 0; i < shift; i += 8) value_ = value_ << 8 | nextByte();
    }
  }

  std::uint8_t nextByte() {
    if (next_ != end_) return *next_++;
    damaged_ = outOfBytes_ = true;
    return 0;
  }

  const std::uint8_t* begin_ = nullptr;
  const std::uint8_t* next_ = nullptr;
  const std::uint8_t* end_ = nullptr;
  std::uint32_t value_ = 0;
  std::uint32_t length_ = 0xFFFFFFFF;
  bool damaged_ = false;
  bool outOfBytes_ = false;
};

}  // namespace laz
