// Files of the operating system. No other code reads or writes them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "pcbin_las/platform/api.h"
#include "pcbin_las/platform/io_device.h"

namespace ferrun {

/// A buffered file, open for reading or for writing. Interrupted and short system calls are
/// continued. Use from one thread at a time.
///
/// A failed read or write (a full disk, for example) prints one error line with the file's name and
/// the system's reason; the same reason is not printed again. After a failed write all writes fail
/// with the same errno and change nothing, so that the file gets no gap, until seek() chooses a new
/// position.
class PCBIN_API File final : public IODevice {
 public:
  static constexpr int kRead = 0;   ///< an existing file, from its start
  static constexpr int kWrite = 4;  ///< a new file, or an existing one that is emptied

  /// Longest line that readLine() keeps, in bytes.
  static constexpr std::size_t kLongestLine = std::size_t{1} << 20;

  /// Whether a file of that name exists, of any kind.
  static bool exists(const std::string& name);

  /// Whether both names lead to the same existing file.
  static bool isSameFile(const std::string& name, const std::string& otherName);

  File() = default;
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  ~File() override { close(); }

  /// Opens the file `name` in mode kRead or kWrite. False, with errno set, when it cannot be
  /// opened, is a directory, there is no memory for its buffer, the mode is another one, or a file
  /// is open already. A failure to open for writing also prints an error line with the reason.
  bool open(const std::string& name, int mode) override;

  /// Opens `name` for writing like mode kWrite, but changes no file that is not the caller's own:
  /// follows no symbolic link, waits for no pipe, and empties the file only if it is a regular file
  /// with one name and not the file `input`. False, with an error line, otherwise.
  bool openOwn(const std::string& name, const std::string& input);

  void close() override;
  bool isOpen() const override { return descriptor_ >= 0; }

  int readData(char* destination, int count) override {
    if (count < 0 || static_cast<std::size_t>(count) > end_ - begin_)
      return readBeyondBuffer(destination, count);
    std::memcpy(destination, buffer_.get() + begin_, static_cast<std::size_t>(count));
    begin_ += static_cast<std::size_t>(count);
    return count;
  }

  /// Reads the next line into `line`, without its line break. Returns the number of bytes read,
  /// line break included; 0 at the end of the file, less on error. Drops what exceeds kLongestLine.
  /// Throws std::bad_alloc.
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

  /// Moves past `count` bytes without reading them. False, at the same position, when that cannot
  /// be done: the file is no regular file, or holds fewer bytes.
  bool skip(std::int64_t count);

  /// The size in bytes of the open file on disk, or -1 when no file is open.
  std::int64_t getSize() const;

  /// Whether the open file is a regular file: it has a size, and seek() works.
  bool isRegular() const { return isOpen() && regular_; }

  /// errno of the last read that failed, 0 when none has failed since open().
  int readError() const { return readError_; }

  /// errno of the write or seek that failed, 0 when none has failed since open() or seek().
  int writeError() const { return writeError_; }

  /// Cuts a file open for writing to `size` bytes; the current position stays. False on failure.
  bool truncate(std::int64_t size);

  /// Reserves disk space for the bytes from the end of those written so far to offset `end`. The
  /// size of the file stays; truncate() frees what was not needed. False when the file system
  /// refuses or cannot.
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

  /// Reads of the buffer begin with kSmallestRead bytes and double up to kLargestRead: after a seek
  /// or a large read, which goes past the buffer, little is read in vain.
  static constexpr std::size_t kSmallestRead = 512;
  static constexpr std::size_t kLargestRead = std::size_t{256} << 10;

  std::string name_;
  int descriptor_ = -1;
  bool reading_ = true;
  bool regular_ = false;
  int readError_ = 0;
  bool lastReadFailed_ = false;
  int writeError_ = 0;
  int reportedError_ = 0;  ///< the error that the last error line told
  std::unique_ptr<char[]> buffer_;
  std::size_t capacity_ = 0;  ///< size of buffer_
  std::size_t nextRead_ = kSmallestRead;
  std::size_t limit_ = 0;  ///< writing: how far buffer_ may be filled, 0 after a failed write
  std::size_t begin_ = 0;  ///< reading: the first byte in buffer_ not yet returned; writing: 0
  std::size_t end_ = 0;    ///< the end of the bytes in buffer_
  std::int64_t diskPosition_ = 0;  ///< where the next system call reads or writes
};

}  // namespace ferrun
