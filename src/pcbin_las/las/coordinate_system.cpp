// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/las/coordinate_system.h"

#include <cstring>
#include <optional>

#include "pcbin_las/las/epsg.h"

namespace pontra {
namespace {

constexpr std::uint16_t kKeyDirectory = 34735;
constexpr std::uint16_t kKeyTexts = 34737;
constexpr std::uint16_t kWkt = 2112;

constexpr std::uint16_t kCitation = 1026;
constexpr std::uint16_t kGeographicSystem = 2048;
constexpr std::uint16_t kProjectedSystem = 3072;
constexpr std::uint16_t kProjectedCitation = 3073;
constexpr std::uint16_t kLinearUnit = 3076;
constexpr std::uint16_t kVerticalSystem = 4096;
constexpr std::uint16_t kUserDefined = 32767;

/// The entry `id` of a GeoTIFF key directory.
std::optional<GeoKey> findKey(std::string_view directory, std::uint16_t id) {
  constexpr std::size_t kDirectoryHeader = 8;
  for (std::size_t at = kDirectoryHeader; at + sizeof(GeoKey) <= directory.size();
       at += sizeof(GeoKey)) {
    GeoKey key;
    std::memcpy(&key, directory.data() + at, sizeof(key));
    if (key.id == id) return key;
  }
  return std::nullopt;
}

/// The EPSG code that the key `id` holds; 0 when there is none.
int codeOf(std::string_view directory, std::uint16_t id) {
  const auto key = findKey(directory, id);
  return key && key->location == 0 && key->value != kUserDefined ? key->value : 0;
}

/// The text that the key `id` refers to.
std::string_view textOf(std::string_view directory, std::string_view texts, std::uint16_t id) {
  const auto key = findKey(directory, id);
  if (!key || key->location != kKeyTexts || key->value >= texts.size()) return {};
  const std::string_view text = texts.substr(key->value, key->count);
  return text.substr(0, text.find('|'));
}

/// What a WKT text says about the whole system.
struct WktName {
  std::string_view name;  ///< the first quoted text
  std::string_view code;  ///< `"EPSG","32632"` of AUTHORITY, or `"EPSG",32632` of ID
};

/// Reads the parts of a WKT text that are not within those of other elements.
WktName readWkt(std::string_view text) {
  WktName result;
  std::size_t wordBegin = 0;
  std::size_t quoteBegin = 0;
  bool quoted = false;
  int depth = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '"') {
      quoted = !quoted;
      if (quoted)
        quoteBegin = i + 1;
      else if (result.name.empty())
        result.name = text.substr(quoteBegin, i - quoteBegin);
    } else if (quoted) {
      continue;
    } else if (c == '[' || c == '(') {
      const std::string_view word = text.substr(wordBegin, i - wordBegin);
      if (++depth == 2 && (word == "AUTHORITY" || word == "ID"))
        result.code = text.substr(i + 1, text.find_first_of("])", i) - i - 1);
      wordBegin = i + 1;
    } else if (c == ']' || c == ')') {
      --depth;
    } else if (c == ',' || c == ' ' || c == '\n' || c == '\r' || c == '\t') {
      wordBegin = i + 1;
    }
  }
  return result;
}

/// The unit of the system that GeoTIFF keys describe.
std::string unitOfKeys(std::string_view directory) {
  const int unit = codeOf(directory, kLinearUnit);
  if (unit == 9002) return "ft";
  if (unit == 9003) return "US survey ft";
  return findKey(directory, kGeographicSystem) && !findKey(directory, kProjectedSystem) ? "degrees"
                                                                                        : "m";
}

/// The unit of the system that a WKT text describes.
std::string unitOfWkt(std::string_view text) {
  const std::size_t unit = text.substr(0, text.find("VERT")).rfind("UNIT[\"");
  if (unit == std::string_view::npos) return "m";
  const std::string_view name = text.substr(unit + 6);
  if (name.starts_with("US survey foot")) return "US survey ft";
  if (name.starts_with("foot")) return "ft";
  return name.starts_with("degree") ? "degrees" : "m";
}

}  // namespace

void CoordinateSystem::add(const VariableLengthRecordHeader& record, std::string_view content) {
  constexpr char kUserId[] = "LASF_Projection";
  if (std::strncmp(record.userId, kUserId, sizeof(record.userId)) != 0) return;
  if (record.recordId == kKeyDirectory) keys_ = content;
  if (record.recordId == kKeyTexts) texts_ = content;
  if (record.recordId == kWkt) wkt_ = content.substr(0, content.find('\0'));
}

std::string CoordinateSystem::ofGeoKeys() const {
  if (keys_.empty()) return {};
  std::string name;
  int code = codeOf(keys_, kProjectedSystem);
  if (code == 0 && !findKey(keys_, kProjectedSystem)) code = codeOf(keys_, kGeographicSystem);
  if (code != 0) name = systemLabel(code);
  if (name.empty()) name = textOf(keys_, texts_, kProjectedCitation);
  if (name.empty()) name = textOf(keys_, texts_, kCitation);
  if (name.empty()) name = "without a code";
  const int vertical = codeOf(keys_, kVerticalSystem);
  return vertical != 0 ? name + " + " + systemLabel(vertical) : name;
}

std::string CoordinateSystem::ofWkt() const {
  if (wkt_.empty()) return {};
  const WktName wkt = readWkt(wkt_);
  std::string code;
  for (const char c : wkt.code) {
    if (c != '"' && c != ' ') code += c == ',' ? ':' : c;
  }
  const std::string name(wkt.name);
  return code.empty() ? name : code + ", " + name;
}

MapSystem CoordinateSystem::shown() const {
  if (const std::string name = ofGeoKeys(); !name.empty()) return {name, unitOfKeys(keys_)};
  return wkt_.empty() ? MapSystem{} : MapSystem{ofWkt(), unitOfWkt(wkt_)};
}

MapSystem readMapSystem(LasReader& reader) {
  CoordinateSystem system;
  visitVariableLengthRecords(
      reader, [&](const VariableLengthRecordHeader& record, std::string_view content) {
        system.add(record, content);
        return true;
      });
  return system.shown();
}

}  // namespace pontra
