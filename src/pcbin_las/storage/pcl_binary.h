// SPDX-License-Identifier: BSD-3-Clause
// The interface through which pcbin files are read and written.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "pcbin_las/platform/api.h"
#include "pcbin_las/platform/async_task_queue.h"
#include "pcbin_las/platform/file.h"
#include "pcbin_las/storage/cloud_pool.h"
#include "pcbin_las/storage/frames.h"
#include "pcbin_las/storage/lio_result_msg.h"
#include "pcbin_las/storage/pcb_format.h"

namespace modeling_app {

/// Why a read call returned; later values are worse. kDamage and kReadError stay until the file is
/// closed.
enum class ReadEnd {
  kComplete,   ///< all frames were read, or their clouds would exceed 1 GiB together
  kEndOfFile,  ///< the file ends after a whole frame, or no file is open
  kDamage,     ///< the next frame is cut off or of another kind
  kReadError,  ///< the system reported an error
  kNoMemory,   ///< the next frame does not fit into memory
};

/// The result of PclBinary::skipPclRGB().
struct SkippedFrames {
  unsigned frames = 0;
  std::uint64_t points = 0;
  bool atWantedFrame = false;  ///< the next frame holds a wanted point
};

/// A pcbin file that is read (PcbReader) or written (PcbWriter) frame by frame. An operation that
/// fails prints one error line. Only constructors throw (std::bad_alloc).
///
/// One thread opens and closes an object. In between, several threads may read or several may
/// write; read calls and written frames are not interleaved.
class PCBIN_API PclBinary {
 public:
  static constexpr std::uint32_t kBufferSize = 4194304;  ///< bytes; usual argument of open()
  static constexpr unsigned kBatchFrames = 10;           ///< usual argument of readPclRGB()

  PclBinary();
  PclBinary(const PclBinary&) = delete;
  PclBinary& operator=(const PclBinary&) = delete;
  virtual ~PclBinary();

  /// Opens the file at `path`; `newBufferSize` is the size of a writer's buffer in bytes. True when
  /// frames can be read or written. If a file is already open, it stays open and the result is
  /// true.
  virtual bool open(const std::string& path, unsigned newBufferSize) = 0;
  virtual void close() = 0;

  /// Reads the next frames, at most `count`, which must be lidar frames (readPcl) or coloured
  /// frames (readPclRGB). Returns fewer when the file ends (without a line); when it is damaged or
  /// cannot be read, or memory runs out (with an error line); and before the clouds would exceed 1
  /// GiB together. lastReadEnd() returns the reason, lastError() the line. A frame that did not fit
  /// into memory can be read by the next call, unless the file is a pipe or a device. After damage
  /// a call reads on where the damage was found, usually points that it takes for a frame header:
  /// it returns no frame, or frames that mean nothing. Stop reading there.
  virtual PclFrames readPcl(unsigned count);
  virtual PclRGBFrames readPclRGB(unsigned count);

  /// Queues a frame and returns at once; the queue's worker writes it later. Do not change the
  /// frame or its cloud until close() has returned. True when the frame was queued; whether it
  /// reaches the disk, PcbWriter::writeStatus() tells. False when no file is open for writing, the
  /// frame or its cloud is null, memory ran out, or the cloud has more points than a frame can
  /// hold. Must not be called during or after close().
  ///
  /// The backlog of queued frames has no bound: frames stay in memory until they are written. One
  /// warning is printed when their points exceed kBacklogWarning bytes.
  ///
  /// Write either lidar frames (the first two) or coloured frames to a file: a reader stops at a
  /// frame of the other kind. The intensity of a coloured point is stored as an integer: truncated,
  /// modulo 65536, and 0 for negative values and NaN. A coloured cloud is stored with the time of
  /// this call, a PclRGBFrame with its own time stamp.
  virtual bool writePcl(std::shared_ptr<PclFrame> frame);
  virtual bool writePcl(std::shared_ptr<norvo::LioResultMsg> msg);
  virtual bool writePcl(std::shared_ptr<norvo::RgbCloud> cloud);
  virtual bool writePcl(std::shared_ptr<PclRGBFrame> frame);

  static constexpr std::uint64_t kBacklogWarning = std::uint64_t{1} << 30;  ///< bytes of points

