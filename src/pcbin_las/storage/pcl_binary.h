// The one interface through which pcbin files are read and written.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "pcbin_las/platform/api.h"
#include "pcbin_las/platform/async_task_queue.h"
#include "pcbin_las/platform/file.h"
#include "pcbin_las/storage/block_buffer.h"
#include "pcbin_las/storage/frames.h"
#include "pcbin_las/storage/pcb_format.h"
#include "pcbin_las/storage/point_storage.h"

namespace modeling_app {

/// A pcbin file that is being read (PcbReader) or written (PcbWriter), frame after frame: there is
/// no way to jump to a frame. Operations print an error line where they fail and throw nothing.
///
/// One thread opens and closes an object. Meanwhile several may read, or several may write; each
/// read call and each frame written is whole.
class PCBIN_API PclBinary {
 public:
  PclBinary() = default;
  PclBinary(const PclBinary&) = delete;
  PclBinary& operator=(const PclBinary&) = delete;
  virtual ~PclBinary() = default;

  /// Opens the file at `path`; `newBufferSize` is the writer's buffer in bytes, 4 MiB being usual.
  /// True when frames can be read or written, also when a file is open already: that one then
  /// stays.
  virtual bool open(const std::string& path, unsigned newBufferSize) = 0;
  virtual void close() = 0;

  /// The next frames, at most `count`, which must be lidar frames or coloured frames respectively.
  /// Fewer at the end of the file, without a message, and where the file is damaged, with one: the
  /// frames before the damage are returned. None when no file is open.
  virtual PclFrames readPcl(unsigned count);
  virtual PclRGBFrames readPclRGB(unsigned count);

  /// For callers that only count the next `count` coloured points: of frames that hold no others,
  /// readPclRGB() then leaves the points undecoded, in clouds of the right size whose values mean
  /// nothing.
  void leaveUndecoded(std::uint64_t count);

  /// Queues a frame for writing and returns at once; the queue's worker writes it later. Neither
  /// the frame nor its cloud may be changed until close() has returned. True when the frame was
  /// queued, which does not tell whether it reaches the disk: a failed write is told by an error
  /// line. False when it was refused: no file is open for writing, or there is no frame, no cloud,
  /// or more points than a frame can hold. Not to be called together with or after close().
  ///
  /// A file is to hold lidar frames (the first two) or coloured frames, which are bare clouds and
  /// are stamped with the time of this call: a reader stops at a frame of the other kind.
  virtual bool writePcl(std::shared_ptr<PclFrame> frame);
  virtual bool writePcl(std::shared_ptr<norvo::LioResultMsg> msg);
  virtual bool writePcl(std::shared_ptr<norvo::RgbCloud> cloud);

  /// The counts of the header, modulo 2^32; while writing, of the frames written so far, so that a
  /// writer whose totalFrames() has reached the frames handed over can be closed without a wait. 0
  /// when no file is open. Any thread may ask, though not while the file is opened or closed.
  unsigned totalFrames() const;
  unsigned totalPoints() const;

 protected:
  using IrtStorage = PointStorage<norvo::IrtCloud>;
  using RgbStorage = PointStorage<norvo::RgbCloud>;

  bool isOpen() const { return file && file->isOpen() && header; }

  std::string name = "PclBinary";  ///< the class in the log lines of this class's operations
  std::shared_ptr<ferrun::AsyncTaskQueue> taskQueue;  ///< of write tasks; null in a reader
  std::shared_ptr<PcbHeader> header;                  ///< null while no file is open
  std::string fileName;                               ///< of the file last opened
  std::mutex mutex;                       ///< held for a read call, for a write task and by close()
  std::uint32_t bufferSize = 4U << 20;    ///< bytes, as given to open()
  std::uint32_t frameCounter = 0;         ///< index of the next frame written
  std::shared_ptr<ferrun::File> file;     ///< made by the first open() and kept
  std::atomic<std::uint64_t> frames = 0;  ///< the header's counts: its packed fields cannot be read
  std::atomic<std::uint64_t> points = 0;  ///< by one thread while another changes them
  std::atomic<unsigned> tasksNotBegun = 0;  ///< write tasks that do not hold `mutex` yet
  std::condition_variable tasksBegun;       ///< with `mutex`: tasksNotBegun has become 0
  BlockBuffer block;                        ///< of the frame being read
  std::uint64_t undecodedPoints = 0;        ///< coloured points that are only counted
  /// Memory of the clouds that readPcl() and readPclRGB() return.
  std::shared_ptr<IrtStorage> irtStorage = std::make_shared<IrtStorage>();
  std::shared_ptr<RgbStorage> rgbStorage = std::make_shared<RgbStorage>();

 private:
  bool readFrameHeader(const char* function, PcbFrameHeader& frameHeader);
  std::int64_t readBlockBytes(std::uint64_t offset, std::uint64_t size);
  std::shared_ptr<PclFrame> readIrtFrame(const PcbFrameHeader& frameHeader);
  std::shared_ptr<PclRGBFrame> readRgbFrame(const PcbFrameHeader& frameHeader);
  std::shared_ptr<PclFrame> decodeIrtFrame(const PcbFrameHeader& frameHeader);
  std::shared_ptr<PclRGBFrame> decodeRgbFrame(const PcbFrameHeader& frameHeader);

  template <class WriteFrame>
  bool queueTask(WriteFrame writeFrame);
  void writeIrtFrame(PcbFrameHeader frameHeader, const norvo::IrtCloud& cloud);
  void writeRgbFrame(PcbFrameHeader frameHeader, const norvo::RgbCloud& cloud);
  void beginFrame(PcbFrameHeader& frameHeader, std::size_t pointCount);
};

}  // namespace modeling_app
