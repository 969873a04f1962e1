// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/las/variable_length_records.h"

#include <cstring>
#include <limits>
#include <vector>

namespace pontra {

std::string projectedSystemRecord(std::uint16_t epsgCode) {
  constexpr std::uint16_t kGeoKeyDirectoryTag = 34735;
  constexpr std::uint16_t kModelTypeProjected = 1;
  constexpr std::uint16_t kMetre = 9001;
  constexpr char kUserId[] = "LASF_Projection";
  constexpr char kDescription[] = "GeoTIFF keys";
  static_assert(sizeof(kUserId) <= 16 && sizeof(kDescription) <= 32);

  ProjectedSystemRecord record{};
  std::memcpy(record.header.userId, kUserId, sizeof(kUserId));
  record.header.recordId = kGeoKeyDirectoryTag;
  record.header.length = sizeof(record) - sizeof(record.header);
  std::memcpy(record.header.description, kDescription, sizeof(kDescription));
  record.directoryVersion = 1;
  record.keyRevision = 1;
  record.numberOfKeys = 3;
  // GeoTIFF wants the keys in ascending order.
  record.modelType = {1024, 0, 1, kModelTypeProjected};
  record.projectedSystem = {3072, 0, 1, epsgCode};
  record.linearUnit = {3076, 0, 1, kMetre};
  return {reinterpret_cast<const char*>(&record), sizeof(record)};
}

bool variableLengthRecordsFit(ferrun::File& file, const LasHeader& header) {
  const std::uint64_t end = header.pointDataOffset;
  std::uint64_t position = sizeof(LasHeader);
  if (end == position) return true;
  std::vector<char> content(std::numeric_limits<std::uint16_t>::max());
  for (std::uint32_t i = 0; i < header.numberOfVLR; ++i) {
    VariableLengthRecordHeader record;
    if (file.readData(reinterpret_cast<char*>(&record), sizeof(record)) != sizeof(record))
      return false;
    position += sizeof(record) + record.length;
    if (position > end) return false;
    if (file.readData(content.data(), record.length) != record.length) return false;
  }
  return position == end;
}

}  // namespace pontra
