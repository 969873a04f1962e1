// SPDX-License-Identifier: BSD-3-Clause
// PclBinary: reading.
#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <span>

#include "pcbin_las/platform/byte_image.h"
#include "pcbin_las/platform/str_util.h"
#include "pcbin_las/storage/pcl_binary.h"
#include "pcbin_las/storage/point_codec.h"
#include "pcbin_las/storage/report_error.h"

namespace modeling_app {
namespace {

constexpr std::uint64_t kPieceSize = PclBinary::kBufferSize;  // of a block of coloured points
constexpr std::size_t kChunkSize = std::size_t{256}
                                   << 10;  // bytes that stay in the processor's cache
constexpr std::uint64_t kMostBatchBytes = std::uint64_t{1} << 30;

/// Reads a point block from `file` in chunks. `consumeBytes` receives the bytes that it has not
/// consumed yet and returns how many it consumes; the rest, less than a record, precedes the next
/// bytes.
template <class ConsumeBytes>
class BlockReader {
 public:
  BlockReader(ferrun::File& file, std::vector<char>& chunk, ConsumeBytes consumeBytes)
      : file_(file), chunk_(chunk), consumeBytes_(consumeBytes) {
    chunk_.resize(kChunkSize + sizeof(RgbPointRecord));
  }

  /// Reads up to `size` bytes. Returns the number of bytes read, or what the first read returned
  /// when that is less than 1.
  std::int64_t read(std::uint64_t size) {
    std::uint64_t done = 0;
    while (done < size) {
      const auto wanted = static_cast<int>(std::min<std::uint64_t>(kChunkSize, size - done));
      const int length = file_.readData(chunk_.data() + left_, wanted);
      if (length < 1) return done > 0 ? static_cast<std::int64_t>(done) : length;
      done += static_cast<std::uint64_t>(length);
      const std::size_t available = left_ + static_cast<std::size_t>(length);
      const std::size_t used = consumeBytes_(std::span<const char>(chunk_.data(), available));
      left_ = available - used;
      std::memmove(chunk_.data(), chunk_.data() + used, left_);
    }
    return static_cast<std::int64_t>(done);
  }

