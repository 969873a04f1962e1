// SPDX-License-Identifier: BSD-3-Clause
// PclBinary: writing. Frames are queued; the queue's worker appends them to the file.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

#include "pcbin_las/platform/byte_image.h"
#include "pcbin_las/platform/epoch_time.h"
#include "pcbin_las/platform/trace_macros.h"
#include "pcbin_las/storage/pcl_binary.h"
#include "pcbin_las/storage/point_codec.h"

namespace modeling_app {
namespace {

constexpr int kMostWriteWarnings = 10;  // of one frame

/// The header of a lidar frame; `rotation` is w, x, y, z.
PcbFrameHeader irtFrameHeader(double timestamp, const std::array<float, 4>& rotation,
                              const std::array<float, 3>& translation) {
  PcbFrameHeader frameHeader{};
  frameHeader.format = kIrtFormat;
  frameHeader.timestamp = timestamp;
  std::memcpy(frameHeader.rotation, rotation.data(), sizeof(frameHeader.rotation));
  std::memcpy(frameHeader.translation, translation.data(), sizeof(frameHeader.translation));
  return frameHeader;
}

PcbFrameHeader rgbFrameHeader(double timestamp) {
  PcbFrameHeader frameHeader{};
  frameHeader.format = kRgbFormat;
  frameHeader.timestamp = timestamp;
  return frameHeader;
}

/// Whether there is a cloud, and it is small enough for a point block.
template <class Record, class Cloud>
bool fitsBlock(const Cloud* cloud, std::uint64_t largestBlock) {
  return cloud != nullptr && cloud->points.size() <= largestBlock / sizeof(Record);
}

/// Writes the record of each point; calls `onFailure` with the result of each write that fails.
template <class Record, class Cloud, class OnFailure>
void writePoints(ferrun::File& file, const Cloud& cloud, OnFailure onFailure) {
  // Encode 64 records first: copying a record just assembled from small stores stalls on store
  // forwarding.
  std::array<Record, 64> records;
  const std::size_t count = cloud.points.size();
  for (std::size_t first = 0; first < count; first += records.size()) {
    const std::size_t size = std::min(records.size(), count - first);
    for (std::size_t i = 0; i < size; ++i) records[i] = encodePoint(cloud.points[first + i]);
    for (std::size_t i = 0; i < size; ++i) {
      const int length = ferrun::writeImage(file, records[i]);
      if (length != sizeof(Record)) onFailure(length);
    }
  }
}

}  // namespace

/// Queues a task that calls `writeFrame` under the lock; `bytes` is the memory of the frame's
/// points. False when no file is open for writing, or there is no memory for the task.
template <class WriteFrame>
bool PclBinary::queueTask(std::uint64_t bytes, WriteFrame writeFrame) {
  if (!taskQueue || !isOpen()) return false;
  queuedBytes += bytes;
  try {
    taskQueue->putTask(
        [this, bytes, writeFrame = std::move(writeFrame)](const std::string&) {
          const std::lock_guard lock(mutex);
          reportBacklog(queuedBytes);
          writeFrame();
          queuedBytes -= bytes;
        },
        "");
  } catch (const std::bad_alloc&) {
    queuedBytes -= bytes;
    return false;
  }
  return true;
}

/// Prints one warning per file when the queued frames take much memory. Called by the worker: a
/// line must not hold up the caller of writePcl().
void PclBinary::reportBacklog(std::uint64_t bytes) {
  if (bytes <= kBacklogWarning || backlogReported.exchange(true)) return;
  TRACE_MEMBER_WARNING(name.c_str(), "writePcl",
                       "file(%s) cannot keep up: %llu MiB of points are queued!", fileName.c_str(),
                       static_cast<unsigned long long>(bytes >> 20));
}

bool PclBinary::writePcl(std::shared_ptr<PclFrame> frame) {
  if (!frame || !fitsBlock<IrtPointRecord>(frame->cloud.get(), kLargestIrtBlock)) return false;
  const std::uint64_t bytes = frame->cloud->points.size() * sizeof(norvo::PointIRT);
  return queueTask(bytes, [this, frame = std::move(frame)] {
    const Eigen::Quaternionf& q = frame->rotation;
    const Eigen::Vector3f& t = frame->translation;
    writeIrtFrame(
        irtFrameHeader(frame->timestamp, {q.w(), q.x(), q.y(), q.z()}, {t.x(), t.y(), t.z()}),
        *frame->cloud);
  });
}

bool PclBinary::writePcl(std::shared_ptr<norvo::LioResultMsg> msg) {
  if (!msg || !fitsBlock<IrtPointRecord>(msg->cloud.get(), kLargestIrtBlock)) return false;
  const std::uint64_t bytes = msg->cloud->points.size() * sizeof(norvo::PointIRT);
  return queueTask(bytes, [this, msg = std::move(msg)] {
    writeIrtFrame(irtFrameHeader(msg->timestamp, msg->rotation, msg->translation), *msg->cloud);
  });
}

bool PclBinary::writePcl(std::shared_ptr<norvo::RgbCloud> cloud) {
  if (!fitsBlock<RgbPointRecord>(cloud.get(), kLargestRgbBlock)) return false;
  const std::uint64_t bytes = cloud->points.size() * sizeof(norvo::PointRGBIST);
  return queueTask(bytes, [this, cloud = std::move(cloud), now = ferrun::Time::fromEpoch()] {
    writeRgbFrame(rgbFrameHeader(now.toSec()), *cloud);
  });
}

bool PclBinary::writePcl(std::shared_ptr<PclRGBFrame> frame) {
  if (!frame || !fitsBlock<RgbPointRecord>(frame->cloud.get(), kLargestRgbBlock)) return false;
  const std::uint64_t bytes = frame->cloud->points.size() * sizeof(norvo::PointRGBIST);
  return queueTask(bytes, [this, frame = std::move(frame)] {
    writeRgbFrame(rgbFrameHeader(frame->timestamp), *frame->cloud);
  });
}

void PclBinary::beginFrame(PcbFrameHeader& frameHeader, std::size_t pointCount) {
  if (file->writeError() != 0) cutBack();
  frameHeader.frameIndex = frameCounter++;
  frameHeader.pointCount = static_cast<std::uint32_t>(pointCount);
  ferrun::writeImage(*file, frameHeader);
}

/// Counts a frame and flushes it: if the process is killed, the file still contains the frame.
void PclBinary::endFrame(std::size_t pointCount) {
  file->flush();
  if (file->writeError() == 0) {
    ++storedFrames;
    storedPoints += pointCount;
    wholeEnd = file->pos();
  } else {
    if (writeError == 0) writeError = file->writeError();
    cutBack();
  }
  setCounts(frames + 1, points + pointCount);
}

/// After a failed write: cuts a regular file back to its last whole frame, so that the next frame
/// can be tried. What cannot be cut off is overwritten by that frame or cut off by close().
void PclBinary::cutBack() {
  if (!file->isRegular()) return;
  file->truncate(wholeEnd);
  file->seek(wholeEnd);
}

void PclBinary::writeIrtFrame(PcbFrameHeader frameHeader, const norvo::IrtCloud& cloud) {
  beginFrame(frameHeader, cloud.points.size());
  writePoints<IrtPointRecord>(*file, cloud, [](int) {});
  endFrame(cloud.points.size());
}

void PclBinary::writeRgbFrame(PcbFrameHeader frameHeader, const norvo::RgbCloud& cloud) {
  const bool firstFailure = writeError == 0;
  beginFrame(frameHeader, cloud.points.size());
  std::size_t failures = 0;
  writePoints<RgbPointRecord>(*file, cloud, [&](int length) {
    const char* const reason = std::strerror(errno);
    if (!firstFailure || ++failures > kMostWriteWarnings) return;
    TRACE_MEMBER_WARNING(name.c_str(), "operator()", "write frame(%u) point data error(%d): %s!",
                         frameHeader.frameIndex, length, reason);
  });
  if (failures > kMostWriteWarnings)
    TRACE_MEMBER_WARNING(name.c_str(), "operator()",
                         "write frame(%u) point data error: %zu points more!",
                         frameHeader.frameIndex, failures - kMostWriteWarnings);
  endFrame(cloud.points.size());
}

}  // namespace modeling_app
