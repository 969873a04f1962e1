// SPDX-License-Identifier: BSD-3-Clause
// GPS time from Unix time.
#include "pcbin_las/las/gps_time.h"

#include <limits>

#include <gmock/gmock.h>

namespace {

using pontra::isUnixTime;
using pontra::likelyClock;
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

TEST(GpsTime, NamesTheClockOfOtherTimeStamps) {
  for (const double time : {315964800.0, 1782036000.5, 4102444800.0}) EXPECT_TRUE(isUnixTime(time));
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  const std::pair<double, const char*> cases[] = {
      {0.5, "GPS week seconds"},
      {604800, "GPS week seconds"},
      {1782036000e3, "Unix time in milliseconds"},
      {1782036000e6, "Unix time in microseconds"},
      {1782036000e9, "Unix time in nanoseconds"},
      {-466071218, "adjusted standard GPS time already"},
      {315964799, "adjusted standard GPS time already"},
      {4102444801, "no known clock"},
      {-2e9, "no known clock"},
      {kNan, "no known clock"},
      {kInfinity, "no known clock"},
  };
  for (const auto& [time, clock] : cases) {
    EXPECT_FALSE(isUnixTime(time)) << time;
    EXPECT_EQ(likelyClock(time), clock) << time;
  }
}

}  // namespace
