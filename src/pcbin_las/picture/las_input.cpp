// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/picture/las_input.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "pcbin_las/platform/trace_macros.h"

namespace picture {

using pontra::LasHeader;
using pontra::LasPointRecord;

bool LasInput::open(const std::string& path) {
  path_ = path;
  if (!file_.open(path, ferrun::File::kRead)) {
    TRACE_ERROR("picture", "las file(%s) cannot be opened!", path.c_str());
    return false;
  }
  LasHeader header;
  if (file_.readData(reinterpret_cast<char*>(&header), sizeof(header)) != sizeof(header) ||
      std::memcmp(header.fileSignature, "LASF", 4) != 0) {
    TRACE_ERROR("picture", "file(%s) has no las header!", path.c_str());
    return false;
  }
  return takeHeader(header, file_.getSize());
}

/// Whether the header describes a file that can be drawn; prints an error line if not.
bool LasInput::takeHeader(const LasHeader& header, std::int64_t fileSize) {
  if (header.pointDataFormatID != 3 || header.pointDataRecordLength != sizeof(LasPointRecord) ||
      header.pointDataOffset < sizeof(LasHeader)) {
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
  pointDataOffset_ = header.pointDataOffset;
  const auto size = static_cast<std::uint64_t>(std::max<std::int64_t>(fileSize, 0));
  const std::uint64_t bytes = size - std::min(size, pointDataOffset_);
  count_ = std::min<std::uint64_t>(header.numberOfPointRecords, bytes / sizeof(LasPointRecord));
  if (count_ > 0) return true;
  TRACE_ERROR("picture", "las file(%s) has no points!", path_.c_str());
  return false;
}

void LasInput::seek(std::uint64_t index) {
  next_ = index;
  file_.seek(static_cast<std::int64_t>(pointDataOffset_ + index * sizeof(LasPointRecord)));
}

std::span<const LasPointRecord> LasInput::read() {
  block_.resize(std::min(kBlockRecords, count_));
  const std::uint64_t wanted = std::min<std::uint64_t>(block_.size(), count_ - next_);
  const auto size = static_cast<int>(wanted * sizeof(LasPointRecord));
  if (!ok_ || file_.readData(reinterpret_cast<char*>(block_.data()), size) != size) {
    if (ok_) TRACE_ERROR("picture", "las file(%s) read error!", path_.c_str());
    ok_ = false;
    return {};
  }
  next_ += wanted;
  return {block_.data(), wanted};
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
