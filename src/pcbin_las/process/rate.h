// SPDX-License-Identifier: BSD-3-Clause
// A rate limiter.
#pragma once

#include <chrono>

namespace ferrun {

/// Limits a repeating event to `frequency` times a second; the first event always passes. Use it
/// from one thread.
class Rate {
 public:
  explicit Rate(float frequency) : period_(1.0F / frequency) {}

  /// Whether the event may pass now; after true, false until the period has passed. The argument is
  /// not used; callers pass 0.
  bool wakeup(float /*unused*/) {
    const Clock::time_point now = Clock::now();
    if (asked_ && now - last_ < period_) return false;
    asked_ = true;
    last_ = now;
    return true;
  }

 private:
  using Clock = std::chrono::steady_clock;

  std::chrono::duration<float> period_;
  Clock::time_point last_{};
  bool asked_ = false;  ///< an event has passed
};

}  // namespace ferrun
