// SPDX-License-Identifier: BSD-3-Clause
// The limits of coordinate systems.
#include "pcbin_las/las/epsg.h"

#include <gmock/gmock.h>

namespace {

TEST(AreaOfUse, HasTheLimitsInMetresEastBeforeNorth) {
  struct Case {
    int code;
    std::array<double, 4>
        limits;  // lowest x and y, highest x and y: published bounds of the systems
    double x, y, distance;
  };

  const Case cases[] = {
      {32632, {166021, 0, 833979, 9329005}, 512000, 5403000, 0},
      {32632, {166021, 0, 833979, 9329005}, 5403000, 512000, 4569021},  // exchanged
      {32632, {166021, 0, 833979, 9329005}, 870979, 5828000, 37000},
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
