// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/app/las_repair.h"

#include <algorithm>

#include "pcbin_las/las/gps_time.h"
#include "pcbin_las/las/las_reader.h"
#include "pcbin_las/las/las_writer.h"
#include "pcbin_las/platform/date_time.h"
#include "pcbin_las/platform/str_util.h"
#include "pcbin_las/platform/trace_macros.h"
#include "pcbin_las/process/file_path.h"

namespace {

using pontra::LasHeader;
using pontra::LasPointRecord;
using pontra::LasReader;

constexpr std::uint32_t kMostRecordBytes = 1U << 30;  // of variable-length records

/// The new file's path: "run1/map.las" becomes "run1/20240305-070809_map.las".
std::string repairedPath(const std::string& path, const ferrun::DateTime& now) {
  const ferrun::FilePath input(path);
  return ferrun::StrUtil::format("%s/%04d%02d%02d-%02d%02d%02d_%s", input.dirName().c_str(),
                                 now.year, now.month, now.day, now.hour, now.minute, now.second,
                                 input.baseName().c_str());
}

/// Whether the file can be repaired, apart from compression; prints a line if not.
bool hasSupportedForm(pontra::LasReader& reader) {
  const LasHeader& header = reader.header();
  const bool pointsAreFound = (header.pointDataOffset == sizeof(LasHeader) || reader.isRegular()) &&
                              header.pointDataOffset <= kMostRecordBytes &&
                              reader.findPoints(pontra::PointsBegin::kAfterRecords);
  if (header.versionMajor != 1 || header.versionMinor != 2 ||
      header.headerSize != sizeof(LasHeader) || !pointsAreFound) {
    TRACE_ERROR("las_repair", "las file not support!");
    return false;
  }
  if (header.pointDataFormatID != 3 || header.pointDataRecordLength != sizeof(LasPointRecord)) {
    TRACE_WARNING("las_repair", "unsupport las format: %d!", header.pointDataFormatID);
    return false;
  }
  return true;
}

/// The same, with a second line for a compressed file.
bool isSupported(pontra::LasReader& reader) {
  const bool supported = hasSupportedForm(reader);
  if (!supported && reader.isCompressed())
    TRACE_WARNING("las_repair",
                  "the file is compressed (LAZ): decompress it with another program to repair it!");
  return supported;
}

/// The header of the copy, without counts and bounds.
LasHeader copyHeader(const LasHeader& header) {
  LasHeader copy;
  pontra::LasHeaderInit(&copy, pontra::kPointFormat3);
  copy.globalEncoding = header.globalEncoding & pontra::kAdjustedGpsTimeFlag;
  if (header.pointDataOffset > sizeof(LasHeader)) copy.numberOfVLR = header.numberOfVLR;
  copy.pointDataOffset = header.pointDataOffset;
  copy.xOffset = header.xOffset;
  copy.yOffset = header.yOffset;
  copy.zOffset = header.zOffset;
  return copy;
}

/// Opens the writer and copies the bytes before the points; prints a line when one fails.
bool openCopy(pontra::LasReader& reader, pontra::LasWriter& writer, const LasHeader& header,
              const std::string& newPath, const std::string& path) {
  bool read = true;
  const auto copyBytes = [&](ferrun::File& file) {
    bool written = true;
    const bool copied = reader.readBytesBeforePoints([&](std::span<const char> bytes) {
      const auto size = static_cast<int>(bytes.size());
      return written = file.writeData(bytes.data(), size) == size;
    });
    read = copied || !written;
    return copied;
  };
  if (writer.openOwn(header, newPath, path, pontra::LasWriter::kBufferSize, copyBytes)) return true;
  if (read)
    TRACE_ERROR("las_repair", "open las writer error!");
  else
    TRACE_ERROR("las_repair", "read las header error!");
  return false;
}

/// Warns when the copy loses something: positions are rounded to another scale factor, or whole
/// records follow the announced ones.
void warnOfLosses(const pontra::LasReader& reader, const LasHeader& newHeader) {
  const LasHeader& header = reader.header();
  if (header.xScaleFactor != newHeader.xScaleFactor ||
      header.yScaleFactor != newHeader.yScaleFactor ||
      header.zScaleFactor != newHeader.zScaleFactor)
    TRACE_WARNING("las_repair",
                  "scale factors [%g, %g, %g] become [%g, %g, %g], positions are re-rounded!",
                  header.xScaleFactor, header.yScaleFactor, header.zScaleFactor,
                  newHeader.xScaleFactor, newHeader.yScaleFactor, newHeader.zScaleFactor);
  const std::uint64_t held = reader.recordsHeld();
  if (held > header.numberOfPointRecords)
    TRACE_WARNING("las_repair", "%llu records beyond the announced count are left out!",
                  static_cast<unsigned long long>(held - header.numberOfPointRecords));
}

/// Copies records to the end of the file, or as many as the header announces; returns how many.
std::uint32_t copyRecords(pontra::LasReader& reader, pontra::LasWriter& writer,
                          bool keepSourceIds) {
  const double xScale = reader.header().xScaleFactor;
  const double yScale = reader.header().yScaleFactor;
  const double zScale = reader.header().zScaleFactor;
  for (std::uint32_t left = reader.header().numberOfPointRecords; left > 0;) {
    const auto records = reader.read(std::min<std::size_t>(left, pontra::LasReader::kBlockRecords));
    for (const LasPointRecord& record : records)
      writer.writePoint({.x = record.x * xScale,
                         .y = record.y * yScale,
                         .z = record.z * zScale,
                         .red = record.red,
                         .green = record.green,
                         .blue = record.blue,
                         .intensity = record.intensity,
                         .gpsTime = record.gpsTime,
                         .pointSourceID = keepSourceIds ? record.pointSourceID : std::uint16_t{0}});
    left -= static_cast<std::uint32_t>(records.size());
    if (reader.end() == LasReader::End::kNone) continue;
    if (reader.end() != LasReader::End::kEndOfFile)
      TRACE_ERROR("las_repair", "read las point error!");
    return reader.header().numberOfPointRecords - left;
  }
  return reader.header().numberOfPointRecords;
}

}  // namespace

void las_repair(const std::string& path, bool keepSourceIds) {
  const std::string newPath = repairedPath(path, ferrun::DateTime::getDateTime());
  LasReader reader;
  if (reader.open(path)) {
    TRACE_ERROR("las_repair", "read las header error!");
    return;
  }
  if (!isSupported(reader)) return;

  const LasHeader newHeader = copyHeader(reader.header());
  pontra::LasWriter writer;
  if (!openCopy(reader, writer, newHeader, newPath, path)) return;
  TRACE_INFO("las_repair", "repair %s with %u points.", path.c_str(),
             reader.header().numberOfPointRecords);
  warnOfLosses(reader, newHeader);
  const std::uint32_t count = copyRecords(reader, writer, keepSourceIds);
  writer.close();
  TRACE_INFO("las_repair", "repair ok => %s with %u points.", newPath.c_str(), count);
}
