// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/app/las_repair.h"

#include <algorithm>
#include <cmath>
#include <utility>

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

/// Whether the file can be repaired, apart from compression; prints a line if not.
bool hasSupportedForm(const LasReader& reader) {
  const LasHeader& header = reader.header();
  const bool pointsAreThere =
      header.pointDataOffset == sizeof(LasHeader) ||
      (pontra::isLas12Format3(header) && header.pointDataOffset > sizeof(LasHeader) &&
       (!reader.isRegular() || header.pointDataOffset <= reader.fileSize()));
  if (header.versionMajor != 1 || header.versionMinor != 2 ||
      header.headerSize != sizeof(LasHeader) || !pointsAreThere) {
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
bool isSupported(LasReader& reader) {
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
bool openCopy(LasReader& reader, pontra::LasWriter& writer, const LasHeader& header,
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

/// What the copy loses of the records that were read.
struct Losses {
  std::uint64_t returnBytes = 0;  ///< records with another return byte than the copy's
  std::uint64_t classifications = 0;
  std::uint64_t scanAngles = 0;
  std::uint64_t userData = 0;
  std::uint64_t sourceIds = 0;
  bool moved = false;  ///< a position moves by more than a thousandth of the new step

  /// Counts a record and what was written for it.
  void add(const LasPointRecord& record, bool keepSourceIds) {
    returnBytes += record.returnByte != pontra::LasWriter::kReturn1Of1;
    classifications += record.classification != 0;
    scanAngles += record.scanAngleRank != 0;
    userData += record.userData != 0;
    sourceIds += !keepSourceIds && record.pointSourceID != 0;
  }
};

/// Whether `value` is further than a thousandth of `step` from a multiple of it.
bool isBetweenSteps(double value, double step) {
  const double steps = value / step;
  return !(std::fabs(steps - std::nearbyint(steps)) <= 0.001);
}

bool haveSameFactors(const LasHeader& header, const LasHeader& other) {
  return header.xScaleFactor == other.xScaleFactor && header.yScaleFactor == other.yScaleFactor &&
         header.zScaleFactor == other.zScaleFactor;
}

/// Copies records to the end of the file, or as many as the header declares; returns how many.
std::uint32_t copyRecords(LasReader& reader, pontra::LasWriter& writer, bool keepSourceIds,
                          Losses& losses) {
  const LasHeader header = reader.header();
  const double step = writer.header().xScaleFactor;  // of each axis
  const bool sameFactors = haveSameFactors(header, writer.header());
  for (std::uint32_t left = header.numberOfPointRecords; left > 0;) {
    const auto records = reader.read(std::min<std::size_t>(left, LasReader::kBlockRecords));
    for (const LasPointRecord& record : records) {
      const double x = record.x * header.xScaleFactor;
      const double y = record.y * header.yScaleFactor;
      const double z = record.z * header.zScaleFactor;
      if (!writer.writePoint(
              {.x = x,
               .y = y,
               .z = z,
               .red = record.red,
               .green = record.green,
               .blue = record.blue,
               .intensity = record.intensity,
               .gpsTime = record.gpsTime,
               .pointSourceID = keepSourceIds ? record.pointSourceID : std::uint16_t{0}}))
        continue;
      losses.add(record, keepSourceIds);
      if (!sameFactors && !losses.moved)
        losses.moved =
            isBetweenSteps(x, step) || isBetweenSteps(y, step) || isBetweenSteps(z, step);
    }
    left -= static_cast<std::uint32_t>(records.size());
    if (reader.end() == LasReader::End::kNone) continue;
    if (reader.end() != LasReader::End::kEndOfFile)
      TRACE_ERROR("las_repair", "read las point error!");
    return header.numberOfPointRecords - left;
  }
  return header.numberOfPointRecords;
}

/// Warns of records that the header does not announce.
void warnOfRecordsBeyond(const LasReader& reader) {
  const std::uint64_t held = reader.recordsHeld();
  const std::uint32_t announced = reader.header().numberOfPointRecords;
  if (held > announced)
    TRACE_WARNING("las_repair",
                  "%llu records beyond the announced count are left out: see --lossless!",
                  static_cast<unsigned long long>(held - announced));
}

/// "110000 records lose their classification, 20 their scan angle"; empty for none.
std::string lossText(const Losses& losses) {
  const std::pair<std::uint64_t, const char*> fields[] = {
      {losses.returnBytes, "return byte"},
      {losses.classifications, "classification"},
      {losses.scanAngles, "scan angle"},
      {losses.userData, "user data"},
      {losses.sourceIds, "source id"}};
  std::string text;
  for (const auto& [count, field] : fields) {
    if (count > 0)
      text += (text.empty() ? "" : ", ") + std::to_string(count) +
              (text.empty() ? " records lose their " : " their ") + field;
  }
  return text;
}

/// Prints what the copy, written to the end, does not keep.
void reportLosses(const LasHeader& header, const pontra::LasWriter& writer, const Losses& losses) {
  const LasHeader& copy = writer.header();
  if (losses.moved)
    TRACE_WARNING("las_repair",
                  "scale factors [%g, %g, %g] become [%g, %g, %g], positions are re-rounded!",
                  header.xScaleFactor, header.yScaleFactor, header.zScaleFactor, copy.xScaleFactor,
                  copy.yScaleFactor, copy.zScaleFactor);
  if (const std::string text = lossText(losses); !text.empty())
    TRACE_WARNING("las_repair", "%s: see --lossless!", text.c_str());
  if (writer.refused() > 0)
    TRACE_ERROR("las_repair",
                "%u points written, %llu do not fit the scale factor %g: see --lossless!",
                copy.numberOfPointRecords, static_cast<unsigned long long>(writer.refused()),
                copy.xScaleFactor);
}

}  // namespace

std::string repairedPath(const std::string& path) {
  const ferrun::DateTime now = ferrun::DateTime::getDateTime();
  const ferrun::FilePath input(path);
  return ferrun::StrUtil::format("%s/%04d%02d%02d-%02d%02d%02d_%s", input.dirName().c_str(),
                                 now.year, now.month, now.day, now.hour, now.minute, now.second,
                                 input.baseName().c_str());
}

void las_repair(const std::string& path, bool keepSourceIds) {
  const std::string newPath = repairedPath(path);
  LasReader reader;
  if (reader.open(path)) {
    TRACE_ERROR("las_repair", "read las header error!");
    return;
  }
  if (!isSupported(reader)) return;

  pontra::LasWriter writer;
  if (!openCopy(reader, writer, copyHeader(reader.header()), newPath, path)) return;
  TRACE_INFO("las_repair", "repair %s with %u points.", path.c_str(),
             reader.header().numberOfPointRecords);
  warnOfRecordsBeyond(reader);
  Losses losses;
  const std::uint32_t count = copyRecords(reader, writer, keepSourceIds, losses);
  writer.close();
  reportLosses(reader.header(), writer, losses);
  TRACE_INFO("las_repair", "repair ok => %s with %u points.", newPath.c_str(), count);
}
