// SPDX-License-Identifier: BSD-3-Clause
// Random numbers for the sample survey.
#pragma once

#include <random>

/// A seeded generator: the same seed gives the same numbers in every run.
class Random {
 public:
  explicit Random(unsigned seed) : engine_(seed) {}

  /// A number from the uniform distribution over [low, high).
  double uniform(double low, double high) {
    return std::uniform_real_distribution<>(low, high)(engine_);
  }

  /// A number from the normal distribution around 0.
  double normal(double deviation) { return std::normal_distribution<>(0, deviation)(engine_); }

 private:
  std::mt19937_64 engine_;
};
