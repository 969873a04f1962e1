// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/export/map_position.h"

#include <optional>
#include <string>

#include "pcbin_las/las/epsg.h"
#include "pcbin_las/platform/str_util.h"
#include "pcbin_las/platform/trace_macros.h"

void checkMapPosition(int epsg, const ConversionResult& result) {
  if (epsg == 0 || result.written == 0) return;
  if (result.offset[0] == 0 && result.offset[1] == 0)
    TRACE_WARNING(
        "pcbin_las",
        "the offset is 0, 0: EPSG:%d needs the distance to its origin in the pose file or "
        "in option --offset!",
        epsg);
  const auto area = pontra::areaOfUse(epsg);
  if (!area) return;
  const double x = (result.low[0] + result.high[0]) / 2;
  const double y = (result.low[1] + result.high[1]) / 2;
  const double distance = area->distance(x, y);
  if (!(distance > 0)) return;
  const std::string where = ferrun::StrUtil::format(
      "the map lies %.*f km outside the area of EPSG:%d, %s (x %.0f to %.0f, y %.0f to %.0f m), "
      "its centre is at x %.0f, y %.0f",
      distance < 10000 ? 1 : 0, distance / 1000, epsg, area->text.c_str(), area->low[0],
      area->high[0], area->low[1], area->high[1], x, y);
  if (distance > area->shorterSide())
    TRACE_WARNING("pcbin_las",
                  "%s: check the code, the offset, and the order of easting and northing!",
                  where.c_str());
  else
    TRACE_INFO("pcbin_las", "%s.", where.c_str());
}
