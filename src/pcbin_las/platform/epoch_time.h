// SPDX-License-Identifier: BSD-3-Clause
// The wall clock.
#pragma once

#include <chrono>

namespace ferrun {

/// A point in time on the wall clock.
class Time {
 public:
  /// The current time, measured from the Unix epoch.
  static Time fromEpoch() {
    Time now;
    now.sinceEpoch_ = std::chrono::system_clock::now().time_since_epoch();
    return now;
  }

  /// Seconds since the Unix epoch, with their fraction.
  double toSec() const { return std::chrono::duration<double>(sinceEpoch_).count(); }

 private:
  std::chrono::system_clock::duration sinceEpoch_{};
};

}  // namespace ferrun
