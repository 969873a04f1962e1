// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/app/las_view.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "pcbin_las/las/coordinate_system.h"
#include "pcbin_las/las/las_reader.h"
#include "pcbin_las/las/variable_length_records.h"
#include "pcbin_las/platform/trace_macros.h"

namespace {

using pontra::LasHeader;
using pontra::LasPointRecord;

void printHeader(const LasHeader& header, std::int64_t fileSize) {
  TRACE_INFO("las_view", "LAS File size: %lld", static_cast<long long>(fileSize));
  TRACE_INFO("las_view", "LAS header size: %d", static_cast<int>(sizeof(LasHeader)));
  TRACE_INFO("las_view", "sourceID: %d", header.sourceID);
  TRACE_INFO("las_view", "globalEncoding: 0x%02x", header.globalEncoding);
  TRACE_INFO("las_view", "versionMajor: %d", header.versionMajor);
  TRACE_INFO("las_view", "versionMinor: %d", header.versionMinor);
  TRACE_INFO("las_view", "headerSize: %d", header.headerSize);
  TRACE_INFO("las_view", "pointDataOffset: %u", header.pointDataOffset);
  TRACE_INFO("las_view", "numberOfVLR: %u", header.numberOfVLR);
  TRACE_INFO("las_view", "pointDataFormatID: %d", header.pointDataFormatID);
  TRACE_INFO("las_view", "pointDataRecordLength: %d", header.pointDataRecordLength);
  TRACE_INFO("las_view", "numberOfPointRecords: %u", header.numberOfPointRecords);
  TRACE_INFO("las_view", "numberOfPointsByReturn: [%u, %u, %u, %u, %u]",
             header.numberOfPointsByReturn[0], header.numberOfPointsByReturn[1],
             header.numberOfPointsByReturn[2], header.numberOfPointsByReturn[3],
             header.numberOfPointsByReturn[4]);
  TRACE_INFO("las_view", "offset[%.6f, %.6f, %.6f]", header.xOffset, header.yOffset,
             header.zOffset);
  TRACE_INFO("las_view", "Max[%.6f, %.6f, %.6f]", header.maxX, header.maxY, header.maxZ);
  TRACE_INFO("las_view", "Min[%.6f, %.6f, %.6f]", header.minX, header.minY, header.minZ);
  TRACE_INFO("las_view", "xScaleFactor: %f", header.xScaleFactor);
  TRACE_INFO("las_view", "yScaleFactor: %f", header.yScaleFactor);
  TRACE_INFO("las_view", "zScaleFactor: %f", header.zScaleFactor);
}

void printRecord(std::uint32_t index, const LasPointRecord& record) {
  TRACE_INFO("las_view", "------------------points[%u]--------------------", index);
  TRACE_INFO("las_view", "xyz:[%d, %d, %d] rgbi[%d, %d, %d, %d] timestamp: %.6f", record.x,
             record.y, record.z, record.red, record.green, record.blue, record.intensity,
             record.gpsTime);
  if (g_verbose <= 0) return;
  TRACE_INFO("las_view", "returnNumber: %d", pontra::returnNumber(record.returnByte));
  TRACE_INFO("las_view", "numberOfReturns: %d", pontra::numberOfReturns(record.returnByte));
  TRACE_INFO("las_view", "scanDirectionFlag: %d", pontra::scanDirectionFlag(record.returnByte));
  TRACE_INFO("las_view", "edgeOfFlightLine: %d", pontra::edgeOfFlightLine(record.returnByte));
  TRACE_INFO("las_view", "classification: %d", record.classification);
  TRACE_INFO("las_view", "scanAngleRank: %d", record.scanAngleRank);
  TRACE_INFO("las_view", "pointSourceID: %d", record.pointSourceID);
}

/// Prepares reading compressed points; false, with an error line, when they cannot be read.
bool findCompressedPoints(pontra::LasReader& reader) {
  const std::string reason = reader.findCompressedPoints();
  if (!reason.empty())
    TRACE_ERROR("las_view", "the points cannot be read, the file has %s!", reason.c_str());
  return reason.empty();
}

/// The text of a field that is filled with zeros.
template <std::size_t kSize>
std::string fieldText(const char (&field)[kSize]) {
  return {field, strnlen(field, kSize)};
}

/// Prints one line for each variable-length record and one for each naming of the coordinate
/// system.
void printVariableLengthRecords(pontra::LasReader& reader) {
  pontra::CoordinateSystem system;
  std::uint32_t index = 0;
  const auto print = [&](const pontra::VariableLengthRecordHeader& record,
                         std::string_view content) {
    TRACE_INFO("las_view", "VLR[%u] userID: %s, recordID: %d, length: %d, description: %s", index++,
               fieldText(record.userId).c_str(), record.recordId, record.length,
               fieldText(record.description).c_str());
    system.add(record, content);
    return !ferrun::STDSink::readerIsGone();
  };
  const std::uint32_t found = pontra::visitVariableLengthRecords(reader, print);
  if (found < reader.header().numberOfVLR && !ferrun::STDSink::readerIsGone())
    TRACE_WARNING("las_view", "%u of %u variable-length records lie whole before the points!",
                  found, reader.header().numberOfVLR);
  if (const std::string name = system.ofGeoKeys(); !name.empty())
    TRACE_INFO("las_view", "coordinate system, GeoTIFF keys: %s", name.c_str());
  if (const std::string name = system.ofWkt(); !name.empty())
    TRACE_INFO("las_view", "coordinate system, WKT: %s", name.c_str());
}

/// Warns that the bytes at 227 are printed as records of point format 3 although they are others.
void warnOfOtherRecords(const LasHeader& header) {
  constexpr int kCompressed = 0xC0;  // bits of the point format
  const bool compressed = (header.pointDataFormatID & kCompressed) != 0;
  TRACE_WARNING(
      "las_view",
      "the points are taken as format 3 of 34 bytes from byte 227; by the header they are "
      "%sformat %d of %d bytes from byte %u, LAS %d.%d!",
      compressed ? "compressed, " : "",
      compressed ? header.pointDataFormatID & ~kCompressed : header.pointDataFormatID,
      header.pointDataRecordLength, header.pointDataOffset, header.versionMajor,
      header.versionMinor);
}

/// Prints the records in [start, end); false when the file ends before.
bool printRecords(pontra::LasReader& reader, std::uint32_t start, std::uint32_t end) {
  bool isAsPrinted =
      reader.isCompressed() || (pontra::isLas12Format3(reader.header()) && reader.findPoints());
  if (!reader.seek(start)) return false;
  const ferrun::Tracer::Gathering gathering(*ferrun::Singleton<ferrun::Tracer>::getInstance());
  for (std::uint32_t i = start; i < end; ++i) {
    const auto records = reader.read(1);
    if (records.empty()) return false;
    if (!std::exchange(isAsPrinted, true)) warnOfOtherRecords(reader.header());
    printRecord(i, records[0]);
    if (ferrun::STDSink::readerIsGone()) return true;
  }
  return true;
}

}  // namespace

void las_view(const std::string& path, unsigned start, unsigned nums) {
  pontra::LasReader reader;
  if (const auto error = reader.open(path)) {
    if (*error == pontra::LasReader::OpenError::kNoFile)
      TRACE_ERROR("las_view", "open las file(%s) error!", path.c_str());
    else
      TRACE_ERROR("las_view", "read las header error!");
    return;
  }
  printHeader(reader.header(), reader.fileSize());
  if (g_verbose > 0) printVariableLengthRecords(reader);
  if (reader.isCompressed() && !findCompressedPoints(reader)) return;
  const std::uint32_t announced = reader.header().numberOfPointRecords;
  const std::uint32_t end = std::min<std::uint32_t>(start + nums, announced);
  if (start < end && !printRecords(reader, start, end))
    TRACE_ERROR("las_view", "read las point error!");
}
