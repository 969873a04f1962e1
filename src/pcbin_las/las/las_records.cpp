// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/las/las_records.h"

#include <cstring>
#include <ctime>

#include "pcbin_las/version.h"

namespace pontra {

bool LasHeaderInit(LasHeader* header, const PointDataFormat& format) {
  if (format != kPointFormat3) return false;
  LasHeader defaults{};
  std::memcpy(defaults.fileSignature, "LASF", 4);
  defaults.versionMajor = 1;
  defaults.versionMinor = 2;
  constexpr char kSystem[] = "TRANSFORMATION";
  constexpr char kSoftware[] = "pcbin_las " PCBIN_LAS_VERSION;
  static_assert(sizeof(kSystem) <= 32 && sizeof(kSoftware) <= 32,
                "at most 31 characters and a zero");
  std::memcpy(defaults.systemIdentifier, kSystem, sizeof(kSystem));
  std::memcpy(defaults.generatingSoftware, kSoftware, sizeof(kSoftware));

  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  gmtime_r(&now, &utc);
  defaults.creationDayOfYear = static_cast<std::uint16_t>(utc.tm_yday + 1);
  defaults.creationYear = static_cast<std::uint16_t>(utc.tm_year + 1900);

  defaults.headerSize = sizeof(LasHeader);
  defaults.pointDataOffset = sizeof(LasHeader);
  defaults.pointDataFormatID = 3;
  defaults.pointDataRecordLength = sizeof(LasPointRecord);
  defaults.xScaleFactor = defaults.yScaleFactor = defaults.zScaleFactor = 0.001;
  *header = defaults;
  return true;
}

bool isLas12Format3(const LasHeader& header) {
  return header.versionMajor == 1 && header.versionMinor == 2 && header.pointDataFormatID == 3 &&
         header.pointDataRecordLength == sizeof(LasPointRecord);
}

}  // namespace pontra
