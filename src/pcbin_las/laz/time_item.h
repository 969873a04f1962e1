// SPDX-License-Identifier: BSD-3-Clause
// Codes the time of a point: item GPSTIME11, version 2.
#pragma once

#include <array>
#include <cstdint>
#include <limits>

#include "pcbin_las/laz/integer_coder.h"
#include "pcbin_las/laz/models.h"

namespace laz {

/// The models and predictions of item GPSTIME11. A time is the 64 bits of a double. Up to four
/// interleaved sequences of times are followed; a time is coded as a multiple of the last step of
/// its sequence, and the remainder.
template <class Coder>
class TimeItem {
 public:
  /// Starts a chunk, whose first point has the time `first`.
  void reset(std::uint64_t first) {
    sequences_.fill({});
    sequences_[0].time = first;
    current_ = newest_ = 0;
    firstSteps_.reset(6);
    multiples_.reset(516);
    steps_.reset();
  }

  /// Encodes a time, or decodes and returns it.
  [[gnu::always_inline]] std::uint64_t code(Coder& coder, std::uint64_t time) {
    if constexpr (Coder::kEncodes)
      encode(coder, time);
    else
      decode(coder);
    return sequences_[current_].time;
  }

 private:
  struct Sequence {
    std::uint64_t time = 0;
    std::uint32_t step = 0;
    unsigned extremes = 0;  ///< times in turn that were far from the last step's multiples
  };

  // Symbols of firstSteps_, which is in use while a sequence has no step.
  static constexpr unsigned kFirstSame = 0;
  static constexpr unsigned kFirstStep = 1;
  static constexpr unsigned kFirstNew = 2;  ///< 3 to 5: another sequence

  // Symbols of multiples_. 1 to 499 are these multiples of the step, 501 to 509 are -1 to -9.
  static constexpr unsigned kZero = 0;
  static constexpr unsigned kMostMultiple = 500;   ///< this or more
  static constexpr unsigned kLeastMultiple = 510;  ///< -10 or less
  static constexpr unsigned kSame = 511;
  static constexpr unsigned kNew = 512;  ///< 513 to 515: another sequence

  static constexpr unsigned kSequences = 4;

  static bool fits(std::uint64_t difference) {
    const auto value = static_cast<std::int64_t>(difference);
    return value == static_cast<std::int32_t>(value);
  }

  /// The symbol for a difference that is about `quotient` steps.
  static unsigned symbolOf(float quotient) {
    // In these ranges the rounded quotient fits into an int.
    if (!(quotient < 2147483648.0F)) return kLeastMultiple;  // as the usual writer's overflow
    const double rounded = quotient >= 0 ? quotient + 0.5 : quotient - 0.5;
    const int multiple = static_cast<int>(rounded);
    if (multiple >= 500) return kMostMultiple;
    if (multiple <= -10) return kLeastMultiple;
    return static_cast<unsigned>(multiple >= 0 ? multiple : 500 - multiple);
  }

  [[gnu::always_inline]] void encode(Coder& coder, std::uint64_t time) {
    if (!fits(time - sequences_[current_].time) && changeSequence(coder, time)) return;
    const Sequence& sequence = sequences_[current_];
    const std::uint64_t difference = time - sequence.time;
    const auto step = static_cast<std::uint32_t>(difference);
    if (sequence.step == 0) {
      if (coder.symbol(firstSteps_, difference == 0 ? kFirstSame : kFirstStep) == kFirstStep)
        codeFirstStep(coder, step);
    } else if (difference == 0) {
      coder.symbol(multiples_, kSame);
    } else {
      const float quotient = static_cast<float>(static_cast<std::int32_t>(step)) /
                             static_cast<float>(static_cast<std::int32_t>(sequence.step));
      codeMultiple(coder, coder.symbol(multiples_, symbolOf(quotient)), step);
    }
  }

