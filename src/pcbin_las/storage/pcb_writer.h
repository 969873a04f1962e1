// Writes pcbin files.
#pragma once

#include "pcbin_las/platform/api.h"
#include "pcbin_las/storage/pcl_binary.h"

namespace modeling_app {

/// Creates a pcbin file and appends the frames that writePcl() queues. The file's header is written
/// by open(), with zero counts, and again by close() with the final ones. A write that fails is
/// told by log lines alone; the frames that reached the disk can be read all the same.
class PCBIN_API PcbWriter : public PclBinary {
 public:
  /// A writer whose frames go through `queue`, which must be running with one worker to keep their
  /// order, or through a queue of its own when that is null.
  explicit PcbWriter(std::shared_ptr<ferrun::AsyncTaskQueue> queue = nullptr);

  /// Closes the file.
  ~PcbWriter() override;

  /// Creates the file at `path`, or empties it. `newBufferSize` is the size of the write buffer in
  /// bytes. False, with an error line, when the file cannot be made. A disk that is full shows when
  /// the buffer is written out, by an error line.
  bool open(const std::string& path, unsigned newBufferSize) override;

  /// Waits until the queue is empty (of other writers' tasks too, when it is shared), asking every
  /// 5 seconds with a warning each time; completes the header and closes the file. The writer may
  /// be opened again.
  void close() override;

 private:
  bool writeHeader(const char* function);

  std::string className = "PcbWriter";
};

}  // namespace modeling_app
