// Writes pcbin files.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "pcbin_las/platform/api.h"
#include "pcbin_las/storage/pcl_binary.h"

namespace modeling_app {

/// How much of what was handed to a writer is on disk.
struct PCBIN_API WriteStatus {
  int error = 0;             ///< errno of the first write that failed since open(), 0 when none has
  std::uint64_t frames = 0;  ///< whole frames on disk
  std::uint64_t points = 0;  ///< points of these frames

  bool failed() const { return error != 0; }

  /// The system's text for `error`, for example "No space left on device".
  std::string reason() const;
};

/// Creates a pcbin file and appends the frames that writePcl() queues. After a kill, the frames
/// whose tasks have ended can be read. A pipeline should ask writeStatus() after close(): neither
/// writePcl() nor the header's counts tell of a full disk, and the log lines that do are silent
/// until a tracer is started (platform/tracer.h).
///
/// A write to a pipe without a reader, and one beyond a limit of the file size, end the process by
/// SIGPIPE or SIGXFSZ unless the caller ignores these signals; ignored, they are failed writes. A
/// child process made by fork() must not use or destroy a writer of its parent.
class PCBIN_API PcbWriter : public PclBinary {
 public:
  /// A writer whose frames go through `queue`, which needs one worker to keep their order, or,
  /// when that is null, through a queue of its own. Throws std::bad_alloc.
  explicit PcbWriter(std::shared_ptr<ferrun::AsyncTaskQueue> queue = nullptr);

  /// Closes the file.
  ~PcbWriter() override;

  /// Creates the file at `path`, or empties it, and writes the header with zero counts to disk.
  /// `newBufferSize` is the size of the write buffer in bytes. False, with an error line, when the
  /// file cannot be created, its header cannot be written, or there is no memory.
  bool open(const std::string& path, unsigned newBufferSize) override;

  /// Waits until the queue is empty (also of other writers' tasks, when it is shared), asking every
  /// 5 seconds with a warning each time; writes the header with the final counts and closes the
  /// file. Call it when totalFrames() has reached the frames handed over to avoid the 5 seconds.
  /// The writer may be opened again.
  void close() override;

  /// What is on disk. Any thread may ask at any time; after close() it tells of the file that was
  /// closed.
  WriteStatus writeStatus() const;

 private:
  bool openFile(const std::string& path, unsigned newBufferSize);
  bool writeHeader(const char* function);
  void recordWriteError();
  void reportFailure(std::uint64_t handedFrames, std::uint64_t handedPoints);

  std::string className = "PcbWriter";
};

}  // namespace modeling_app
