// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/app/las_view.h"

#include <algorithm>

#include "pcbin_las/las/las_reader.h"
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

/// Finds the points; false, with an error line, for compressed ones that cannot be read.
bool findPoints(pontra::LasReader& reader) {
  if (!reader.isCompressed()) {
    reader.findPoints(pontra::PointsBegin::kAfterRecords);
    return true;
  }
  const std::string reason = reader.findCompressedPoints();
  if (!reason.empty())
    TRACE_ERROR("las_view", "the points cannot be read, the file has %s!", reason.c_str());
  return reason.empty();
}

/// Prints the records in [start, end); false when the file ends before.
bool printRecords(pontra::LasReader& reader, std::uint32_t start, std::uint32_t end) {
  if (!reader.seek(start)) return false;
  for (std::uint32_t i = start; i < end; ++i) {
    const auto records = reader.read(1);
    if (records.empty()) return false;
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
  if (!findPoints(reader)) return;
  const std::uint32_t announced = reader.header().numberOfPointRecords;
  const std::uint32_t end = std::min<std::uint32_t>(start + nums, announced);
  if (start < end && !printRecords(reader, start, end))
    TRACE_ERROR("las_view", "read las point error!");
}
