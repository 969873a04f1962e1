// SPDX-License-Identifier: BSD-3-Clause
// Accepted and refused EPSG codes, and their texts.
#include "pcbin_las/las/epsg.h"

#include <gmock/gmock.h>

namespace {

using pontra::checkEpsg;
using testing::HasSubstr;

TEST(CheckEpsg, ChecksTheRangeOfCodes) {
  for (const int code : {-1, 0, 1023, 32767, 98168}) {
    EXPECT_FALSE(checkEpsg(code).accepted) << code;
    EXPECT_THAT(checkEpsg(code).text, HasSubstr("1024 to 32766")) << code;
  }
  for (const int code : {1024, 1999}) {
    const pontra::EpsgCheck check = checkEpsg(code);
    EXPECT_TRUE(check.accepted) << code;
    EXPECT_EQ(check.text, "EPSG:" + std::to_string(code));
    EXPECT_THAT(check.warning, HasSubstr("not checked")) << code;
  }
}

TEST(CheckEpsg, ChecksKindUnitAndAxes) {
  if (pontra::epsgVersion().empty()) GTEST_SKIP() << "built without the table";
  struct Case {
    int code;
    bool accepted;
    const char* text;
    const char* warning;
  };

  const Case cases[] = {
      {32632, true,
       "EPSG:32632, WGS 84 / UTM zone 32N, 6 to 12 degrees east, 0 to 84 degrees north", ""},
      {3263, true,
       "EPSG:3263, WGS 84 / SCAR IMW ST13-16, 108 to 84 degrees west, 80 to 76 degrees south", ""},
      {2180, true,  // north before east
       "EPSG:2180, ETRF2000-PL / CS92, 14.14 to 24.15 degrees east, 49 to 55.93 degrees north", ""},
      {3832, true,
       "EPSG:3832, WGS 84 / PDC Mercator, 98.69 degrees east to 68 degrees west, 60 degrees south "
       "to 66.67 degrees north",
       ""},
      {32600, true,
       "EPSG:32600, WGS 84 / UTM grid system (northern hemisphere), area of use not known: "
       "positions are not checked",
       ""},
      {9895, true,
       "EPSG:9895, LUREF / Luxembourg TM (3D), 5.73 to 6.53 degrees east, 49.44 to 50.19 degrees "
       "north",
       "EPSG:9895 is three-dimensional: it also carries heights"},
      {29900, true,
       "EPSG:29900, TM65 / Irish National Grid, 10.56 to 5.34 degrees west, 51.39 to 55.43 degrees "
       "north",
       "EPSG:29900 is deprecated, replaced by EPSG:29902, TM65 / Irish Grid"},
      {2297, true,
       "EPSG:2297, Qornoq 1927 / Greenland zone 1 east, area of use not known: positions are not "
       "checked",
       "EPSG:2297 is deprecated; the axes of EPSG:2297"},
      {4326, false,
       "EPSG:4326, WGS 84, is a geographic system with the unit degree: give a projected system in "
       "metres, such as a UTM zone",
       ""},
      {4978, false,
       "EPSG:4978, WGS 84, is a geocentric system with the unit metre: give a projected system in "
       "metres, such as a UTM zone",
       ""},
      {5703, false,
       "EPSG:5703, NAVD88 height, is a vertical system with the unit metre: give the horizontal, "
       "projected system only",
       ""},
      {7415, false,
       "EPSG:7415, Amersfoort / RD New + NAP height, is a compound system with the unit metre: "
       "give its horizontal part only, EPSG:28992, Amersfoort / RD New",
       ""},
      {6349, false,
       "EPSG:6349, NAD83(2011) + NAVD88 height, is a compound system with the unit degree: give a "
       "projected system in metres, such as a UTM zone",
       ""},
      {2263, false,
       "EPSG:2263, NAD83 / New York Long Island (ftUS), is a projected system with the unit US "
       "survey foot: for coordinates in metres give EPSG:32118, NAD83 / New York Long Island",
       ""},
  };
  for (const Case& expected : cases) {
    const pontra::EpsgCheck check = checkEpsg(expected.code);
    EXPECT_EQ(check.accepted, expected.accepted) << expected.code;
    EXPECT_EQ(check.text, expected.text);
    const std::string warning = expected.warning;
    EXPECT_THAT(check.warning, HasSubstr(warning)) << expected.code;
    EXPECT_EQ(check.warning.empty(), warning.empty()) << check.warning;
  }
}

TEST(AreaOfUse, HasTheLimitsInMetresEastBeforeNorth) {
  if (pontra::epsgVersion().empty()) GTEST_SKIP() << "built without the table";
  struct Case {
    int code;
    std::array<double, 4>
        limits;  // lowest x and y, highest x and y: published bounds of the systems
    double x, y, distance;
  };

  const Case cases[] = {
      {32632, {166021, 0, 833979, 9329005}, 512000, 5403000, 0},
      {32632, {166021, 0, 833979, 9329005}, 5403000, 512000, 4569021},  // exchanged
      {25832, {239323, 4290144, 761546, 9365802}, 798546, 5828000, 37000},
      {2180, {144693, 125837, 876500, 908411}, 144690, 125833, 5},  // axes north, east
  };
  for (const auto& [code, limits, x, y, distance] : cases) {
    const auto area = pontra::areaOfUse(code);
    ASSERT_TRUE(area) << code;
    const std::array found = {area->low[0], area->low[1], area->high[0], area->high[1]};
    for (std::size_t i = 0; i < 4; ++i) EXPECT_NEAR(found[i], limits[i], 1) << code;
    EXPECT_NEAR(area->distance(x, y), distance, 2) << code;
  }
  for (const int code : {1999, 4326, 2263, 32600}) EXPECT_FALSE(pontra::areaOfUse(code)) << code;
}

}  // namespace
