// The writing half of PclBinary: frames wait on the queue and are appended by its worker.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

#include "pcbin_las/platform/epoch_time.h"
#include "pcbin_las/platform/trace_macros.h"
#include "pcbin_las/storage/pcl_binary.h"
#include "pcbin_las/storage/point_codec.h"

namespace modeling_app {
namespace {

/// The header of a lidar frame; rotation is w, x, y, z.
PcbFrameHeader irtFrameHeader(double timestamp, const std::array<float, 4>& rotation,
                              const std::array<float, 3>& translation) {
  PcbFrameHeader frameHeader{};
  frameHeader.format = kIrtFormat;
  frameHeader.timestamp = timestamp;
  std::memcpy(frameHeader.rotation, rotation.data(), sizeof(frameHeader.rotation));
  std::memcpy(frameHeader.translation, translation.data(), sizeof(frameHeader.translation));
  return frameHeader;
}

/// Whether there is a cloud, and not too large a one for a point block.
template <class Record, class Cloud>
bool fitsBlock(const Cloud* cloud, std::uint64_t largestBlock) {
  return cloud != nullptr && cloud->points.size() <= largestBlock / sizeof(Record);
}

/// Writes the record of each point; `onFailure` is called with the result of a write that failed.
template <class Record, class Cloud, class OnFailure>
void writePoints(ferrun::File& file, const Cloud& cloud, OnFailure onFailure) {
  // Encoded some way ahead: a record that is copied as soon as it has been put together in small
  // pieces would have the processor wait for these.
  std::array<Record, 64> records;
  const std::size_t count = cloud.points.size();
  for (std::size_t first = 0; first < count; first += records.size()) {
    const std::size_t size = std::min(records.size(), count - first);
    for (std::size_t i = 0; i < size; ++i) records[i] = encodePoint(cloud.points[first + i]);
    for (std::size_t i = 0; i < size; ++i) {
      const int length = file.writeData(reinterpret_cast<const char*>(&records[i]), sizeof(Record));
      if (length != sizeof(Record)) onFailure(length);
    }
  }
}

}  // namespace

/// Has the worker call `writeFrame` under the lock; false when no file is open for writing, or
/// there is no memory for the task.
template <class WriteFrame>
bool PclBinary::queueTask(WriteFrame writeFrame) {
  if (!taskQueue || !isOpen()) return false;
  ++tasksNotBegun;
  try {
    taskQueue->putTask(
        [this, writeFrame = std::move(writeFrame)](const std::string&) {
          const std::lock_guard lock(mutex);
          if (--tasksNotBegun == 0) tasksBegun.notify_all();  // close() then waits for the lock
          writeFrame();
        },
        "");
  } catch (const std::bad_alloc&) {
    --tasksNotBegun;
    return false;
  }
  return true;
}

bool PclBinary::writePcl(std::shared_ptr<PclFrame> frame) {
  if (!frame || !fitsBlock<IrtPointRecord>(frame->cloud.get(), kLargestIrtBlock)) return false;
  return queueTask([this, frame = std::move(frame)] {
    const Eigen::Quaternionf& q = frame->rotation;
    const Eigen::Vector3f& t = frame->translation;
    writeIrtFrame(
        irtFrameHeader(frame->timestamp, {q.w(), q.x(), q.y(), q.z()}, {t.x(), t.y(), t.z()}),
        *frame->cloud);
  });
}

bool PclBinary::writePcl(std::shared_ptr<norvo::LioResultMsg> msg) {
  if (!msg || !fitsBlock<IrtPointRecord>(msg->cloud.get(), kLargestIrtBlock)) return false;
  return queueTask([this, msg = std::move(msg)] {
    writeIrtFrame(irtFrameHeader(msg->timestamp, msg->rotation, msg->translation), *msg->cloud);
  });
}

bool PclBinary::writePcl(std::shared_ptr<norvo::RgbCloud> cloud) {
  if (!fitsBlock<RgbPointRecord>(cloud.get(), kLargestRgbBlock)) return false;
  return queueTask([this, cloud = std::move(cloud), now = ferrun::Time::fromEpoch()] {
    PcbFrameHeader frameHeader{};
    frameHeader.format = kRgbFormat;
    frameHeader.timestamp = now.toSec();
    writeRgbFrame(frameHeader, *cloud);
  });
}

void PclBinary::beginFrame(PcbFrameHeader& frameHeader, std::size_t pointCount) {
  frameHeader.frameIndex = frameCounter++;
  frameHeader.pointCount = static_cast<std::uint32_t>(pointCount);
  file->writeData(reinterpret_cast<const char*>(&frameHeader), sizeof(frameHeader));
  points += pointCount;
}

void PclBinary::writeIrtFrame(PcbFrameHeader frameHeader, const norvo::IrtCloud& cloud) {
  beginFrame(frameHeader, cloud.points.size());
  writePoints<IrtPointRecord>(*file, cloud, [](int) {});
  ++frames;
}

void PclBinary::writeRgbFrame(PcbFrameHeader frameHeader, const norvo::RgbCloud& cloud) {
  beginFrame(frameHeader, cloud.points.size());
  writePoints<RgbPointRecord>(*file, cloud, [&](int length) {
    const char* const reason = std::strerror(errno);
    TRACE_MEMBER_WARNING(name, "operator()", "write frame(%u) point data error(%d): %s!",
                         frameHeader.frameIndex, length, reason);
  });
  ++frames;
}

}  // namespace modeling_app
