// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/las/gps_time.h"

#include <cmath>
#include <cstdio>

namespace pontra {
namespace {

/// The Unix time of an adjusted standard GPS time, rounded down to a second. A leap second becomes
/// the second after it.
std::chrono::sys_seconds toUnixTime(double adjustedGpsTime) {
  double difference = 0;
  for (const LeapSecond& leap : kLeapSeconds) {
    const auto from = static_cast<double>(leap.from.time_since_epoch().count());
    if (adjustedGpsTime < toAdjustedGpsTime(from)) continue;
    difference = leap.difference;
    break;
  }
  const double seconds = std::floor(adjustedGpsTime + 1e9 + kFirstUnixTime - difference);
  return std::chrono::sys_seconds(std::chrono::seconds(static_cast<std::int64_t>(seconds)));
}

}  // namespace

const char* clockName(Clock clock) {
  return clock == Clock::kUnix  ? "Unix time"
         : clock == Clock::kGps ? "GPS time"
                                : "adjusted GPS time";
}

std::string utcText(double adjustedGpsTime) {
  using namespace std::chrono;
  const sys_seconds time = toUnixTime(adjustedGpsTime);
  const sys_days day = floor<days>(time);
  const year_month_day date(day);
  const hh_mm_ss clock(time - day);
  std::array<char, 80> text;
  std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02dZ", int(date.year()),
                unsigned(date.month()), unsigned(date.day()), int(clock.hours().count()),
                int(clock.minutes().count()), int(clock.seconds().count()));
  return text.data();
}

const char* smallUnixUnit(double timeStamp) {
  if (isUnixTime(timeStamp / 1e3)) return "milliseconds";
  if (isUnixTime(timeStamp / 1e6)) return "microseconds";
  return isUnixTime(timeStamp / 1e9) ? "nanoseconds" : nullptr;
}

}  // namespace pontra
