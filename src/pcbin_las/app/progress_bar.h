// A progress bar.
#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>

#include "pcbin_las/platform/rate.h"

/// One line on standard error that shows how far a run has come, when that is a terminal; nothing
/// otherwise. Any thread may call it.
class ProgressBar {
 public:
  ProgressBar();

  /// Draws the bar, a few times a second at most. `fraction` is the part of the work done, 0 to 1;
  /// 0 when it is not known.
  void update(double fraction, std::uint64_t points);

  /// Clears the line, so that something else can be printed there.
  void erase();

 private:
  using Clock = std::chrono::steady_clock;

  bool onTerminal_;
  Clock::time_point start_ = Clock::now();
  std::mutex mutex_;  ///< guards what follows and the line
  ferrun::Rate rate_{5.0F};
  bool drawn_ = false;
};
