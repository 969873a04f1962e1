// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/picture/las_input.h"

#include <cmath>
#include <cstring>

#include "pcbin_las/platform/trace_macros.h"

namespace picture {

using pontra::LasHeader;
using pontra::LasPointRecord;
using pontra::LasReader;

bool LasInput::open(const std::string& path, unsigned threads) {
  path_ = path;
  const auto error = reader_.open(path);
  if (error == LasReader::OpenError::kNoFile) {
    TRACE_ERROR("picture", "las file(%s) cannot be opened!", path.c_str());
  } else if (error || std::memcmp(reader_.header().fileSignature, "LASF", 4) != 0) {
    TRACE_ERROR("picture", "file(%s) has no las header!", path.c_str());
  } else {
    return acceptHeader(threads);
  }
  return false;
}

/// Whether the header describes a file that can be drawn; prints an error line if not.
bool LasInput::acceptHeader(unsigned threads) {
  const LasHeader& header = reader_.header();
  system_ = pontra::readMapSystem(reader_);
  const bool compressed = reader_.isCompressed();
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
  if (compressed) {
    const std::string reason = reader_.findCompressedPoints(threads);
    if (!reason.empty()) {
      TRACE_ERROR("picture", "las file(%s) cannot be drawn, it has %s!", path_.c_str(),
                  reason.c_str());
      return false;
    }
  }
  axes_ = {{{header.xScaleFactor, header.xOffset},
            {header.yScaleFactor, header.yOffset},
            {header.zScaleFactor, header.zOffset}}};
  for (const Axis& axis : axes_) {
    if (std::isfinite(axis.scale) && axis.scale != 0 && std::isfinite(axis.offset)) continue;
    TRACE_ERROR("picture", "las file(%s) has scale factor %g and offset %g!", path_.c_str(),
                axis.scale, axis.offset);
    return false;
  }
  const std::uint64_t held = compressed || reader_.findPoints() ? reader_.recordsHeld() : 0;
  count_ = std::min<std::uint64_t>(header.numberOfPointRecords, held);
  if (count_ == 0) TRACE_ERROR("picture", "las file(%s) has no points!", path_.c_str());
  return count_ > 0;
}

std::array<Range, 3> LasInput::headerBounds() const {
  const LasHeader& header = reader_.header();
  return {{{header.minX, header.maxX}, {header.minY, header.maxY}, {header.minZ, header.maxZ}}};
}

bool LasInput::pass(std::uint64_t begin, std::uint64_t end, const TakePoints& take) {
  constexpr std::size_t kBatch = 256;
  std::array<MapPoint, kBatch> points;
  bool read = reader_.seek(begin);
  while (read && begin < end) {
    const auto wanted = std::min<std::uint64_t>(LasReader::kBlockRecords, end - begin);
    auto records = reader_.read(wanted);
    read = records.size() == wanted;
    begin += wanted;
    for (std::size_t size = 0; !records.empty(); records = records.subspan(size)) {
      size = std::min(kBatch, records.size());
      std::ranges::transform(records.first(size), points.begin(), [this](const LasPointRecord& r) {
        return MapPoint{{axes_[0](r.x), axes_[1](r.y), axes_[2](r.z)}, {r.red, r.green, r.blue}};
      });
      take(std::span(points).first(size));
    }
  }
  if (!read) TRACE_ERROR("picture", "las file(%s) read error!", path_.c_str());
  return read;
}

}  // namespace picture
