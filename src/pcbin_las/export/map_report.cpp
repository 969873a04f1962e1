// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/export/map_report.h"

#include <cmath>
#include <string>
#include <tuple>

#include "pcbin_las/platform/str_util.h"
#include "pcbin_las/platform/trace_macros.h"

void warnOfRefused(const Conversion& conversion, std::uint64_t count,
                   const RefusedPoints& refused) {
  // The sign of NaN differs between machines.
  const auto shown = [](float value) {
    return double{std::isnan(value) ? std::abs(value) : value};
  };
  const std::uint64_t beyond = count - refused.notFinite - refused.outOfRange;
  std::string causes;
  const auto add = [&causes](std::uint64_t points, const char* cause) {
    if (points == 0) return;
    causes += ferrun::StrUtil::format("%s%llu %s", causes.empty() ? "" : ", ",
                                      static_cast<unsigned long long>(points), cause);
  };
  add(refused.notFinite, "not finite");
  add(refused.outOfRange, "too far from the offset for the scale factor");
  add(beyond, "beyond 4294967295 records");
  const std::string& path = conversion.lasPath;
  const char* const name = (conversion.lasName.empty() ? path : conversion.lasName).c_str();
  if (refused.notFinite + refused.outOfRange == 0)
    TRACE_WARNING("pcbin_las", "las file(%s): points left out: %s!", name, causes.c_str());
  else
    TRACE_WARNING("pcbin_las",
                  "las file(%s): points left out: %s; the first, of sweep %u, is at %.9g %.9g "
                  "%.9g!",
                  name, causes.c_str(), refused.firstSweep, shown(refused.first[0]),
                  shown(refused.first[1]), shown(refused.first[2]));
}

void describeMap(const ConversionResult& result) {
  if (const auto& moved = result.movement)
    TRACE_INFO(
        "pcbin_las",
        "points moved (sample): median %.1f m, up to %.1f m; turned up to %.1f, tilted up to "
        "%.1f degrees",
        moved->median, moved->most, moved->turned, moved->tilted);
  else
    TRACE_INFO("pcbin_las", "no point moved");
  const auto& [low, high] = std::tie(result.low, result.high);
  TRACE_INFO("pcbin_las", "x %.3f to %.3f, y %.3f to %.3f, z %.3f to %.3f m", low[0], high[0],
             low[1], high[1], low[2], high[2]);
}
