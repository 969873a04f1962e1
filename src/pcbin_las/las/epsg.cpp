// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/las/epsg.h"

#include <algorithm>
#include <cstdint>
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
  std::uint32_t zone : 20;  ///< position of the part after " / " in kZones; 0 for none
  std::uint32_t kind : 3;
  std::uint32_t unit : 7;  ///< index into kUnits, 0 is the metre
  std::uint32_t deprecated : 1;
  std::uint32_t eastNorth : 1;  ///< the axes point east and north, in either order
};
static_assert(sizeof(Entry) == 10);

#ifdef PCBIN_EPSG_TABLE
#include PCBIN_EPSG_TABLE
constexpr std::span<const Entry> kTable = kEntries;
#else
constexpr char kVersion[] = "";
constexpr const char* kUnits[] = {"metre"};
constexpr char kBases[] = "";
constexpr char kZones[] = "";
constexpr std::span<const Entry> kTable;
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
  return text;
}

}  // namespace

EpsgCheck checkEpsg(int code) {
  const std::string text = codeText(code);
  if (code < kFirstCode || code > kLastCode)
    return {false, text + " is out of range: codes from 1024 to 32766 can be given", ""};
  if (const Entry* entry = find(code)) {
    if (!isMetric(*entry)) return {false, refusal(*entry), ""};
    return {true, label(*entry), warningFor(*entry)};
  }
  if (kTable.empty())
    return {true, text, text + " was not checked: this build has no table of EPSG codes"};
  return {true, text,
          text + " was not checked: it is not in the EPSG data set " + kVersion +
              " that this build knows"};
}

std::string_view epsgVersion() {
  return kVersion;
}

}  // namespace pontra
