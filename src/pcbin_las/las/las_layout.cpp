// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/las/las_layout.h"

#include <algorithm>
#include <cstring>

#include "pcbin_las/platform/byte_image.h"
#include "pcbin_las/platform/str_util.h"

namespace pontra {
namespace {

using ferrun::StrUtil;

constexpr std::array kHeaderSizes = {227, 227, 227, 235, 375};  // of LAS 1.0 to 1.4
constexpr std::array kShortestRecords = {20, 28, 26, 34, 57, 63, 30, 36, 38, 59, 67};
constexpr int kCompressed = 0xC0;  // bits of the point format

/// The header of an extended variable-length record, and of the waveform packets.
struct [[gnu::packed]] ExtendedRecordHeader {
  std::uint16_t reserved;
  char userId[16];
  std::uint16_t recordId;
  std::uint64_t length;
  char description[32];
};
static_assert(sizeof(ExtendedRecordHeader) == 60);

/// Whether the field holds visible characters, at least one, filled with zeros.
bool isName(const char (&field)[16]) {
  const auto end = std::find(std::begin(field), std::end(field), '\0');
  return end != std::begin(field) &&
         std::all_of(std::begin(field), end, [](char c) { return c >= ' ' && c <= '~'; }) &&
         std::all_of(end, std::end(field), [](char c) { return c == '\0'; });
}

/// Ends the points at `begin` if an extended record is there; adds a warning if not all of it is.
void endPointsAt(std::uint64_t begin, const char* what, ferrun::File& file, LasLayout& layout) {
  const auto size = static_cast<std::uint64_t>(layout.fileSize);
  const auto position = static_cast<unsigned long long>(begin);
  ExtendedRecordHeader record;
  bool there = begin >= static_cast<std::uint64_t>(layout.pointsBegin) && begin <= size &&
               size - begin >= sizeof(record);
  if (there) {
    file.seek(static_cast<std::int64_t>(begin));
    there = ferrun::readImage(file, record) == sizeof(record) && isName(record.userId);
  }
  if (!there) {
    layout.warnings.push_back(StrUtil::format("there are no %s at byte %llu", what, position));
    return;
  }
  if (record.length > size - begin - sizeof(record))
    layout.warnings.push_back(
        StrUtil::format("the %s at byte %llu are incomplete", what, position));
  layout.pointsEnd = std::min(layout.pointsEnd, static_cast<std::int64_t>(begin));
}

std::string checkLengths(const LasLayout& layout) {
  const LasHeader& start = layout.header.start;
  const unsigned pointsBegin = start.pointDataOffset;
  if (pointsBegin < sizeof(LasHeader) || pointsBegin > layout.fileSize)
    return StrUtil::format("its points begin at byte %u, its size is %lld bytes", pointsBegin,
                           static_cast<long long>(layout.fileSize));
  if (layout.headerSize > layout.pointsBegin)
    return StrUtil::format(
        "its header size is %d, its points begin at byte %u, and LAS 1.%d needs "
        "a header of %d bytes",
        start.headerSize, pointsBegin, start.versionMinor, layout.headerSize);
  const int shortest = kShortestRecords[start.pointDataFormatID];
  if (start.pointDataRecordLength < shortest)
    return StrUtil::format("it has records of %d bytes, point format %d needs %d",
                           start.pointDataRecordLength, start.pointDataFormatID, shortest);
  return {};
}

/// Checks the fields of the header that LAS 1.2 has, and finds where header and points lie.
std::string placeHeader(LasLayout& layout) {
  const LasHeader& start = layout.header.start;
  if (std::memcmp(start.fileSignature, "LASF", 4) != 0) return "it is no LAS file";
  if (start.versionMajor != 1 || start.versionMinor >= kHeaderSizes.size())
    return StrUtil::format("LAS %d.%d is not known", start.versionMajor, start.versionMinor);
  if ((start.pointDataFormatID & kCompressed) != 0) return "its points are compressed";
  if (start.pointDataFormatID >= kShortestRecords.size())
    return StrUtil::format("point format %d is not known", start.pointDataFormatID);
  layout.pointsBegin = layout.pointsEnd = start.pointDataOffset;
  layout.headerSize = start.headerSize;
  const int versionSize = kHeaderSizes[start.versionMinor];
  if (layout.headerSize < static_cast<int>(sizeof(LasHeader)) ||
      layout.headerSize > layout.pointsBegin)
    layout.headerSize = versionSize;
  layout.headerEnd = std::min(layout.headerSize, versionSize);
  return checkLengths(layout);
}

}  // namespace

std::string readLayout(ferrun::File& file, LasLayout& layout) {
  layout = {};
  layout.fileSize = file.getSize();
  if (!file.isRegular()) return "it is no regular file";
  if (ferrun::readImage(file, layout.header.start) != sizeof(LasHeader))
    return file.readError() != 0 ? "its header cannot be read" : "it is no LAS file";
  if (std::string reason = placeHeader(layout); !reason.empty()) return reason;

  LasHeader14& header = layout.header;
  const int more = layout.headerEnd - static_cast<int>(sizeof(LasHeader));
  if (file.readData(reinterpret_cast<char*>(&header) + sizeof(LasHeader), more) != more)
    return "its header cannot be read";
  layout.announced = header.numberOfPointRecords != 0 && layout.hasLongCount()
                         ? header.numberOfPointRecords
                         : header.start.numberOfPointRecords;
  layout.pointsEnd = layout.fileSize;
  if (layout.headerEnd >= 235 && header.waveformStart != 0)
    endPointsAt(header.waveformStart, "waveform packets", file, layout);
  if (layout.headerEnd >= 247 && header.numberOfExtended != 0)
    endPointsAt(header.extendedStart, "extended records", file, layout);
  return file.readError() != 0 ? "it cannot be read" : "";
}

}  // namespace pontra
