// SPDX-License-Identifier: BSD-3-Clause
// Converts Unix time to adjusted standard GPS time, the clock of LAS files whose global encoding
// has bit 0 set (ASPRS LAS 1.2, "Global Encoding").
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <string_view>

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

/// The likely clock and unit of a time stamp for which isUnixTime() is false, such as "GPS week
/// seconds" or "Unix time in milliseconds"; "no known clock" if there is none.
std::string_view likelyClock(double timeStamp);

}  // namespace pontra
