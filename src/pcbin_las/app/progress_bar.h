// SPDX-License-Identifier: BSD-3-Clause
// A progress bar.
#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>

#include "pcbin_las/process/rate.h"

/// Shows the progress of a run in one line on standard error, if that is a terminal. Any thread may
/// call it.
class ProgressBar {
 public:
  ProgressBar();

  /// Draws the bar, at most a few times a second. `fraction` is the part of the work done, 0 to 1;
  /// 0 if unknown.
  void update(double fraction, std::uint64_t points);

  /// Clears the line for other output.
  void erase();

 private:
  using Clock = std::chrono::steady_clock;

  bool onTerminal_;
  Clock::time_point start_ = Clock::now();
  std::mutex mutex_;  ///< guards the members below and the line
  ferrun::Rate rate_{5.0F};
  bool drawn_ = false;
};
