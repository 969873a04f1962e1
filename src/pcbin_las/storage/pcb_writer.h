// SPDX-License-Identifier: BSD-3-Clause
// Writes pcbin files.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "pcbin_las/platform/api.h"
#include "pcbin_las/storage/pcl_binary.h"

namespace modeling_app {

/// What a writer has handed to the system. It is on the disk after sync() has returned true, or
/// after close() when no write has failed.
struct PCBIN_API WriteStatus {
  int error = 0;             ///< errno of the first write or sync that failed since open(), or 0
  std::uint64_t frames = 0;  ///< whole frames handed to the system
  std::uint64_t points = 0;  ///< points of these frames
  std::uint64_t backlogBytes = 0;  ///< memory of the points that wait to be written

  bool failed() const { return error != 0; }

  /// The system's text for `error`, for example "No space left on device".
  std::string reason() const;
};

/// Creates a pcbin file and appends the frames that writePcl() queues. If the process is killed,
/// the frames whose tasks have ended can be read; after a power cut, those of the last sync(). A
/// pipeline should call writeStatus() after close(): neither the result of writePcl() nor the
/// counts show that the disk was full, and log lines are printed only once a tracer is started
/// (platform/tracer.h).
///
/// After a failed write, a regular file is cut back to its last whole frame, and the next frame is
/// tried: when a full disk has room again, the recording continues. The lost frame keeps its
/// frameIndex and counts in the header.
///
/// A write to a pipe without a reader, or beyond a limit of the file size, ends the process by
/// SIGPIPE or SIGXFSZ unless the caller ignores these signals; the write then fails instead. After
/// fork() the child must not use or destroy a writer of its parent.
class PCBIN_API PcbWriter : public PclBinary {
 public:
  /// Uses `queue`, which must have one worker to keep the order of the frames, or a queue of its
  /// own when that is null. Throws std::bad_alloc.
  explicit PcbWriter(std::shared_ptr<ferrun::AsyncTaskQueue> queue = nullptr);

  /// Closes the file.
  ~PcbWriter() override;

  /// Creates the file at `path`, or empties it, and writes the header with zero counts to disk.
  /// `newBufferSize` is the size of the write buffer in bytes. False, with an error line, when the
  /// file cannot be created, its header cannot be written, or there is no memory.
  bool open(const std::string& path, unsigned newBufferSize) override;

  /// Waits until the queue is empty, also of the tasks of other writers if it is shared; then
  /// writes the header with the final counts, waits until the file is on the disk, and closes it.
  /// While tasks are queued it checks every 5 seconds and prints a warning each time: call
  /// waitForFrames() first to avoid that. The writer may be opened again.
  void close() override;

  /// Returns as soon as the frames queued so far have been written or have failed. If the queue is
  /// shared, waits for the tasks of other writers as well. Any thread may call it.
  void waitForFrames();

  /// Waits for the frames queued so far and for the disk. True when all frames since open() are on
  /// the disk; false when one was lost, the disk reported an error, or no file is open. A file that
  /// cannot be synced, such as a pipe, counts as synced. Frames may be queued meanwhile. Any thread
  /// may call it, but not during open() or close().
  bool sync();

  /// What was written; after close(), to the file that was closed. Any thread may call it at any
  /// time.
  WriteStatus writeStatus() const;

 private:
  bool openFile(const std::string& path, unsigned newBufferSize);
  bool writeHeader(const char* function);
  void recordWriteError();
  void syncFile();
  void reportFailure();

  std::string className = "PcbWriter";
};

}  // namespace modeling_app
