// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/las/coordinate_system.h"

#include <cstring>
#include <map>

#include "pcbin_las/las/epsg.h"
#include "pcbin_las/las/variable_length_records.h"

namespace pontra {
namespace {

constexpr std::uint16_t kWellKnownText = 2112;
constexpr std::uint16_t kGeoKeyDirectory = 34735;

/// The content of the first record of a kind; empty when there is none.
std::string_view findRecord(std::string_view records, std::uint16_t id) {
  while (records.size() >= sizeof(VariableLengthRecordHeader)) {
    VariableLengthRecordHeader header;
    std::memcpy(&header, records.data(), sizeof(header));
    records.remove_prefix(sizeof(header));
    const std::string_view content = records.substr(0, header.length);
    if (header.recordId == id && std::strncmp(header.userId, "LASF_Projection", 16) == 0)
      return content;
    records.remove_prefix(content.size());
  }
  return {};
}

/// The keys whose value is in the directory itself.
std::map<int, int> readGeoKeys(std::string_view directory) {
  std::map<int, int> keys;
  constexpr std::size_t kHeaderSize = 8;
  for (std::size_t i = kHeaderSize; i + sizeof(GeoKey) <= directory.size(); i += sizeof(GeoKey)) {
    GeoKey key;
    std::memcpy(&key, &directory[i], sizeof(key));
    if (key.location == 0) keys[key.id] = key.value;
  }
  return keys;
}

/// "EPSG:32632, WGS 84 / UTM zone 32N"; without the name if the code is not one of metres.
std::string nameOf(int code) {
  const EpsgCheck check = checkEpsg(code);
  if (!check.accepted) return "EPSG:" + std::to_string(code);
  const auto area = areaOfUse(code);
  return area ? check.text.substr(0, check.text.find(", " + area->text)) : check.text;
}

CoordinateSystem fromGeoKeys(std::map<int, int> keys) {
  constexpr int kGeographicSystem = 2048;
  constexpr int kProjectedSystem = 3072;
  constexpr int kLinearUnit = 3076;
  constexpr int kUserDefined = 32767;
  const bool projected = keys[kProjectedSystem] != 0;
  const int code = keys[projected ? kProjectedSystem : kGeographicSystem];
  CoordinateSystem system;
  if (code == kUserDefined)
    system.name = "user-defined coordinate system";
  else if (code != 0)
    system.name = nameOf(code);
  if (code != 0 && !projected) system.unit = "degrees";
  if (keys[kLinearUnit] == 9002) system.unit = "ft";
  if (keys[kLinearUnit] == 9003) system.unit = "US survey ft";
  return system;
}

/// The first text in quotes after `begin`.
std::string quoted(std::string_view text, std::size_t begin) {
  const std::size_t first = text.find('"', begin);
  if (first == std::string_view::npos) return {};
  return std::string(text.substr(first + 1, text.find('"', first + 1) - first - 1));
}

CoordinateSystem fromText(std::string_view text) {
  CoordinateSystem system = {.name = quoted(text, 0)};
  const std::size_t unit = text.substr(0, text.find("VERT")).rfind("UNIT[");
  if (unit == std::string_view::npos) return system;
  const std::string name = quoted(text, unit);
  if (name.starts_with("US survey foot"))
    system.unit = "US survey ft";
  else if (name.starts_with("foot"))
    system.unit = "ft";
  else if (name.starts_with("degree"))
    system.unit = "degrees";
  return system;
}

}  // namespace

CoordinateSystem coordinateSystemOf(int epsgCode) {
  return {.name = epsgCode == 0 ? "" : nameOf(epsgCode)};
}

CoordinateSystem findCoordinateSystem(std::string_view records) {
  const std::string_view keys = findRecord(records, kGeoKeyDirectory);
  if (!keys.empty()) return fromGeoKeys(readGeoKeys(keys));
  return fromText(findRecord(records, kWellKnownText));
}

}  // namespace pontra
