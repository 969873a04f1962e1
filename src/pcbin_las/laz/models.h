// SPDX-License-Identifier: BSD-3-Clause
// The adaptive probability models of the arithmetic coder. Encoder and decoder of a chunk hold the
// same models and update them after the same symbols.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <bitset>
#include <cstddef>
#include <cstdint>

namespace laz {

/// The frequencies of `count()` symbols, at most kMost. With `kSearched` it also has find().
template <unsigned kMost, bool kSearched>
class SymbolModel {
 public:
  /// Cumulative frequencies are parts of 2^kScaleBits.
  static constexpr unsigned kScaleBits = 15;

  /// Starts anew with `count` equally frequent symbols, 2 to kMost.
  void reset(unsigned count) {
    count_ = count;
    frequencies_.fill(1);
    total_ = 0;
    cycle_ = count;
    update();
    cycle_ = left_ = (count + 6) >> 1;
  }

  unsigned count() const { return count_; }

  /// The sum of the frequencies of the symbols before `symbol`, in parts of 2^kScaleBits. Less than
  /// that of the next symbol.
  std::uint32_t below(unsigned symbol) const { return below_[symbol]; }

  /// The last symbol with below(symbol) <= `part`.
  unsigned find(std::uint32_t part) const requires kSearched {
    const std::uint32_t bucket = std::min(part >> kBucketShift, kBuckets - 1);
    unsigned low = firstOf_[bucket];
    unsigned high = firstOf_[bucket + 1] + 1U;
    while (high - low > 1) {
      const unsigned middle = (low + high) >> 1;
      (below_[middle] <= part ? low : high) = middle;
    }
    return low;
  }

  /// Counts an occurrence of `symbol`.
  void add(unsigned symbol) {
    ++frequencies_[symbol];
    if (--left_ == 0) update();
  }

 private:
  static constexpr std::uint32_t kMostCounted = 32768;
  static constexpr std::uint32_t kBuckets = std::bit_ceil(kMost) / 2;
  static constexpr unsigned kBucketShift = kScaleBits - std::bit_width(kBuckets) + 1;

  [[gnu::noinline]] void update() {
    total_ += cycle_;
    if (total_ > kMostCounted) halve();
    const std::uint32_t scale = 0x80000000U / total_;
    std::uint32_t sum = 0;
    for (unsigned i = 0; i < count_; ++i) {
      below_[i] = static_cast<std::uint16_t>(scale * sum >> 16);
      sum += frequencies_[i];
    }
    if constexpr (kSearched) fillBuckets();
    cycle_ = left_ = std::min(cycle_ * 5 >> 2, (count_ + 6) << 3);
  }

  void halve() {
    total_ = 0;
    for (unsigned i = 0; i < count_; ++i) {
      frequencies_[i] = static_cast<std::uint16_t>((frequencies_[i] + 1) >> 1);
      total_ += frequencies_[i];
    }
  }

  /// firstOf_[b] becomes the symbol that contains the first part of bucket b.
  void fillBuckets() {
    unsigned symbol = 0;
    for (std::uint32_t bucket = 0; bucket < kBuckets; ++bucket) {
      while (symbol + 1 < count_ && below_[symbol + 1] <= bucket << kBucketShift) ++symbol;
      firstOf_[bucket] = static_cast<std::uint16_t>(symbol);
    }
    firstOf_[kBuckets] = static_cast<std::uint16_t>(count_ - 1);
  }

  std::array<std::uint16_t, kMost> below_;
  std::array<std::uint16_t, kMost> frequencies_;
  std::array<std::uint16_t, kSearched ? kBuckets + 1 : 1> firstOf_;  ///< where find() starts
  std::uint32_t count_;
  std::uint32_t total_;
  std::uint32_t cycle_;  ///< symbols from the last update to the next
  std::uint32_t left_;   ///< of them still to come
};

/// One model of 256 symbols for each value of a byte. A model is reset when it is first used.
template <bool kSearched>
class ByteModels {
 public:
  void reset() { used_.reset(); }

  SymbolModel<256, kSearched>& operator[](std::uint8_t byte) {
    if (!used_[byte]) {
      used_.set(byte);
      models_[byte].reset(256);
    }
    return models_[byte];
  }

 private:
  std::bitset<256> used_;
  std::array<SymbolModel<256, kSearched>, 256> models_;
};

/// The frequency of a bit that is 0.
class BitModel {
 public:
  /// Frequencies are parts of 2^kScaleBits.
  static constexpr unsigned kScaleBits = 13;

  void reset() { *this = BitModel(); }

  /// The frequency of 0, from 1 to 2^kScaleBits - 1.
  std::uint32_t ofZero() const { return ofZero_; }

  /// Counts an occurrence of `bit`.
  void add(unsigned bit) {
    zeros_ += 1 - bit;
    if (--left_ == 0) update();
  }

 private:
  static constexpr std::uint32_t kMostCounted = 8192;
  static constexpr std::uint32_t kLongestCycle = 64;

  void update() {
    total_ += cycle_;
    if (total_ > kMostCounted) {
      total_ = (total_ + 1) >> 1;
      zeros_ = (zeros_ + 1) >> 1;
      if (zeros_ == total_) ++total_;
    }
    ofZero_ = zeros_ * (0x80000000U / total_) >> 18;
    cycle_ = left_ = std::min(cycle_ * 5 >> 2, kLongestCycle);
  }

  std::uint32_t zeros_ = 1;
  std::uint32_t total_ = 2;
  std::uint32_t ofZero_ = 4096;
  std::uint32_t cycle_ = 4;
  std::uint32_t left_ = 4;
};

}  // namespace laz
