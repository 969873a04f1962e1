// Random numbers that are the same on every machine and for every standard library.
#pragma once

#include <cstdint>

/// A SplitMix64 generator.
class Noise {
 public:
  /// Generators with another seed or another stream give unrelated numbers.
  explicit Noise(std::uint64_t seed, std::uint64_t stream = 0)
      : state_(seed * 0xD1B54A32D192ED03U + stream * 0x8CB92BA72F3D8DD7U) {
    bits();
  }

  /// Evenly spread in [low, high).
  double uniform(double low, double high) {
    return low + (high - low) * static_cast<double>(bits() >> 11) * 0x1p-53;
  }

  /// Close to the normal distribution of this standard deviation, and never beyond 3.5 times it:
  /// the sum of four even numbers of 16 bits, which has a standard deviation of 2^16 / sqrt(3).
  double normal(double deviation) {
    const std::uint64_t word = bits();
    const auto sum = (word & 0xFFFF) + (word >> 16 & 0xFFFF) + (word >> 32 & 0xFFFF) + (word >> 48);
    constexpr double kUnit = 1.7320508075688772 / 65536;
    return deviation * kUnit * (static_cast<double>(sum) - 2.0 * 65535);
  }

 private:
  std::uint64_t bits() {
    state_ += 0x9E3779B97F4A7C15U;
    std::uint64_t word = state_;
    word = (word ^ word >> 30) * 0xBF58476D1CE4E5B9U;
    word = (word ^ word >> 27) * 0x94D049BB133111EBU;
    return word ^ word >> 31;
  }

  std::uint64_t state_;
};
