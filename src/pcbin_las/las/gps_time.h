// SPDX-License-Identifier: BSD-3-Clause
// The clocks of time stamps, and their conversion to adjusted standard GPS time, the clock of LAS
// files whose global encoding has bit 0 set (ASPRS LAS 1.2, "Global Encoding").
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <string>

namespace pontra {

/// Bit 0 of LasHeader::globalEncoding: time stamps are adjusted standard GPS time. Without it they
/// are GPS week time.
constexpr std::uint16_t kAdjustedGpsTimeFlag = 0x0001;

/// The Unix times (UTC, seconds since 1970-01-01) that are converted: from the GPS epoch,
/// 1980-01-06, to 2100-01-01.
constexpr double kFirstUnixTime = 315964800;
constexpr double kLastUnixTime = 4102444800;

/// Whether `seconds` is a Unix time in that range; false for NaN.
constexpr bool isUnixTime(double seconds) {
  return seconds >= kFirstUnixTime && seconds <= kLastUnixTime;
}

/// A moment at which GPS time gained one second on UTC.
struct LeapSecond {
  std::chrono::sys_seconds from;  ///< the first second of the larger difference
  int difference;                 ///< seconds, GPS time - UTC
};

/// All leap seconds since the GPS epoch, the newest first (IERS Bulletin C; TAI - UTC minus 19 s).
inline constexpr std::array<LeapSecond, 18> kLeapSeconds = [] {
  using namespace std::chrono;
  return std::array<LeapSecond, 18>{{
      {sys_days{2017y / January / 1}, 18},
      {sys_days{2015y / July / 1}, 17},
      {sys_days{2012y / July / 1}, 16},
      {sys_days{2009y / January / 1}, 15},
      {sys_days{2006y / January / 1}, 14},
      {sys_days{1999y / January / 1}, 13},
      {sys_days{1997y / July / 1}, 12},
      {sys_days{1996y / January / 1}, 11},
      {sys_days{1994y / July / 1}, 10},
      {sys_days{1993y / July / 1}, 9},
      {sys_days{1992y / July / 1}, 8},
      {sys_days{1991y / January / 1}, 7},
      {sys_days{1990y / January / 1}, 6},
      {sys_days{1988y / January / 1}, 5},
      {sys_days{1985y / July / 1}, 4},
      {sys_days{1983y / July / 1}, 3},
      {sys_days{1982y / July / 1}, 2},
      {sys_days{1981y / July / 1}, 1},
  }};
}();

/// Seconds since the GPS epoch minus 10^9, of a Unix time for which isUnixTime() is true. The
/// result is exact from 1987 on, and the nearest double before. A leap second has no Unix time of
/// its own: its points get the time of their Unix second.
constexpr double toAdjustedGpsTime(double unixTime) {
  constexpr double kAdjustment = 1e9;
  for (const LeapSecond& leap : kLeapSeconds) {
    if (unixTime >= static_cast<double>(leap.from.time_since_epoch().count()))
      return unixTime - (kFirstUnixTime + kAdjustment - leap.difference);
  }
  return unixTime - (kFirstUnixTime + kAdjustment);
}

/// The clocks of time stamps.
enum class Clock : std::uint8_t {
  kUnix,         ///< UTC, seconds since 1970-01-01 without leap seconds
  kGps,          ///< seconds since the GPS epoch, 1980-01-06; does not follow leap seconds
  kAdjustedGps,  ///< kGps minus 10^9
};
inline constexpr std::array kClocks = {Clock::kUnix, Clock::kGps, Clock::kAdjustedGps};

/// Adjusted standard GPS time of the GPS epoch and of 2100-01-01.
constexpr double kFirstAdjustedGpsTime = toAdjustedGpsTime(kFirstUnixTime);
constexpr double kLastAdjustedGpsTime = toAdjustedGpsTime(kLastUnixTime);

/// Adjusted standard GPS time of a time stamp; kAdjustedGps changes no bit.
constexpr double toAdjustedGpsTime(Clock clock, double timeStamp) {
  switch (clock) {
    case Clock::kUnix:
      return toAdjustedGpsTime(timeStamp);
    case Clock::kGps:
      return timeStamp - 1e9;
    case Clock::kAdjustedGps:
      break;
  }
  return timeStamp;
}

/// Whether a time stamp lies between 1980-01-06 and 2100-01-01 by this clock; false for NaN.
constexpr bool isTimeOf(Clock clock, double timeStamp) {
  const double first = clock == Clock::kUnix  ? kFirstUnixTime
                       : clock == Clock::kGps ? 0
                                              : kFirstAdjustedGpsTime;
  const double last = clock == Clock::kUnix  ? kLastUnixTime
                      : clock == Clock::kGps ? kLastAdjustedGpsTime + 1e9
                                             : kLastAdjustedGpsTime;
  return timeStamp >= first && timeStamp <= last;
}

/// Whether a time stamp may be GPS week seconds, 0 to 604800, or the time since the start.
constexpr bool isWeekTime(double timeStamp) {
  return timeStamp >= 0 && timeStamp <= 604800;
}

/// "Unix time", "GPS time" or "adjusted GPS time".
const char* clockName(Clock clock);

/// UTC of an adjusted standard GPS time from kFirstAdjustedGpsTime to kLastAdjustedGpsTime, without
/// fractions of a second: "2026-06-21T10:00:00Z".
std::string utcText(double adjustedGpsTime);

/// The unit of Unix time in which a time stamp lies between 1980 and 2100: "milliseconds",
/// "microseconds", "nanoseconds", or null.
const char* smallUnixUnit(double timeStamp);

}  // namespace pontra
