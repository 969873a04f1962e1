// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/app/las_repair.h"

#include <algorithm>

#include "pcbin_las/las/gps_time.h"
#include "pcbin_las/las/las_writer.h"
#include "pcbin_las/las/variable_length_records.h"
#include "pcbin_las/platform/byte_image.h"
#include "pcbin_las/platform/date_time.h"
#include "pcbin_las/platform/file.h"
#include "pcbin_las/platform/str_util.h"
#include "pcbin_las/platform/trace_macros.h"
#include "pcbin_las/process/file_path.h"

namespace {

using pontra::LasHeader;
using pontra::LasPointRecord;

constexpr std::uint32_t kMostRecordBytes = 1U << 30;  // of variable-length records

/// The new file's path: "run1/map.las" becomes "run1/20240305-070809_map.las".
std::string repairedPath(const std::string& path, const ferrun::DateTime& now) {
  const ferrun::FilePath input(path);
  return ferrun::StrUtil::format("%s/%04d%02d%02d-%02d%02d%02d_%s", input.dirName().c_str(),
                                 now.year, now.month, now.day, now.hour, now.minute, now.second,
                                 input.baseName().c_str());
}

/// Whether the file can be repaired; prints a line if not. Leaves `file` at the first point.
bool isSupported(ferrun::File& file, const LasHeader& header) {
  const bool recordsFit =
      header.pointDataOffset == sizeof(LasHeader) ||
      (file.isRegular() && header.pointDataOffset <= kMostRecordBytes &&
       pontra::isLas12Format3(header) && pontra::variableLengthRecordsFit(file, header));
  if (header.versionMajor != 1 || header.versionMinor != 2 ||
      header.headerSize != sizeof(LasHeader) || !recordsFit) {
    TRACE_ERROR("las_repair", "las file not support!");
    return false;
  }
  if (header.pointDataFormatID != 3 || header.pointDataRecordLength != sizeof(LasPointRecord)) {
    TRACE_WARNING("las_repair", "unsupport las format: %d!", header.pointDataFormatID);
    return false;
  }
  return true;
}

/// The variable-length records of a file whose records fit, byte for byte.
std::string readRecords(ferrun::File& file, const LasHeader& header) {
  std::string records(header.pointDataOffset - sizeof(LasHeader), '\0');
  if (records.empty()) return records;
  file.seek(sizeof(LasHeader));
  const int length = file.readData(records.data(), static_cast<int>(records.size()));
  records.resize(static_cast<std::size_t>(std::max(length, 0)));
  return records;
}

/// The header of the copy, without counts and bounds.
LasHeader copyHeader(const LasHeader& header, const std::string& records) {
  LasHeader copy;
  pontra::LasHeaderInit(&copy, pontra::kPointFormat3);
  copy.globalEncoding = header.globalEncoding & pontra::kAdjustedGpsTimeFlag;
  copy.numberOfVLR = records.empty() ? 0 : header.numberOfVLR;
  copy.pointDataOffset += static_cast<std::uint32_t>(records.size());
  copy.xOffset = header.xOffset;
  copy.yOffset = header.yOffset;
  copy.zOffset = header.zOffset;
  return copy;
}

/// Warns when the copy loses something: positions are rounded to another scale factor, or whole
/// records follow the announced ones.
void warnOfLosses(const ferrun::File& file, const LasHeader& header, const LasHeader& newHeader) {
  if (header.xScaleFactor != newHeader.xScaleFactor ||
      header.yScaleFactor != newHeader.yScaleFactor ||
      header.zScaleFactor != newHeader.zScaleFactor)
    TRACE_WARNING("las_repair",
                  "scale factors [%g, %g, %g] become [%g, %g, %g], positions are re-rounded!",
                  header.xScaleFactor, header.yScaleFactor, header.zScaleFactor,
                  newHeader.xScaleFactor, newHeader.yScaleFactor, newHeader.zScaleFactor);
  const std::int64_t present = (file.getSize() - std::int64_t{header.pointDataOffset}) /
                               std::int64_t{sizeof(LasPointRecord)};
  const std::int64_t beyond = present - std::int64_t{header.numberOfPointRecords};
  if (file.isRegular() && beyond > 0)
    TRACE_WARNING("las_repair", "%lld records beyond the announced count are left out!",
                  static_cast<long long>(beyond));
}

/// Copies records to the end of the file, or as many as the header declares; returns how many.
std::uint32_t copyRecords(ferrun::File& file, const LasHeader& header, pontra::LasWriter& writer,
                          bool keepSourceIds) {
  const double xScale = header.xScaleFactor;
  const double yScale = header.yScaleFactor;
  const double zScale = header.zScaleFactor;
  const std::uint32_t announced = header.numberOfPointRecords;
  LasPointRecord record;
  for (std::uint32_t count = 0; count < announced; ++count) {
    const int length = ferrun::readImage(file, record);
    if (length != sizeof(record)) {
      if (length != 0) TRACE_ERROR("las_repair", "read las point error!");
      return count;
    }
    writer.writePoint({.x = record.x * xScale,
                       .y = record.y * yScale,
                       .z = record.z * zScale,
                       .red = record.red,
                       .green = record.green,
                       .blue = record.blue,
                       .intensity = record.intensity,
                       .gpsTime = record.gpsTime,
                       .pointSourceID = keepSourceIds ? record.pointSourceID : std::uint16_t{0}});
  }
  return announced;
}

}  // namespace

void las_repair(const std::string& path, bool keepSourceIds) {
  const std::string newPath = repairedPath(path, ferrun::DateTime::getDateTime());
  ferrun::File file;
  file.open(path, ferrun::File::kRead);
  LasHeader header;
  if (ferrun::readImage(file, header) != sizeof(header)) {
    TRACE_ERROR("las_repair", "read las header error!");
    return;
  }
  if (!isSupported(file, header)) return;

  const std::string records = readRecords(file, header);
  const LasHeader newHeader = copyHeader(header, records);
  pontra::LasWriter writer;
  if (!writer.openOwn(newHeader, newPath, path, pontra::LasWriter::kBufferSize, records)) {
    TRACE_ERROR("las_repair", "open las writer error!");
    return;
  }
  TRACE_INFO("las_repair", "repair %s with %u points.", path.c_str(), header.numberOfPointRecords);
  warnOfLosses(file, header, newHeader);
  const std::uint32_t count = copyRecords(file, header, writer, keepSourceIds);
  writer.close();
  TRACE_INFO("las_repair", "repair ok => %s with %u points.", newPath.c_str(), count);
}
