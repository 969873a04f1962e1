// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/picture/las_input.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "pcbin_las/picture/picture.h"
#include "pcbin_las/platform/trace_macros.h"
#include "pcbin_las/process/available_cores.h"

namespace picture {

using pontra::LasHeader;
using pontra::LasPointRecord;
using pontra::LasReader;

bool LasInput::open(const std::string& path) {
  path_ = path;
  const auto error = reader_.open(path);
  if (error == LasReader::OpenError::kNoFile) {
    TRACE_ERROR("picture", "las file(%s) cannot be opened!", path.c_str());
    return false;
  }
  if (error || std::memcmp(reader_.header().fileSignature, "LASF", 4) != 0) {
    TRACE_ERROR("picture", "file(%s) has no las header!", path.c_str());
    return false;
  }
  return acceptHeader();
}

/// Prepares decoding with g_threads threads; false, with an error line, for points that cannot be
/// decoded.
bool LasInput::findCompressedPoints() {
  constexpr unsigned kMostThreads = 64;
  const unsigned threads = g_threads != 0 ? g_threads : ferrun::availableCores();
  const std::string reason = reader_.findCompressedPoints(std::min(threads, kMostThreads));
  if (reason.empty()) return true;
  TRACE_ERROR("picture", "las file(%s) cannot be drawn, it has %s!", path_.c_str(), reason.c_str());
  return false;
}

/// Whether the header describes a file that can be drawn; prints an error line if not.
bool LasInput::acceptHeader() {
  const LasHeader& header = reader_.header();
  const bool compressed = reader_.isCompressed();
  if (compressed && !findCompressedPoints()) return false;
  if (!compressed &&
      (header.pointDataFormatID != 3 || header.pointDataRecordLength != sizeof(LasPointRecord) ||
       header.pointDataOffset < sizeof(LasHeader))) {
    TRACE_ERROR("picture",
                "las file(%s) has point format %d, %d bytes, from offset %u; expected format 3, 34 "
                "bytes, from 227 or more!",
                path_.c_str(), header.pointDataFormatID, header.pointDataRecordLength,
                header.pointDataOffset);
    return false;
  }
  axes_ = {{{header.xScaleFactor, header.xOffset},
            {header.yScaleFactor, header.yOffset},
            {header.zScaleFactor, header.zOffset}}};
  bounds_ = {{{header.minX, header.maxX}, {header.minY, header.maxY}, {header.minZ, header.maxZ}}};
  for (const Axis& axis : axes_) {
    if (std::isfinite(axis.scale) && axis.scale != 0 && std::isfinite(axis.offset)) continue;
    TRACE_ERROR("picture", "las file(%s) has scale factor %g and offset %g!", path_.c_str(),
                axis.scale, axis.offset);
    return false;
  }
  readSystem();
  const std::uint64_t held = compressed || reader_.findPoints() ? reader_.recordsHeld() : 0;
  count_ = std::min<std::uint64_t>(header.numberOfPointRecords, held);
  if (count_ > 0) return true;
  TRACE_ERROR("picture", "las file(%s) has no points!", path_.c_str());
  return false;
}

/// Reads the coordinate system from the first bytes after the header.
void LasInput::readSystem() {
  constexpr std::int64_t kMostBytes = 1 << 20;
  const std::int64_t begin = sizeof(LasHeader);
  std::string records(
      static_cast<std::size_t>(std::clamp<std::int64_t>(
          std::min<std::int64_t>(reader_.header().pointDataOffset, reader_.fileSize()) - begin, 0,
          kMostBytes)),
      '\0');
  if (reader_.readBeforePoints(begin, records)) system_ = pontra::findMapSystem(records);
}

bool LasInput::passSome(const TakePoints& take) {
  constexpr std::uint64_t kBlocks = 256;
  constexpr std::uint64_t kBlockRecords = 1024;
  if (count_ <= kFewPoints) return pass(take);
  for (std::uint64_t i = 0; i < kBlocks; ++i) {
    const std::uint64_t begin = i * (count_ - kBlockRecords) / (kBlocks - 1);
    if (!passRecords(begin, begin + kBlockRecords, take)) return false;
  }
  return true;
}

bool LasInput::passRecords(std::uint64_t begin, std::uint64_t end, const TakePoints& take) {
  constexpr std::size_t kBatch = 256;
  std::array<MapPoint, kBatch> points;
  if (!reader_.seek(begin)) {
    TRACE_ERROR("picture", "las file(%s) read error!", path_.c_str());
    return false;
  }
  while (begin < end) {
    const auto wanted = std::min<std::uint64_t>(LasReader::kBlockRecords, end - begin);
    auto records = reader_.read(wanted);
    if (records.size() != wanted) {
      TRACE_ERROR("picture", "las file(%s) read error!", path_.c_str());
      return false;
    }
    begin += wanted;
    while (!records.empty()) {
      const auto batch = records.first(std::min(kBatch, records.size()));
      std::ranges::transform(batch, points.begin(), [this](const LasPointRecord& record) {
        return MapPoint{{axes_[0](record.x), axes_[1](record.y), axes_[2](record.z)},
                        {record.red, record.green, record.blue}};
      });
      take(std::span(points).first(batch.size()));
      records = records.subspan(batch.size());
    }
  }
  return true;
}

}  // namespace picture