 private:
  ferrun::File& file_;
  std::vector<char>& chunk_;
  ConsumeBytes consumeBytes_;
  std::size_t left_ = 0;  ///< bytes at the start of chunk_ that are not yet consumed
};

/// Decodes the whole records of consecutive bytes into the points of a cloud, which grows as
/// needed.
template <class Record, class Cloud>
auto decoderInto(Cloud& cloud) {
  return [&cloud, done = std::size_t{0}](std::span<const char> bytes) mutable {
    const std::size_t count = bytes.size() / sizeof(Record);
    if (cloud.points.size() < done + count) cloud.points.resize(done + count);
    const auto* const records = reinterpret_cast<const Record*>(bytes.data());
    auto* const points = cloud.points.data() + done;
    for (std::size_t i = 0; i < count; ++i) decodePoint(records[i], points[i]);
    done += count;
    return count * sizeof(Record);
  };
}

/// Whether frames are lost for good: not for lack of memory, after which the frame can be read.
bool isLost(ReadEnd end) {
  return end == ReadEnd::kDamage || end == ReadEnd::kReadError;
}

}  // namespace

PclFrames PclBinary::readPcl(unsigned count) {
  return readFrames<PclFrames>(count, "readPcl", [this] { return readIrtFrame(); });
}

PclRGBFrames PclBinary::readPclRGB(unsigned count) {
  return readFrames<PclRGBFrames>(count, "readPclRGB", [this] { return readRgbFrame(); });
}

/// Reads up to `count` frames with `readFrame`, which is called with nextFrame set and returns null
/// after stopReading().
template <class Frames, class ReadFrame>
Frames PclBinary::readFrames(unsigned count, const char* function, ReadFrame readFrame) {
  const std::lock_guard lock(mutex);
  Frames result;
  if (!isOpen()) return result;
  if (!isLost(readEnd)) readEnd = ReadEnd::kComplete;
  using Point = std::decay_t<decltype(result[0]->cloud->points[0])>;
  std::uint64_t bytes = 0;
  try {
    while (result.size() < count && haveFrameHeader(function)) {
      bytes += std::uint64_t{nextFrame->pointCount} * sizeof(Point);
      if (bytes > kMostBatchBytes && !result.empty() && fileHoldsBlock()) break;
      result.reserve(result.size() + 1);  // a later failure must not lose a frame that was read
      auto frame = readFrame();
      nextFrame.reset();
      if (!frame) break;
      result.push_back(std::move(frame));
    }
  } catch (const std::bad_alloc&) {
    reportNoMemory(function);
  }
  return result;
}

/// Whether the file is known to contain the whole point block that follows.
bool PclBinary::fileHoldsBlock() const {
  const std::int64_t recordSize =
      nextFrame->format == kIrtFormat ? sizeof(IrtPointRecord) : sizeof(RgbPointRecord);
  return file->isRegular() && nextFrame->pointCount * recordSize <= file->getSize() - file->pos();
}

/// Records why reading ends, unless something worse ended it before; always false.
bool PclBinary::stopReading(ReadEnd end) {
  if (file->readError() != 0) end = ReadEnd::kReadError;
  if (!isLost(readEnd) || isLost(end)) readEnd = end;
  return false;
}

/// After a failed allocation: if the file can be sought, the frame stays the next one.
void PclBinary::reportNoMemory(const char* function) {
  if (!isLost(readEnd)) readEnd = ReadEnd::kNoMemory;
  const unsigned pointCount = nextFrame ? nextFrame->pointCount : 0;
  PCBIN_REPORT_ERROR(name, function, "file(%s) no memory for a frame of %u points!",
                     fileName.c_str(), pointCount);
  if (!file->isRegular()) nextFrame.reset();
}

/// Reads the next frame header unless it was read before; then returns to its point block, of which
/// a part was read if there was no memory. False at the end of the file, and with a line for a
/// header that is cut off and for a failed seek.
bool PclBinary::haveFrameHeader(const char* function) {
  if (nextFrame) {
    if (file->pos() != blockStart) file->seek(blockStart);
    return file->pos() == blockStart || stopReading(ReadEnd::kReadError);
  }
  PcbFrameHeader frameHeader{};
  const int length = ferrun::readImage(*file, frameHeader);
  if (length < 1) return stopReading(ReadEnd::kEndOfFile);
  if (length != sizeof(frameHeader)) {
    PCBIN_REPORT_ERROR(name, function, "file(%s) broken, cannot read header!", fileName.c_str());
    return stopReading(ReadEnd::kDamage);
  }
  nextFrame = frameHeader;
  blockStart = file->pos();
  return true;
}

/// Whether the next frame is a lidar frame.
bool PclBinary::haveIrtHeader() {
  if (nextFrame->format == kIrtFormat) return true;
  PCBIN_REPORT_ERROR(name, "readPcl", "pcl frame[%u] format(%u) error!", nextFrame->frameIndex,
                     nextFrame->format);
  return stopReading(ReadEnd::kDamage);
}

/// Whether the next frame is a coloured frame.
bool PclBinary::haveRgbHeader() {
  if (nextFrame->format == kRgbFormat) return true;
  const std::int64_t position = file->pos() - std::int64_t{sizeof(PcbFrameHeader)};
  const auto* const bytes = reinterpret_cast<const char*>(&*nextFrame);
  PCBIN_REPORT_ERROR(name, "readPclRGB",
                     "pcl frame[%u] format(%u) read error, pos: %u, header[%s]!",
                     nextFrame->frameIndex, nextFrame->format, static_cast<unsigned>(position),
                     ferrun::StrUtil::hexView(bytes, sizeof(PcbFrameHeader)).c_str());
  return stopReading(ReadEnd::kDamage);
}

/// A cloud for the points of the next frame. Reserves memory for all of them if the file contains
/// them; otherwise the cloud grows with the data.
template <class Cloud>
std::shared_ptr<Cloud> PclBinary::newCloud(CloudPool<Cloud>& pool) {
  const std::size_t pointCount = nextFrame->pointCount;
  auto cloud = pool.acquire(pointCount);
  if (cloud->points.size() > pointCount) cloud->points.resize(pointCount);
  if (cloud->points.capacity() < pointCount && fileHoldsBlock()) {
    cloud->points.clear();
    cloud->points.reserve(pointCount);
  }
  cloud->width = nextFrame->pointCount;
  cloud->height = pointCount > 0 ? 1 : 0;
  return cloud;
}

/// The next frame, its points decoded; null after stopReading().
std::shared_ptr<PclFrame> PclBinary::readIrtFrame() {
  if (!haveIrtHeader()) return nullptr;
  const PcbFrameHeader& frameHeader = *nextFrame;
  std::array<float, 4> q;  // copies: packed fields cannot be referenced
  std::array<float, 3> t;
  std::memcpy(q.data(), frameHeader.rotation, sizeof(q));
  std::memcpy(t.data(), frameHeader.translation, sizeof(t));
  auto frame = std::make_shared<PclFrame>();
  frame->timestamp = frameHeader.timestamp;
  frame->rotation = Eigen::Quaternionf(q[0], q[1], q[2], q[3]);
  frame->translation = Eigen::Vector3f(t[0], t[1], t[2]);
  frame->cloud = newCloud(irtClouds);

  const std::uint64_t size = std::uint64_t{frameHeader.pointCount} * sizeof(IrtPointRecord);
  std::int64_t length = 0;
  if (size <= kLargestIrtBlock) {
    BlockReader reader(*file, chunk, decoderInto<IrtPointRecord>(*frame->cloud));
    length = reader.read(size);
    if (length == static_cast<std::int64_t>(size)) return frame;
  }
  stopReading(ReadEnd::kDamage);
  if (length < 1 && size <= kLargestIrtBlock) return nullptr;  // the file ends here
  PCBIN_REPORT_ERROR(name, "readPcl",
                     "file(%s) read msg data error, len: %lld, chunk size: %llu, pointnums: %u!",
                     fileName.c_str(), static_cast<long long>(length),
                     static_cast<unsigned long long>(size), frameHeader.pointCount);
  return nullptr;
}

std::shared_ptr<PclRGBFrame> PclBinary::readRgbFrame() {
  if (!haveRgbHeader()) return nullptr;
  auto frame = std::make_shared<PclRGBFrame>();
  frame->timestamp = nextFrame->timestamp;
  frame->cloud = newCloud(rgbClouds);
  return readRgbBlock(decoderInto<RgbPointRecord>(*frame->cloud)) ? frame : nullptr;
}

/// Reads the point block of a coloured frame; false, with its lines, when it is cut off.
template <class ConsumeBytes>
bool PclBinary::readRgbBlock(ConsumeBytes consumeBytes) {
  const std::uint64_t size = std::uint64_t{nextFrame->pointCount} * sizeof(RgbPointRecord);
  std::uint64_t done = 0;
  if (size <= kLargestRgbBlock) {
    BlockReader reader(*file, chunk, consumeBytes);
    for (std::uint64_t piece = 0; piece < size / kPieceSize; ++piece) {
      const std::int64_t length = reader.read(kPieceSize);
      if (length < 1) {
        TRACE_MEMBER_WARNING(name.c_str(), "readPclRGB", "read data len: %d!",
                             static_cast<int>(length));
        break;
      }
      done += static_cast<std::uint64_t>(length);
    }
    const std::uint64_t rest = size - done;
    if (reader.read(rest) == static_cast<std::int64_t>(rest)) return true;
  }
  stopReading(ReadEnd::kDamage);
  PCBIN_REPORT_ERROR(name, "readPclRGB",
                     "file(%s) read error, len: %llu, total size: %llu, points: %u!",
                     fileName.c_str(), static_cast<unsigned long long>(done),
                     static_cast<unsigned long long>(size), nextFrame->pointCount);
  return false;
}

SkippedFrames PclBinary::skipPclRGB(unsigned mostFrames, std::uint64_t pointsNotWanted) {
  const std::lock_guard lock(mutex);
  SkippedFrames skipped;
  if (!isOpen()) return skipped;
  const auto skipBytes = [](std::span<const char> bytes) { return bytes.size(); };
  try {
    while (skipped.frames < mostFrames && haveFrameHeader("readPclRGB")) {
      const std::uint64_t count = nextFrame->pointCount;
      const std::uint64_t size = count * sizeof(RgbPointRecord);
      const bool coloured = nextFrame->format == kRgbFormat;
      if (coloured && skipped.points + count > pointsNotWanted) {
        skipped.atWantedFrame = true;
        return skipped;
      }
      const bool whole =
          haveRgbHeader() &&
          ((size <= kLargestRgbBlock && file->skip(static_cast<std::int64_t>(size))) ||
           readRgbBlock(skipBytes));
      nextFrame.reset();
      if (!whole) return skipped;
      skipped.points += count;
      ++skipped.frames;
    }
  } catch (const std::bad_alloc&) {
    reportNoMemory("readPclRGB");
  }
  return skipped;
}

}  // namespace modeling_app
