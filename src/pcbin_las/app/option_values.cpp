// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/app/option_values.h"

#include "pcbin_las/export/pose_file.h"
#include "pcbin_las/las/epsg.h"
#include "pcbin_las/platform/number.h"
#include "pcbin_las/platform/trace_macros.h"

namespace cli {

std::string textOption(const ferrun::ArgOption& options, const char* option,
                       const std::string& fallback) {
  return options.hasOption(option) > 0 ? options[option][0] : fallback;
}

bool badNumber(const char* option, const std::string& text) {
  TRACE_ERROR("main", "option %s: bad number(%s)!", option, text.c_str());
  return false;
}

bool intOption(const ferrun::ArgOption& options, const char* option, int& number) {
  if (options.hasOption(option) <= 0) return true;
  const std::string text = options[option][0];
  const auto value = ferrun::toInt(text);
  if (!value) return badNumber(option, text);
  number = *value;
  return true;
}

bool offsetOption(const ferrun::ArgOption& options) {
  g_useOffset = false;
  const int count = options.hasOption("offset");
  if (count >= 0 && count <= 2)
    TRACE_WARNING("main", "option offset ignored: it has %d of 3 values!", count);
  if (count <= 2) return true;
  const auto texts = options["offset"];
  for (std::size_t axis = 0; axis < g_offset.size(); ++axis) {
    std::size_t end = 0;
    const auto value = ferrun::toDouble(texts[axis], &end);
    if (!value) return badNumber("offset", texts[axis]);
    g_offset[axis] = *value;
    if (end < texts[axis].size())
      TRACE_WARNING("main", "option offset: %s is read as %.15g!", texts[axis].c_str(), *value);
  }
  g_useOffset = true;
  return true;
}

bool conversionOptions(const ferrun::ArgOption& options, Conversion& conversion) {
  conversion.pcbinPath = textOption(options, "i", "pgo.pcbin");
  conversion.lasPath = textOption(options, "o", "map.las");
  conversion.pgoPath = textOption(options, "f", "");
  conversion.points.gpsTime = options.hasOption("gps-time") >= 0;
  conversion.points.rgb16 = options.hasOption("rgb16") >= 0;
  conversion.points.sourceId = options.hasOption("source-id") >= 0;
  int code = 0;
  if (options.hasOption("epsg") <= 0) return true;
  if (!intOption(options, "epsg", code)) return false;
  const pontra::EpsgCheck check = pontra::checkEpsg(code);
  if (!check.accepted) {
    TRACE_ERROR("main", "%s!", check.text.c_str());
    return false;
  }
  TRACE_INFO("main", "%s", check.text.c_str());
  if (!check.warning.empty()) TRACE_WARNING("main", "%s!", check.warning.c_str());
  conversion.epsg = static_cast<std::uint16_t>(code);
  return true;
}

bool zoomOption(const ferrun::ArgOption& options, std::optional<picture::Area>& zoom) {
  if (options.hasOption("zoom") < 3) return true;
  const auto texts = options["zoom"];
  std::array<double, 3> numbers = {};
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    const auto value = ferrun::toDouble(texts[i]);
    if (!value) return badNumber("zoom", texts[i]);
    numbers[i] = *value;
  }
  zoom = picture::Area{numbers[0], numbers[1], numbers[2]};
  return true;
}

}  // namespace cli
