// SPDX-License-Identifier: BSD-3-Clause
// Files of the operating system.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "pcbin_las/platform/api.h"
#include "pcbin_las/platform/io_device.h"

namespace ferrun {

/// A buffered file, open for reading or for writing. Continues interrupted and short system calls.
/// Use it from one thread at a time.
///
/// A failed read or write (a full disk, for example) prints one error line with the file's name and
/// the system's reason; the same reason is not printed again. After a failed write all writes fail
/// with the same errno and change nothing until seek() sets a new position, so that the file has no
/// gap.
class PCBIN_API File final : public IODevice {
 public:
  static constexpr int kRead = 0;   ///< reads an existing file from its start
  static constexpr int kWrite = 4;  ///< creates a file, or truncates an existing one

  /// The bytes of a line that readLine() keeps.
  static constexpr std::size_t kLongestLine = std::size_t{1} << 20;

  /// Whether a file of any kind has that name.
  static bool exists(const std::string& name);

  /// Whether both names refer to the same existing file.
  static bool isSameFile(const std::string& name, const std::string& otherName);

  File() = default;
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  ~File() override { close(); }

  /// Opens the file `name` in mode kRead or kWrite. False, with errno set, when the file cannot be
  /// opened, is a directory, there is no memory for its buffer, `mode` has another value, or a file
  /// is already open. If a file cannot be opened for writing, an error line gives the reason.
  bool open(const std::string& name, int mode) override;

  /// Opens `name` for writing without the risk of destroying another file: does not follow a
  /// symbolic link, does not wait for a pipe, and truncates only a regular file with one hard link
  /// that is not the file `input`. False, with an error line, otherwise.
  bool openOwn(const std::string& name, const std::string& input);

  /// Writes from the start of the file that `descriptor` is open for, which stays open; `name` is
  /// for messages. False, with an error line, when that fails.
  bool openDescriptor(const std::string& name, int descriptor);

  void close() override;

  /// Closes the file, and removes it if openOwn() created it.
  void discard();

  bool isOpen() const override { return descriptor_ >= 0; }

  int readData(char* destination, int count) override {
    if (count < 0 || static_cast<std::size_t>(count) > end_ - begin_)
      return readBeyondBuffer(destination, count);
    std::memcpy(destination, buffer_.get() + begin_, static_cast<std::size_t>(count));
    begin_ += static_cast<std::size_t>(count);
    return count;
  }

  /// Reads the next line into `line`, without its line break. Returns the number of bytes read,
  /// including the line break; 0 at the end of the file, less on error. Drops bytes beyond
  /// kLongestLine. Throws std::bad_alloc.
  int readLine(std::string* line);

  int writeData(const char* source, int count) override {
    if (count < 0 || static_cast<std::size_t>(count) > limit_ - end_)
      return writeBeyondBuffer(source, count);
    std::memcpy(buffer_.get() + end_, source, static_cast<std::size_t>(count));
    end_ += static_cast<std::size_t>(count);
    return count;
  }

  void flush() override;

  /// Writes buffered data and waits until what was written is on the disk. Returns 0, also for
  /// files that cannot be synced, such as pipes; otherwise errno, with an error line. Later writes
  /// are still tried.
  int sync();

  std::int64_t pos() const override;
  void seek(std::int64_t position) override;

  /// Moves forward by `count` bytes without reading them. False, with the position unchanged, when
  /// the file is not a regular file or ends before.
  bool skip(std::int64_t count);

  /// The size in bytes of the open file on disk, or -1 when no file is open.
  std::int64_t getSize() const;

  /// Whether the open file is a regular file, which has a size and can be sought.
  bool isRegular() const { return isOpen() && regular_; }

  /// errno of the last read that failed, 0 when none has failed since open().
  int readError() const { return readError_; }

  /// errno of the write or seek that failed, 0 when none has failed since open() or seek().
  int writeError() const { return writeError_; }

  /// Sets the name of the open file in messages, in place of its own; empty for its own.
  void setShownName(const std::string& name) { shownName_ = name; }

  /// Truncates a file open for writing to `size` bytes; the current position does not change. False
  /// on failure.
  bool truncate(std::int64_t size);

  /// Reserves disk space up to offset `end`, without changing the size of the file; truncate()
  /// frees what was not needed. False when the file system does not support it or has not enough
  /// space.
  bool reserve(std::int64_t end);

 private:
  template <class OpenDescriptor>
  bool openWith(const std::string& name, bool reading, OpenDescriptor openDescriptor);
  int readBeyondBuffer(char* destination, int count);
  int writeBeyondBuffer(const char* source, int count);
  bool fillBuffer();
  std::size_t readFromDisk(char* destination, std::size_t size);
  std::size_t writeToDisk(const char* source, std::size_t size);
  void report(const char* function, const char* operation, int error);

  /// Buffered reads start with kSmallestRead bytes and double up to kLargestRead, so that a seek
  /// discards little. Larger reads bypass the buffer.
  static constexpr std::size_t kSmallestRead = 512;
  static constexpr std::size_t kLargestRead = std::size_t{256} << 10;

  std::string name_;
  std::string shownName_;  ///< in messages; empty for name_
  int descriptor_ = -1;
  bool reading_ = true;
  bool regular_ = false;
  bool created_ = false;        ///< by openOwn()
  std::int64_t knownSize_ = 0;  ///< of a regular file when it was last asked for
  int readError_ = 0;
  bool lastReadFailed_ = false;
  int writeError_ = 0;
  int reportedError_ = 0;  ///< the error that the last error line reported
  std::unique_ptr<char[]> buffer_;
  std::size_t capacity_ = 0;  ///< size of buffer_
  std::size_t nextRead_ = kSmallestRead;
  std::size_t limit_ = 0;  ///< writing: usable bytes of buffer_, 0 after a failed write
  std::size_t begin_ = 0;  ///< reading: the first byte in buffer_ not yet returned; writing: 0
  std::size_t end_ = 0;    ///< the end of the bytes in buffer_
  std::int64_t diskPosition_ = 0;  ///< where the next system call reads or writes
};

}  // namespace ferrun
