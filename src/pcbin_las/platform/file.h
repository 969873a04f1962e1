// Files of the operating system: the one place that reads and writes them.
#pragma once

#include <cstddef>
#include <cstring>
#include <string>

#include "pcbin_las/platform/api.h"
#include "pcbin_las/platform/io_device.h"
#include "pcbin_las/platform/large_memory.h"

namespace ferrun {

/// A file, open for reading or for writing, with a buffer in between. Interrupted and short system
/// calls are continued. For use by one thread at a time.
///
/// A write that fails (a full disk, say) prints one error line with the file's name and the
/// system's reason. Later writes then fail with the same errno and change nothing, so that no gap
/// opens in the file, until seek() chooses a new position.
class PCBIN_API File final : public IODevice {
 public:
  static constexpr int kRead = 0;   ///< an existing file, from its start
  static constexpr int kWrite = 4;  ///< a new file, or an existing one that is emptied

  /// True when a file, of any kind, of that name exists.
  static bool exists(const std::string& name);

  /// True when both names lead to the same existing file.
  static bool isSameFile(const std::string& name, const std::string& otherName);

  File() = default;
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  /// Closes an open file.
  ~File() override { close(); }

  /// Opens the file `name` in mode kRead or kWrite. False when it cannot be opened, is a directory,
  /// or a file is open already; a failure to open for writing also prints an error line with the
  /// reason.
  bool open(const std::string& name, int mode) override;
  void close() override;
  bool isOpen() const override { return descriptor_ >= 0; }

  int readData(char* destination, int count) override {
    if (count < 0 || static_cast<std::size_t>(count) > end_ - begin_)
      return readBeyondBuffer(destination, count);
    std::memcpy(destination, buffer_.get() + begin_, static_cast<std::size_t>(count));
    begin_ += static_cast<std::size_t>(count);
    return count;
  }

  /// Reads up to the next line break or the end of the file into `line`, without the break. Returns
  /// the number of bytes read, the break included; 0 at the end of the file, less on error. Of a
  /// line longer than kLongestLine the rest is read and dropped.
  int readLine(std::string* line);

  int writeData(const char* source, int count) override {
    if (count < 0 || static_cast<std::size_t>(count) > limit_ - end_)
      return writeBeyondBuffer(source, count);
    std::memcpy(buffer_.get() + end_, source, static_cast<std::size_t>(count));
    end_ += static_cast<std::size_t>(count);
    return count;
  }

  void flush() override;
  std::int64_t pos() const override;
  void seek(std::int64_t position) override;

  /// The size in bytes of the open file on disk, or -1 when there is none.
  std::int64_t getSize() const;

  /// Cuts a file open for writing to `size` bytes; the current position stays. False on failure.
  bool truncate(std::int64_t size);

  static constexpr int kLongestLine = 1 << 20;

 private:
  int readBeyondBuffer(char* destination, int count);
  int writeBeyondBuffer(const char* source, int count);
  bool fillBuffer();
  std::size_t readFromDisk(char* destination, std::size_t size);
  std::size_t writeToDisk(const char* source, std::size_t size);

  static constexpr std::size_t kReadBufferSize = std::size_t{256} << 10;

  std::string name_;
  int descriptor_ = -1;
  bool reading_ = true;
  int readError_ = 0;   ///< errno of the last read, 0 when it succeeded
  int writeError_ = 0;  ///< errno of the write that failed, until the next seek
  LargeMemory buffer_;
  std::size_t capacity_ = 0;  ///< size of buffer_
  std::size_t limit_ = 0;     ///< writing: how far buffer_ may be filled, 0 after a failed write
  std::size_t begin_ = 0;     ///< reading: the first byte in buffer_ not yet handed out; writing: 0
  std::size_t end_ = 0;       ///< the end of the bytes in buffer_
  std::int64_t diskPosition_ = 0;  ///< where the next system call reads or writes
};

}  // namespace ferrun
