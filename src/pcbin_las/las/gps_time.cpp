// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/las/gps_time.h"

namespace pontra {

std::string_view likelyClock(double timeStamp) {
  constexpr double kWeek = 604800;
  constexpr double kFirstAdjustedGpsTime = -1e9;  // 1980-01-06
  if (isUnixTime(timeStamp / 1e3)) return "Unix time in milliseconds";
  if (isUnixTime(timeStamp / 1e6)) return "Unix time in microseconds";
  if (isUnixTime(timeStamp / 1e9)) return "Unix time in nanoseconds";
  if (timeStamp >= 0 && timeStamp <= kWeek) return "GPS week seconds";
  if (timeStamp >= kFirstAdjustedGpsTime && timeStamp < kFirstUnixTime)
    return "adjusted standard GPS time already";
  return "no known clock";
}

}  // namespace pontra
