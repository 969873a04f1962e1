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

bool LasInput::passAll(const TakePoints& take) {
  return pass(0, count_, take);
}

bool LasInput::passSome(const TakePoints& take) {
  constexpr std::uint64_t kMost = std::uint64_t{1} << 23;
  constexpr std::uint64_t kBlocks = 256;
  constexpr std::uint64_t kBlockSize = 1024;
  if (count_ <= kMost) return passAll(take);
  for (std::uint64_t i = 0; i < kBlocks; ++i) {
    const std::uint64_t begin = i * (count_ - kBlockSize) / (kBlocks - 1);
    if (!pass(begin, begin + kBlockSize, take)) return false;
  }
  return true;
}

bool LasInput::pass(std::uint64_t begin, std::uint64_t end, const TakePoints& take) {
  constexpr std::uint64_t kBlockRecords = 1U << 13;
  block_.resize(kBlockRecords);
  file_.seek(static_cast<std::int64_t>(pointDataOffset_ + begin * sizeof(LasPointRecord)));
  std::array<MapPoint, 256> points;
  while (begin < end) {
    const std::uint64_t wanted = std::min(kBlockRecords, end - begin);
    const auto size = static_cast<int>(wanted * sizeof(LasPointRecord));
    if (file_.readData(reinterpret_cast<char*>(block_.data()), size) != size) {
      TRACE_ERROR("picture", "las file(%s) read error!", path_.c_str());
      return false;
    }
    begin += wanted;
    for (std::size_t i = 0; i < wanted;) {
      std::size_t n = 0;
      for (; n < points.size() && i < wanted; ++n, ++i) {
        const LasPointRecord& r = block_[i];
        points[n] = {{r.x * axes_[0].factor + axes_[0].shift, r.y * axes_[1].factor + axes_[1].shift,
                      r.z * axes_[2].factor + axes_[2].shift},
                     {r.red, r.green, r.blue}};
      }
      take(std::span(points).first(n));
    }
  }
  return true;
}

}  // namespace picture
