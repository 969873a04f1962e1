#include "pcbin_las/storage/pcl_binary.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>

#include "pcbin_las/platform/str_util.h"
#include "pcbin_las/platform/trace_macros.h"
#include "pcbin_las/storage/point_codec.h"

namespace modeling_app {
namespace {

constexpr std::uint64_t kPieceSize = 4194304;

/// Fills a cloud from a block of as many records.
template <class Record, class Cloud>
void decodeBlock(const char* block, Cloud& cloud) {
  const auto* const records = reinterpret_cast<const Record*>(block);
  auto* const points = cloud.points.data();
  const std::size_t count = cloud.points.size();
  for (std::size_t i = 0; i < count; ++i) decodePoint(records[i], points[i]);
}

}  // namespace

unsigned PclBinary::totalFrames() const {
  return isOpen() ? static_cast<unsigned>(frames) : 0;
}

unsigned PclBinary::totalPoints() const {
  return isOpen() ? static_cast<unsigned>(points) : 0;
}

PclFrames PclBinary::readPcl(unsigned count) {
  const std::lock_guard lock(mutex);
  PclFrames result;
  readEnd_ = ReadEnd::kEndOfFile;
  if (!isOpen()) return result;
  PcbFrameHeader frameHeader{};
  while (result.size() < count && readFrameHeader("readPcl", frameHeader)) {
    if (frameHeader.format != kIrtFormat) {
      TRACE_MEMBER_ERROR(name, "readPcl", "pcl frame[%u] format(%u) error!", frameHeader.frameIndex,
                         frameHeader.format);
      readEnd_ = ReadEnd::kDamage;
      break;
    }
    auto frame = readIrtFrame(frameHeader);
    if (!frame) break;
    readEnd_ = ReadEnd::kEndOfFile;
    result.push_back(std::move(frame));
  }
  return result;
}

PclRGBFrames PclBinary::readPclRGB(unsigned count) {
  const std::lock_guard lock(mutex);
  PclRGBFrames result;
  readEnd_ = ReadEnd::kEndOfFile;
  if (!isOpen()) return result;
  PcbFrameHeader frameHeader{};
  while (result.size() < count && readFrameHeader("readPclRGB", frameHeader)) {
    if (frameHeader.format != kRgbFormat) {
      const std::int64_t position = file->pos() - std::int64_t{sizeof(frameHeader)};
      TRACE_MEMBER_ERROR(
          name, "readPclRGB", "pcl frame[%u] format(%u) read error, pos: %u, header[%s]!",
          frameHeader.frameIndex, frameHeader.format, static_cast<unsigned>(position),
          ferrun::StrUtil::hexView(reinterpret_cast<const char*>(&frameHeader), sizeof(frameHeader))
              .c_str());
      readEnd_ = ReadEnd::kDamage;
      break;
    }
    auto frame = readRgbFrame(frameHeader);
    if (!frame) break;
    readEnd_ = ReadEnd::kEndOfFile;
    result.push_back(std::move(frame));
  }
  return result;
}

void PclBinary::leaveUndecoded(std::uint64_t count) {
  const std::lock_guard lock(mutex);
  undecodedPoints = count;
}

/// False at the end of the file, without a message, and for a header that is cut, with one.
bool PclBinary::readFrameHeader(const char* function, PcbFrameHeader& frameHeader) {
  const int length = file->readData(reinterpret_cast<char*>(&frameHeader), sizeof(frameHeader));
  if (length == sizeof(frameHeader)) return true;
  if (length != 0) readEnd_ = file->readFailed() ? ReadEnd::kReadError : ReadEnd::kDamage;
  if (length < 1) return false;
  TRACE_MEMBER_ERROR(name, function, "file(%s) broken, cannot read header!", fileName.c_str());
  return false;
}

/// Reads up to `size` bytes into the block at `offset`, in pieces, so that memory is taken only for
/// what the file holds. Returns the number of bytes read, or what the first read returned when that
/// is below 1.
std::int64_t PclBinary::readBlockBytes(std::uint64_t offset, std::uint64_t size) {
  std::uint64_t done = 0;
  while (done < size) {
    const std::uint64_t piece = std::min(kPieceSize, size - done);
    char* const destination = block.withRoom(offset + done + piece) + offset + done;
    const int length = file->readData(destination, static_cast<int>(piece));
    if (length < 1) return done > 0 ? static_cast<std::int64_t>(done) : length;
    done += static_cast<std::uint64_t>(length);
  }
  return static_cast<std::int64_t>(done);
}

/// The frame whose whole block has been read.
std::shared_ptr<PclFrame> PclBinary::decodeIrtFrame(const PcbFrameHeader& frameHeader) {
  std::array<float, 4> q;  // copies, since Eigen takes references and packed fields have none
  std::array<float, 3> t;
  std::memcpy(q.data(), frameHeader.rotation, sizeof(q));
  std::memcpy(t.data(), frameHeader.translation, sizeof(t));
  auto frame = std::make_shared<PclFrame>();
  frame->timestamp = frameHeader.timestamp;
  frame->rotation = Eigen::Quaternionf(q[0], q[1], q[2], q[3]);
  frame->translation = Eigen::Vector3f(t[0], t[1], t[2]);
  frame->cloud = irtStorage->makeCloud(frameHeader.pointCount);
  decodeBlock<IrtPointRecord>(block.data(), *frame->cloud);
  return frame;
}

std::shared_ptr<PclRGBFrame> PclBinary::decodeRgbFrame(const PcbFrameHeader& frameHeader) {
  auto frame = std::make_shared<PclRGBFrame>();
  frame->timestamp = frameHeader.timestamp;
  frame->cloud = rgbStorage->makeCloud(frameHeader.pointCount);
  if (undecodedPoints < frameHeader.pointCount)
    decodeBlock<RgbPointRecord>(block.data(), *frame->cloud);
  undecodedPoints -= std::min<std::uint64_t>(undecodedPoints, frameHeader.pointCount);
  return frame;
}

/// Reads and decodes the block that follows the frame header; null, mostly with a message, when it
/// is not whole.
std::shared_ptr<PclFrame> PclBinary::readIrtFrame(const PcbFrameHeader& frameHeader) {
  const std::uint64_t size = std::uint64_t{frameHeader.pointCount} * sizeof(IrtPointRecord);
  std::int64_t length = 0;
  readEnd_ = ReadEnd::kDamage;
  try {
    if (size <= kLargestIrtBlock) {
      length = readBlockBytes(0, size);
      if (length < 0) readEnd_ = ReadEnd::kReadError;
      if (length < 1 && size > 0) return nullptr;  // the data end here
      if (length == static_cast<std::int64_t>(size)) return decodeIrtFrame(frameHeader);
    }
  } catch (const std::bad_alloc&) {
    // A frame that does not fit into memory is reported like one that is not there.
    readEnd_ = ReadEnd::kNoMemory;
  }
  if (file->readFailed()) readEnd_ = ReadEnd::kReadError;
  TRACE_MEMBER_ERROR(name, "readPcl",
                     "file(%s) read msg data error, len: %lld, chunk size: %llu, pointnums: %u!",
                     fileName.c_str(), static_cast<long long>(length),
                     static_cast<unsigned long long>(size), frameHeader.pointCount);
  return nullptr;
}

std::shared_ptr<PclRGBFrame> PclBinary::readRgbFrame(const PcbFrameHeader& frameHeader) {
  const std::uint64_t size = std::uint64_t{frameHeader.pointCount} * sizeof(RgbPointRecord);
  std::uint64_t done = 0;
  readEnd_ = ReadEnd::kDamage;
  try {
    if (size <= kLargestRgbBlock) {
      for (std::uint64_t piece = 0; piece < size / kPieceSize; ++piece) {
        const std::int64_t length = readBlockBytes(done, kPieceSize);
        if (length < 1) {
          TRACE_MEMBER_WARNING(name, "readPclRGB", "read data len: %d!", static_cast<int>(length));
          break;
        }
        done += static_cast<std::uint64_t>(length);
      }
      const std::uint64_t rest = size - done;
      if (readBlockBytes(done, rest) == static_cast<std::int64_t>(rest))
        return decodeRgbFrame(frameHeader);
    }
  } catch (const std::bad_alloc&) {
    readEnd_ = ReadEnd::kNoMemory;
  }
  if (file->readFailed()) readEnd_ = ReadEnd::kReadError;
  TRACE_MEMBER_ERROR(name, "readPclRGB",
                     "file(%s) read error, len: %llu, total size: %llu, points: %u!",
                     fileName.c_str(), static_cast<unsigned long long>(done),
                     static_cast<unsigned long long>(size), frameHeader.pointCount);
  return nullptr;
}

}  // namespace modeling_app
