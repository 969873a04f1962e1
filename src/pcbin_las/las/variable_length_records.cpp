// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/las/variable_length_records.h"

#include <algorithm>
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

std::uint32_t visitVariableLengthRecords(
    LasReader& reader,
    const std::function<bool(const VariableLengthRecordHeader&, std::string_view)>& visit) {
  const std::int64_t end = reader.header().pointDataOffset;
  std::int64_t position = std::max<std::int64_t>(reader.header().headerSize, sizeof(LasHeader));
  std::vector<char> content(std::numeric_limits<std::uint16_t>::max());
  for (std::uint32_t i = 0; i < reader.header().numberOfVLR; ++i) {
    VariableLengthRecordHeader record;
    const std::int64_t begin = position + std::int64_t{sizeof(record)};
    if (begin > end ||
        !reader.readBeforePoints(position, {reinterpret_cast<char*>(&record), sizeof(record)}) ||
        begin + record.length > end ||
        !reader.readBeforePoints(begin, {content.data(), record.length}))
      return i;
    if (!visit(record, {content.data(), record.length})) return i + 1;
    position = begin + record.length;
  }
  return reader.header().numberOfVLR;
}

}  // namespace pontra
