// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/export/time_stamps.h"

#include <string>

#include "pcbin_las/platform/trace_macros.h"

namespace {

using pontra::Clock;

constexpr const char* kOptions[] = {"unix", "gps", "adjusted"};  // by Clock

/// The date of a time stamp in each clock that it can be of, with the option for that; empty if
/// there is none: "1984-10-08 as Unix time (--gps-time unix), 1994-10-13 as GPS time (…)".
std::string datesOf(double timeStamp) {
  std::string text;
  for (const Clock clock : pontra::kClocks) {
    if (!pontra::isTimeOf(clock, timeStamp)) continue;
    const std::string utc = pontra::utcText(pontra::toAdjustedGpsTime(clock, timeStamp));
    text += (text.empty() ? "" : ", ") + utc.substr(0, utc.find('T')) + " as " +
            pontra::clockName(clock) + " (--gps-time " + kOptions[static_cast<int>(clock)] + ")";
  }
  return text;
}

/// What a time stamp that no clock can have looks like.
std::string otherClock(double timeStamp) {
  const char* const unit = pontra::smallUnixUnit(timeStamp);
  return unit != nullptr ? std::string("Unix time in ") + unit : "no known clock";
}

}  // namespace

bool isFirstTimeOf(Clock clock, double timeStamp) {
  const bool isWeekTime = pontra::isWeekTime(timeStamp);
  if (pontra::isTimeOf(clock, timeStamp) && !isWeekTime) return true;
  std::string likely = "GPS week seconds or the time since the start";
  if (!isWeekTime) likely = datesOf(timeStamp);
  if (likely.empty()) likely = otherClock(timeStamp);
  TRACE_ERROR("pcbin_las", "time stamp %.6f is not %s in seconds, it looks like %s!", timeStamp,
              pontra::clockName(clock), likely.c_str());
  return false;
}

void warnOfClock(double timeStamp) {
  if (pontra::isWeekTime(timeStamp)) return;
  const std::string dates = datesOf(timeStamp);
  const std::string meaning =
      dates.empty() ? "looks like " + otherClock(timeStamp) : "can be " + dates;
  TRACE_WARNING("pcbin_las", "time stamp %.6f %s; the LAS header says GPS week seconds!", timeStamp,
                meaning.c_str());
}

void printTimes(const WrittenTimes& times) {
  if (times.first)
    TRACE_INFO("pcbin_las", "time stamps: %s to %s", pontra::utcText(*times.first).c_str(),
               pontra::utcText(times.last).c_str());
  if (times.missing > 0)
    TRACE_WARNING("pcbin_las",
                  "points without a valid time stamp: %llu, they are written with time 0!",
                  static_cast<unsigned long long>(times.missing));
}
