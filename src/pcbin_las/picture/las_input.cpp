// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/picture/las_input.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "pcbin_las/picture/picture.h"
#include "pcbin_las/platform/trace_macros.h"
#include "pcbin_las/process/available_cores.h"

namespace picture {

namespace {
constexpr std::uint64_t kBlockRecords = pontra::LasReader::kBlockRecords;
}

using pontra::LasHeader;
using pontra::LasPointRecord;

bool LasInput::open(const std::string& path) {
  path_ = path;
  const auto error = reader_.open(path);
  if (error == pontra::LasReader::OpenError::kNoFile) {
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
  for (const Linear& axis : axes_) {
    if (std::isfinite(axis.factor) && axis.factor != 0 && std::isfinite(axis.shift)) continue;
    TRACE_ERROR("picture", "las file(%s) has scale factor %g and offset %g!", path_.c_str(),
                axis.factor, axis.shift);
    return false;
  }
  const std::uint64_t held = compressed || reader_.findPoints() ? reader_.recordsHeld() : 0;
  count_ = std::min<std::uint64_t>(header.numberOfPointRecords, held);
  if (count_ > 0) return true;
  TRACE_ERROR("picture", "las file(%s) has no points!", path_.c_str());
  return false;
}

void LasInput::seek(std::uint64_t index) {
  next_ = index;
  reader_.seek(index);
}

std::span<const LasPointRecord> LasInput::read() {
  const std::uint64_t wanted = std::min<std::uint64_t>(kBlockRecords, count_ - next_);
  if (!ok_) return {};
  const auto records = reader_.read(wanted);
  if (records.size() != wanted) {
    TRACE_ERROR("picture", "las file(%s) read error!", path_.c_str());
    ok_ = false;
    return {};
  }
  next_ += wanted;
  return records;
}

std::vector<Position> LasInput::sample() {
  const std::uint64_t blockSize = std::min(kBlockRecords, count_);
  const std::uint64_t blocks =
      std::min(kSampleBlocks, (count_ + kBlockRecords - 1) / kBlockRecords);
  const std::uint64_t stride = (blocks * blockSize + kSampleSize - 1) / kSampleSize;
  std::vector<Position> positions;
  positions.reserve(kSampleSize);
  for (std::uint64_t block = 0; block < blocks; ++block) {
    seek(blocks > 1 ? block * (count_ - blockSize) / (blocks - 1) : 0);
    const auto records = read();
    for (std::uint64_t i = 0; i < records.size(); i += stride) {
      const LasPointRecord record = records[i];
      positions.push_back({axes_[0](record.x), axes_[1](record.y), axes_[2](record.z)});
    }
  }
  return positions;
}

}  // namespace picture
