// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/las/epsg.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <span>

namespace pontra {
namespace {

constexpr int kFirstCode = 1024;  // GeoTIFF 1.0, section 6.3: the range of EPSG codes
constexpr int kLastCode = 32766;

enum Kind : std::uint8_t { kProjected, kGeographic, kGeocentric, kVertical, kCompound, kOther };

/// One coordinate system of the table, which is sorted by code. Packed: there are thousands.
struct [[gnu::packed]] Entry {
  std::uint16_t code;
  std::uint16_t related;    ///< the code to suggest instead, or 0; for a compound system its part
  std::uint16_t base;       ///< position of the name's first part in kBases
  std::uint16_t area;       ///< index into kAreas, or kNoArea
  std::uint32_t zone : 19;  ///< position of the part after " / " in kZones; 0 for none
  std::uint32_t kind : 3;
  std::uint32_t unit : 7;  ///< index into kUnits, 0 is the metre
  std::uint32_t deprecated : 1;
  std::uint32_t eastNorth : 1;  ///< the axes point east and north, in either order
  std::uint32_t hasHeight : 1;  ///< there is a third axis
};
static_assert(sizeof(Entry) == 12);

/// Where a system is used: hundredths of a degree, with east < west across the meridian of 180
/// degrees, and metres.
struct Area {
  std::int16_t west, south, east, north;
  std::int32_t lowX, lowY, highX, highY;
};
constexpr std::uint16_t kNoArea = 0xFFFF;

#ifdef PCBIN_EPSG_TABLE
#include PCBIN_EPSG_TABLE
constexpr std::span<const Entry> kTable = kEntries;
constexpr std::span<const Area> kAreaTable = kAreas;
#else
constexpr char kVersion[] = "";
constexpr const char* kUnits[] = {"metre"};
constexpr char kBases[] = "";
constexpr char kZones[] = "";
constexpr std::span<const Entry> kTable;
constexpr std::span<const Area> kAreaTable;
#endif

const Entry* find(int code) {
  const auto entry = std::lower_bound(
      kTable.begin(), kTable.end(), code,
      [](const Entry& candidate, int wanted) { return int{candidate.code} < wanted; });
  return entry != kTable.end() && int{entry->code} == code ? std::to_address(entry) : nullptr;
}

bool isMetric(const Entry& entry) {
  return entry.kind == kProjected && entry.unit == 0;
}

std::string codeText(int code) {
  return "EPSG:" + std::to_string(code);
}

/// Code and name: "EPSG:32632, WGS 84 / UTM zone 32N".
std::string label(const Entry& entry) {
  std::string text = codeText(entry.code) + ", " + (kBases + entry.base);
  if (entry.zone != 0) text += std::string(" / ") + (kZones + entry.zone);
  return text;
}

const Area* areaOf(const Entry& entry) {
  return entry.area < kAreaTable.size() ? &kAreaTable[entry.area] : nullptr;
}

/// Two limits in hundredths of a degree: "108 to 84 degrees west", or with `wraps`, 174 to -174:
/// "174 degrees east to 174 degrees west".
std::string degreesText(int from, int to, const char* negative, const char* positive, bool wraps) {
  const bool sameSide = !wraps && (std::min(from, to) >= 0 || std::max(from, to) <= 0);
  const char* const sideFrom = from + (sameSide ? to : 0) < 0 ? negative : positive;
  const char* const sideTo = to < 0 ? negative : positive;
  std::array<char, 80> text;
  if (sameSide)
    std::snprintf(text.data(), text.size(), "%g to %g degrees %s", std::abs(from) / 100.0,
                  std::abs(to) / 100.0, sideFrom);
  else
    std::snprintf(text.data(), text.size(), "%g degrees %s to %g degrees %s",
                  std::abs(from) / 100.0, sideFrom, std::abs(to) / 100.0, sideTo);
  return text.data();
}

std::string areaText(const Area& area) {
  return degreesText(area.west, area.east, "west", "east", area.east < area.west) + ", " +
         degreesText(area.south, area.north, "south", "north", false);
}

/// What to give instead of a refused system.
std::string advice(const Entry& entry) {
  const Entry* related = find(entry.related);
  switch (entry.kind) {
    case kProjected:
      if (related != nullptr) return "for coordinates in metres give " + label(*related);
      return "convert the coordinates to a system in metres and give that";
    case kVertical:
      return "give the horizontal, projected system only";
    case kCompound:
      if (related != nullptr && isMetric(*related))
        return "give its horizontal part only, " + label(*related);
      if (related != nullptr) return advice(*related);
      [[fallthrough]];
    default:
      return "give a projected system in metres, such as a UTM zone";
  }
}

std::string refusal(const Entry& entry) {
  constexpr const char* kKinds[] = {"projected", "geographic", "geocentric",
                                    "vertical",  "compound",   "non-projected"};
  std::string text = label(entry) + ", is a " + kKinds[entry.kind] + " system";
  const std::string unit = kUnits[entry.unit];
  if (!unit.empty()) text += " with the unit " + unit;
  return text + ": " + advice(entry);
}

/// Why a system in metres may not be what the user wants; empty when there is no reason.
std::string warningFor(const Entry& entry) {
  std::string text;
  if (entry.deprecated != 0) {
    text = codeText(entry.code) + " is deprecated";
    if (const Entry* related = find(entry.related)) text += ", replaced by " + label(*related);
  }
  if (entry.eastNorth == 0) {
    if (!text.empty()) text += "; ";
    text += "the axes of " + codeText(entry.code) +
            " do not point east and north: programs may show the points turned or mirrored";
  }
  if (entry.hasHeight != 0) {
    if (!text.empty()) text += "; ";
    text += codeText(entry.code) +
            " is three-dimensional: it also carries heights, above its ellipsoid";
  }
  return text;
}

}  // namespace

std::string systemLabel(int code) {
  const Entry* entry = find(code);
  return entry != nullptr ? label(*entry) : codeText(code);
}

EpsgCheck checkEpsg(int code) {
  const std::string text = codeText(code);
  if (code < kFirstCode || code > kLastCode)
    return {false, text + " is out of range: codes from 1024 to 32766 can be given", ""};
  if (const Entry* entry = find(code)) {
    if (!isMetric(*entry)) return {false, refusal(*entry), ""};
    const Area* const area = areaOf(*entry);
    const std::string used =
        area != nullptr ? areaText(*area) : "area of use not known: positions are not checked";
    return {true, label(*entry) + ", " + used, warningFor(*entry)};
  }
  if (kTable.empty())
    return {true, text, text + " was not checked: this build has no table of EPSG codes"};
  return {true, text,
          text + " was not checked: it is not in the EPSG data set " + kVersion +
              " that this build knows"};
}

std::optional<AreaOfUse> areaOfUse(int code) {
  const Entry* const entry = find(code);
  const Area* const area = entry != nullptr ? areaOf(*entry) : nullptr;
  if (area == nullptr) return std::nullopt;
  return AreaOfUse{areaText(*area),
                   {double(area->lowX), double(area->lowY)},
                   {double(area->highX), double(area->highY)}};
}

double AreaOfUse::distance(double x, double y) const {
  const double beyondX = std::max({low[0] - x, x - high[0], 0.0});
  const double beyondY = std::max({low[1] - y, y - high[1], 0.0});
  return std::hypot(beyondX, beyondY);
}

}  // namespace pontra