  [[gnu::always_inline]] void decode(Coder& coder) {
    unsigned changes = 0;  // of the sequence
    while (changes < 2) {
      const bool first = sequences_[current_].step == 0;
      const unsigned symbol = first ? coder.symbol(firstSteps_) : coder.symbol(multiples_);
      if (symbol == (first ? kFirstSame : kSame)) return;
      const unsigned newSymbol = first ? kFirstNew : kNew;
      if (symbol < newSymbol)
        return first ? codeFirstStep(coder, 0) : codeMultiple(coder, symbol, 0);
      if (symbol == newSymbol) return codeNewSequence(coder, 0);
      current_ = (current_ + symbol - newSymbol) % kSequences;
      ++changes;
    }
    coder.reject();  // an encoder changes the sequence once
  }

  /// Encodes a change to the sequence that `time` continues. If there is none, encodes the time as
  /// the start of a new sequence and returns true.
  [[gnu::always_inline]] bool changeSequence(Coder& coder, std::uint64_t time) {
    unsigned ahead = 1;
    while (ahead < kSequences && !fits(time - sequences_[(current_ + ahead) % kSequences].time))
      ++ahead;
    const unsigned change = ahead % kSequences;  // 0: none
    if (sequences_[current_].step == 0)
      coder.symbol(firstSteps_, kFirstNew + change);
    else
      coder.symbol(multiples_, kNew + change);
    if (change == 0) codeNewSequence(coder, time);
    current_ = change == 0 ? current_ : (current_ + change) % kSequences;
    return change == 0;
  }

  [[gnu::always_inline]] void codeNewSequence(Coder& coder, std::uint64_t time) {
    const auto lastHigh = static_cast<std::uint32_t>(sequences_[current_].time >> 32);
    const std::uint64_t high =
        steps_.code(coder, 8, lastHigh, static_cast<std::uint32_t>(time >> 32));
    newest_ = (newest_ + 1) % kSequences;
    current_ = newest_;
    sequences_[current_] = {.time = high << 32 | coder.raw(32, static_cast<std::uint32_t>(time))};
  }

  [[gnu::always_inline]] void codeFirstStep(Coder& coder, std::uint32_t step) {
    Sequence& sequence = sequences_[current_];
    sequence.step = steps_.code(coder, 0, 0, step);
    sequence.extremes = 0;
    advance(sequence, sequence.step);
  }

  /// Codes the step of a time that is about the multiple of the last step that `symbol` stands for.
  [[gnu::always_inline]] void codeMultiple(Coder& coder, unsigned symbol, std::uint32_t step) {
    Sequence& sequence = sequences_[current_];
    std::uint32_t multiple = symbol;
    unsigned context = 0;
    bool extreme = false;
    if (symbol == 1) {
      context = 1;
      sequence.extremes = 0;
    } else if (symbol == kZero) {
      context = 7;
      extreme = true;
    } else if (symbol < kMostMultiple) {
      context = symbol < 10 ? 2 : 3;
    } else if (symbol == kMostMultiple) {
      context = 4;
      extreme = true;
    } else {
      multiple = 500 - symbol;  // negative
      context = symbol < kLeastMultiple ? 5 : 6;
      extreme = symbol == kLeastMultiple;
    }
    step = steps_.code(coder, context, multiple * sequence.step, step);
    if (extreme && ++sequence.extremes > 3) {
      sequence.step = step;
      sequence.extremes = 0;
    }
    advance(sequence, step);
  }

  static void advance(Sequence& sequence, std::uint32_t step) {
    sequence.time += static_cast<std::uint64_t>(std::int64_t{static_cast<std::int32_t>(step)});
  }

  std::array<Sequence, kSequences> sequences_;
  unsigned current_ = 0;
  unsigned newest_ = 0;
  typename Coder::template Model<6> firstSteps_;
  typename Coder::template Model<516> multiples_;
  IntegerCoder<Coder, 32, 9> steps_;
};

}  // namespace laz
