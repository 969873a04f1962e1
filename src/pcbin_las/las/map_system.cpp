// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/las/map_system.h"

#include <cstring>
#include <map>

#include "pcbin_las/las/coordinate_system.h"
#include "pcbin_las/las/epsg.h"
#include "pcbin_las/las/variable_length_records.h"

namespace pontra {
namespace {

constexpr std::uint16_t kWellKnownText = 2112;
constexpr std::uint16_t kGeoKeyDirectory = 34735;

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

/// The unit of the system that GeoTIFF keys describe.
std::string unitOf(std::map<int, int> keys) {
  constexpr int kGeographicSystem = 2048;
  constexpr int kProjectedSystem = 3072;
  constexpr int kLinearUnit = 3076;
  if (keys[kLinearUnit] == 9002) return "ft";
  if (keys[kLinearUnit] == 9003) return "US survey ft";
  return keys[kGeographicSystem] != 0 && keys[kProjectedSystem] == 0 ? "degrees" : "m";
}

/// The unit of the system that well-known text describes.
std::string unitOf(std::string_view text) {
  const std::size_t unit = text.substr(0, text.find("VERT")).rfind("UNIT[\"");
  if (unit == std::string_view::npos) return "m";
  const std::string_view name = text.substr(unit + 6);
  if (name.starts_with("US survey foot")) return "US survey ft";
  if (name.starts_with("foot")) return "ft";
  return name.starts_with("degree") ? "degrees" : "m";
}

}  // namespace

MapSystem mapSystemOf(int epsgCode) {
  return {.name = epsgCode == 0 ? "" : nameOf(epsgCode)};
}

MapSystem findMapSystem(std::string_view records) {
  CoordinateSystem system;
  MapSystem fromKeys;
  MapSystem fromText;
  while (records.size() >= sizeof(VariableLengthRecordHeader)) {
    VariableLengthRecordHeader header;
    std::memcpy(&header, records.data(), sizeof(header));
    records.remove_prefix(sizeof(header));
    const std::string_view content = records.substr(0, header.length);
    records.remove_prefix(content.size());
    system.add(header, content);
    if (!describesCoordinateSystem(header)) continue;
    if (header.recordId == kGeoKeyDirectory) fromKeys.unit = unitOf(readGeoKeys(content));
    if (header.recordId == kWellKnownText) fromText.unit = unitOf(content);
  }
  fromKeys.name = system.ofGeoKeys();
  fromText.name = system.ofWkt();
  return fromKeys.name.empty() ? fromText : fromKeys;
}

}  // namespace pontra
