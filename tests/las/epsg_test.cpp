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
      {32632, true, "EPSG:32632, WGS 84 / UTM zone 32N", ""},
      {25832, true, "EPSG:25832, ETRS89 / UTM zone 32N", ""},
      {4547, true, "EPSG:4547, CGCS2000 / 3-degree Gauss-Kruger CM 114E", ""},
      {2180, true, "EPSG:2180, ETRF2000-PL / CS92", ""},  // north before east
      {29900, true, "EPSG:29900, TM65 / Irish National Grid",
       "EPSG:29900 is deprecated, replaced by EPSG:29902, TM65 / Irish Grid"},
      {2053, true, "EPSG:2053, Hartebeesthoek94 / Lo29", "the axes of EPSG:2053"},
      {2297, true, "EPSG:2297, Qornoq 1927 / Greenland zone 1 east",
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

}  // namespace
