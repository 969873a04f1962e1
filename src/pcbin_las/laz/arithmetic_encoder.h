// SPDX-License-Identifier: BSD-3-Clause
// The encoder side of the arithmetic coder.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "pcbin_las/laz/models.h"

namespace laz {

/// Appends one coded stream to a list of bytes. Each step narrows the interval
/// [base, base + length). The steps return the value that they encode, so that code which serves
/// encoder and decoder can use the result in both cases. Keep an encoder in a local variable: the
/// compiler then holds it in registers.
class ArithmeticEncoder {
 public:
  static constexpr bool kEncodes = true;

  template <unsigned kMost>
  using Model = SymbolModel<kMost, false>;
  using ModelsOfBytes = ByteModels<false>;

  /// Appends to `bytes`, whose size is undefined until finish() has returned.
  explicit ArithmeticEncoder(std::vector<std::uint8_t>& bytes)
      : bytes_(bytes), next_(bytes.data() + bytes.size()), end_(next_) {}
  ArithmeticEncoder(const ArithmeticEncoder&) = delete;
  ArithmeticEncoder& operator=(const ArithmeticEncoder&) = delete;

  /// Makes space for `size` bytes. Call it before steps that append no more than that. Throws
  /// std::bad_alloc.
  [[gnu::always_inline]] void makeSpace(std::size_t size) {
    size += sizeof(base_);  // a step also writes after the bytes that it appends
    if (static_cast<std::size_t>(end_ - next_) >= size) return;
    const auto used = static_cast<std::size_t>(next_ - bytes_.data());
    grow(bytes_, 2 * used + size);
    next_ = bytes_.data() + used;
    end_ = bytes_.data() + bytes_.size();
  }

  template <unsigned kMost>
  [[gnu::always_inline]] unsigned symbol(Model<kMost>& model, unsigned symbol) {
    const std::uint32_t part = length_ >> Model<kMost>::kScaleBits;
    const std::uint32_t start = model.below(symbol) * part;
    const std::uint32_t end = symbol + 1 < model.count() ? model.below(symbol + 1) * part : length_;
    narrow(start, end - start);
    model.add(symbol);
    return symbol;
  }

  [[gnu::always_inline]] unsigned bit(BitModel& model, unsigned bit) {
    const std::uint32_t zero = model.ofZero() * (length_ >> BitModel::kScaleBits);
    narrow(bit == 0 ? 0 : zero, bit == 0 ? zero : length_ - zero);
    model.add(bit);
    return bit;
  }

  /// The low `count` bits of `value`, 1 to 32, without a model; the others must be 0.
  [[gnu::always_inline]] std::uint32_t raw(unsigned count, std::uint32_t value) {
    if (count > kMostRawBits) {
      rawStep(16, value & 0xFFFF);
      rawStep(count - 16, value >> 16);
    } else {
      rawStep(count, value);
    }
    return value;
  }

  /// Ends the stream: afterwards the bytes are complete.
  [[gnu::always_inline]] void finish() {
    makeSpace(8);
    int zeros = 2;
    if (length_ > 0x02000000U) {
      narrow(0x01000000U, 0x00800000U);
      zeros = 3;
    } else {
      narrow(0x00800000U, 0x00008000U);
    }
    while (zeros-- > 0) *next_++ = 0;
    bytes_.resize(static_cast<std::size_t>(next_ - bytes_.data()));
  }

 private:
  static constexpr unsigned kMostRawBits = 19;

  [[gnu::always_inline]] void rawStep(unsigned count, std::uint32_t value) {
    const std::uint32_t part = length_ >> count;
    narrow(value * part, part);
  }

  [[gnu::always_inline]] void narrow(std::uint32_t start, std::uint32_t size) {
    if (__builtin_add_overflow(base_, start, &base_)) carry(next_);
    // Without a loop: how many bytes follow a step cannot be predicted.
    const int shift = std::countl_zero(size) & 24;  // in whole bytes: 0, 8, 16 or 24
    const std::uint32_t bytes = __builtin_bswap32(base_);
    std::memcpy(next_, &bytes, sizeof(bytes));
    next_ += shift / 8;
    base_ <<= shift;
    length_ = size << shift;
  }

  /// Adds 1 to the number that the bytes before `end` form. It cannot overflow.
  static void carry(std::uint8_t* end) {
    while (++*--end == 0) {
    }
  }

  [[gnu::noinline]] static void grow(std::vector<std::uint8_t>& bytes, std::size_t size) {
    bytes.resize(size);
  }

  std::vector<std::uint8_t>& bytes_;
  std::uint8_t* next_;
  std::uint8_t* end_;
  std::uint32_t base_ = 0;
  std::uint32_t length_ = 0xFFFFFFFF;
};

}  // namespace laz