  /// Skips whole coloured frames, at most `mostFrames`, as long as all of their points are among
  /// the next `pointsNotWanted` points. Prints the lines that readPclRGB() would print for these
  /// frames. Does not read the points of a regular file.
  SkippedFrames skipPclRGB(unsigned mostFrames, std::uint64_t pointsNotWanted);

  /// Why the last call of readPcl() or readPclRGB() returned, or damage or a read error that an
  /// earlier call has found: it is enough to ask after the loop. The next open() resets it.
  ReadEnd lastReadEnd() const;

  /// The last error line since open() was called, without its tag, time and origin: why open() or a
  /// read call failed, for example "file(map.pcbin) not exists!". Empty when there was none. Waits
  /// for a read call of another thread; must not be called during open().
  std::string lastError() const;

  /// The counts of the header, modulo 2^32; of a writer, those of the frames whose tasks have
  /// ended. 0 when no file is open. Any thread may call them, but not during open() or close().
  unsigned totalFrames() const;
  unsigned totalPoints() const;

  /// The counts of the header in full; 0 when no file is open.
  std::uint64_t announcedFrames() const;
  std::uint64_t announcedPoints() const;

 protected:
  bool isOpen() const;
  void setCounts(std::uint64_t newFrames, std::uint64_t newPoints);
  void forgetFrames();
  [[gnu::format(printf, 2, 3)]] void rememberError(const char* format, ...) noexcept;

  std::string name = "PclBinary";  ///< the class in the log lines of this class's operations
  std::shared_ptr<ferrun::AsyncTaskQueue> taskQueue;  ///< of write tasks; null in a reader
  std::shared_ptr<PcbHeader> header;                  ///< null while no file is open
  std::string fileName;                               ///< of the file last opened
  mutable std::mutex mutex;                ///< locked during a read call, a write task and close()
  std::uint32_t bufferSize = kBufferSize;  ///< bytes, as given to open()
  std::uint32_t frameCounter = 0;          ///< index of the next frame written
  std::shared_ptr<ferrun::File> file;      ///< created by the first open() and kept
  std::atomic<std::uint64_t> frames = 0;   ///< the header's counts: its packed fields must not be
  std::atomic<std::uint64_t> points = 0;   ///< read while another thread writes them
  std::atomic<ReadEnd> readEnd = ReadEnd::kEndOfFile;

  std::atomic<int> writeError = 0;  ///< errno of the first write or sync that failed since open()
  std::int64_t wholeEnd = 0;        ///< where the last whole frame ends in the file being written
  std::atomic<std::uint64_t> storedFrames = 0;  ///< whole frames handed to the system
  std::atomic<std::uint64_t> storedPoints = 0;  ///< points of these
  std::atomic<std::uint64_t> queuedBytes = 0;   ///< of the points of queued frames
  std::atomic<bool> backlogReported = false;
  std::string errorText;  ///< see lastError()

 private:
  template <class Frames, class ReadFrame>
  Frames readFrames(unsigned count, const char* function, ReadFrame readFrame);
  bool haveFrameHeader(const char* function);
  bool haveIrtHeader();
  bool haveRgbHeader();
  std::shared_ptr<PclFrame> readIrtFrame();
  std::shared_ptr<PclRGBFrame> readRgbFrame();
  template <class ConsumeBytes>
  bool readRgbBlock(ConsumeBytes consumeBytes);
  bool fileHoldsBlock() const;
  template <class Cloud>
  std::shared_ptr<Cloud> newCloud(CloudPool<Cloud>& pool);
  bool stopReading(ReadEnd end);
  void reportNoMemory(const char* function);

  template <class WriteFrame>
  bool queueTask(std::uint64_t bytes, WriteFrame writeFrame);
  void reportBacklog(std::uint64_t bytes);
  void writeIrtFrame(PcbFrameHeader frameHeader, const norvo::IrtCloud& cloud);
  void writeRgbFrame(PcbFrameHeader frameHeader, const norvo::RgbCloud& cloud);
  void beginFrame(PcbFrameHeader& frameHeader, std::size_t pointCount);
  void endFrame(std::size_t pointCount);
  void cutBack();

  std::optional<PcbFrameHeader> nextFrame;  ///< header of the next frame, once it has been read
  std::int64_t blockStart = 0;              ///< where the points of nextFrame begin in the file
  std::vector<char> chunk;                  ///< bytes of the point block being read
  CloudPool<norvo::IrtCloud> irtClouds;
  CloudPool<norvo::RgbCloud> rgbClouds;
};

}  // namespace modeling_app
