// Calendar time, the wall clock, sleeping, and a limiter for events that repeat.
#pragma once

#include <chrono>
#include <string>

namespace ferrun {

/// A broken-down local calendar time.
class DateTime {
 public:
  /// Now, in the local time zone.
  static DateTime getDateTime();

  /// The time text that opens log lines: "2026-11-22 19:44:03.123".
  std::string toString() const;

  int year = 1970;      ///< four digits
  int month = 1;        ///< 1 to 12
  int day = 1;          ///< 1 to 31
  int hour = 0;         ///< 0 to 23
  int minute = 0;       ///< 0 to 59
  int second = 0;       ///< 0 to 60
  int millisecond = 0;  ///< 0 to 999
};

/// A moment on the wall clock.
class Time {
 public:
  /// Now, measured from the Unix epoch.
  static Time fromEpoch();

  /// Seconds since the Unix epoch, with their fraction.
  double toSec() const { return std::chrono::duration<double>(sinceEpoch_).count(); }

 private:
  std::chrono::system_clock::duration sinceEpoch_{};
};

class Thread {
 public:
  /// Blocks the calling thread for `milliseconds`.
  static void msleep(int milliseconds);
};

/// Lets a repeating event through at most `frequency` times a second, and always the first time.
/// For use by one thread.
class Rate {
 public:
  explicit Rate(float frequency) : period_(1.0F / frequency) {}

  /// Whether the event may pass now; after a true, false until the period has passed. The argument
  /// is kept for callers and has no meaning but 0.
  bool wakeup(float unused);

 private:
  using Clock = std::chrono::steady_clock;

  std::chrono::duration<float> period_;
  Clock::time_point last_{};
  bool asked_ = false;  ///< an event has passed
};

}  // namespace ferrun
