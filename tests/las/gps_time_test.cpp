// SPDX-License-Identifier: BSD-3-Clause
// GPS time from Unix time.
#include "pcbin_las/las/gps_time.h"

#include <limits>

#include <gmock/gmock.h>

namespace {

using pontra::Clock;
using pontra::toAdjustedGpsTime;

TEST(GpsTime, FollowsTheLeapSeconds) {
  EXPECT_EQ(toAdjustedGpsTime(1782036000), 466071218);
  EXPECT_EQ(toAdjustedGpsTime(1782036000.0625), 466071218.0625);
  EXPECT_EQ(toAdjustedGpsTime(315964800), -1e9);  // the GPS epoch
  EXPECT_EQ(toAdjustedGpsTime(1315964785), 0);    // 2011-09-14 01:46:25 UTC
  // The last second before the first and the last leap second, and the first after it.
  EXPECT_EQ(toAdjustedGpsTime(362793599), 362793599 - 315964800 - 1e9);
  EXPECT_EQ(toAdjustedGpsTime(362793600), 362793600 - 315964800 - 1e9 + 1);
  EXPECT_EQ(toAdjustedGpsTime(1483228799), 167264016);
  EXPECT_EQ(toAdjustedGpsTime(1483228800), 167264018);
  EXPECT_EQ(toAdjustedGpsTime(4102444800), 2786480018);
}

TEST(GpsTime, ReadsThreeClocks) {
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  struct Case {
    Clock clock;
    double timeStamp;
    const char* utc;  // null when the clock cannot have the time stamp
  };

  const Case cases[] = {
      {Clock::kUnix, 1782036000.9, "2026-06-21T10:00:00Z"},
      {Clock::kGps, 1466071218, "2026-06-21T10:00:00Z"},
      {Clock::kAdjustedGps, 466071218, "2026-06-21T10:00:00Z"},
      {Clock::kUnix, 466071218, "1984-10-08T08:13:38Z"},
      {Clock::kGps, 466071218, "1994-10-13T08:13:28Z"},
      {Clock::kGps, 0, "1980-01-06T00:00:00Z"},
      {Clock::kAdjustedGps, -1e9, "1980-01-06T00:00:00Z"},
      {Clock::kAdjustedGps, 167264016, "2016-12-31T23:59:59Z"},
      {Clock::kAdjustedGps, 167264018, "2017-01-01T00:00:00Z"},
      {Clock::kAdjustedGps, 2786480018, "2100-01-01T00:00:00Z"},
      {Clock::kUnix, 4102444801, nullptr},
      {Clock::kUnix, 315964799, nullptr},
      {Clock::kGps, 3786480019, nullptr},
      {Clock::kGps, -1, nullptr},
      {Clock::kAdjustedGps, 2786480019, nullptr},
      {Clock::kAdjustedGps, -1000000001, nullptr},
      {Clock::kUnix, kNan, nullptr},
      {Clock::kGps, kInfinity, nullptr},
  };
  for (const auto& [clock, timeStamp, utc] : cases) {
    ASSERT_EQ(pontra::isTimeOf(clock, timeStamp), utc != nullptr) << timeStamp;
    if (utc == nullptr) continue;
    EXPECT_EQ(pontra::utcText(pontra::toAdjustedGpsTime(clock, timeStamp)), utc) << timeStamp;
  }
  EXPECT_STREQ(pontra::smallUnixUnit(1782036000e3), "milliseconds");
  EXPECT_STREQ(pontra::smallUnixUnit(1782036000e6), "microseconds");
  EXPECT_STREQ(pontra::smallUnixUnit(1782036000e9), "nanoseconds");
  for (const double other : {kNan, 604800.0, -2e9, 1782036000.0})
    EXPECT_EQ(pontra::smallUnixUnit(other), nullptr) << other;
}

}  // namespace
