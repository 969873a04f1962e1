#include "pcbin_las/app/las_repair.h"

#include "pcbin_las/las/las_writer.h"
#include "pcbin_las/platform/date_time.h"
#include "pcbin_las/platform/file.h"
#include "pcbin_las/platform/file_path.h"
#include "pcbin_las/platform/str_util.h"
#include "pcbin_las/platform/trace_macros.h"

namespace {

using pontra::LasHeader;
using pontra::LasPointRecord;

constexpr unsigned kWriteBufferSize = 33554432;

/// The new file's path: "run1/map.las" becomes "run1/20240305-070809_map.las".
std::string repairedPath(const std::string& path, const ferrun::DateTime& now) {
  const ferrun::FilePath input(path);
  return ferrun::StrUtil::format("%s/%04d%02d%02d-%02d%02d%02d_%s", input.dirName().c_str(),
                                 now.year, now.month, now.day, now.hour, now.minute, now.second,
                                 input.baseName().c_str());
}

/// Says so when the header describes another shape of file than this program writes.
bool isSupported(const LasHeader& header) {
  if (header.versionMajor != 1 || header.versionMinor != 2 ||
      header.headerSize != sizeof(LasHeader) || header.pointDataOffset != sizeof(LasHeader)) {
    TRACE_ERROR("las_repair", "las file not support!");
    return false;
  }
  if (header.pointDataFormatID != 3 || header.pointDataRecordLength != sizeof(LasPointRecord)) {
    TRACE_WARNING("las_repair", "unsupport las format: %d!", header.pointDataFormatID);
    return false;
  }
  return true;
}

/// Copies records to the end of the file, or as many as the header announces; returns how many.
std::uint32_t copyRecords(ferrun::File& file, const LasHeader& header, pontra::LasWriter& writer) {
  const double xScale = header.xScaleFactor;
  const double yScale = header.yScaleFactor;
  const double zScale = header.zScaleFactor;
  const std::uint32_t announced = header.numberOfPointRecords;
  LasPointRecord record;
  for (std::uint32_t count = 0; count < announced; ++count) {
    const int length = file.readData(reinterpret_cast<char*>(&record), sizeof(record));
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
                       .gpsTime = record.gpsTime});
  }
  return announced;
}

}  // namespace

void las_repair(const std::string& path) {
  const std::string newPath = repairedPath(path, ferrun::DateTime::getDateTime());
  ferrun::File file;
  file.open(path, ferrun::File::kRead);
  LasHeader header;
  if (file.readData(reinterpret_cast<char*>(&header), sizeof(header)) != sizeof(header)) {
    TRACE_ERROR("las_repair", "read las header error!");
    return;
  }
  if (!isSupported(header)) return;

  pontra::LasWriter writer;
  LasHeader newHeader;
  pontra::LasHeaderInit(&newHeader, pontra::kPointFormat3);
  newHeader.xOffset = header.xOffset;
  newHeader.yOffset = header.yOffset;
  newHeader.zOffset = header.zOffset;
  if (!writer.open(newHeader, newPath, kWriteBufferSize)) {
    TRACE_ERROR("las_repair", "open las writer error!");
    return;
  }
  TRACE_INFO("las_repair", "repair %s with %u points.", path.c_str(), header.numberOfPointRecords);
  const std::uint32_t count = copyRecords(file, header, writer);
  writer.close();
  TRACE_INFO("las_repair", "repair ok => %s with %u points.", newPath.c_str(), count);
}
