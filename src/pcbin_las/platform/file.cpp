// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/platform/file.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <memory>
#include <new>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "pcbin_las/platform/retried.h"
#include "pcbin_las/platform/same_inode.h"
#include "pcbin_las/platform/trace_macros.h"

namespace ferrun {
namespace {

constexpr std::size_t kLargestTransfer = std::size_t{1} << 30;  // a system call moves < 2 GiB

/// open(2), continued after interruptions. Returns -1 with errno set on failure.
int openFile(const std::string& name, int flags) {
  return retried([&] { return ::open(name.c_str(), flags | O_CLOEXEC, 0666); });
}

/// Closes `descriptor`, reports `reason` through errno, and returns -1.
int refuse(int descriptor, int reason) {
  ::close(descriptor);
  errno = reason;
  return -1;
}

/// Opens a file that is not a directory; returns the descriptor, or -1 with errno set.
int openAny(const std::string& name, int flags) {
  const int descriptor = openFile(name, flags);
  struct stat status {};
  if (descriptor >= 0 && ::fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode))
    return refuse(descriptor, EISDIR);
  return descriptor;
}

/// The descriptor of File::openOwn(), or -1 with errno set. Sets `created` for a new file.
int openOwnFile(const std::string& name, const std::string& input, bool& created) {
  constexpr int kFlags = O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK;
  int descriptor = openFile(name, kFlags | O_EXCL);
  created = descriptor >= 0;
  if (created) return descriptor;
  if (errno == EEXIST) descriptor = openFile(name, kFlags);
  if (descriptor < 0) return -1;
  struct stat status {};
  struct stat other {};
  if (::fstat(descriptor, &status) != 0) return refuse(descriptor, errno);
  const bool isInput = ::stat(input.c_str(), &other) == 0 && sameInode(status, other);
  if (!S_ISREG(status.st_mode) || status.st_nlink != 1 || isInput)
    return refuse(descriptor, EEXIST);
  if (::ftruncate(descriptor, 0) != 0) return refuse(descriptor, errno);
  return descriptor;
}

}  // namespace

bool File::exists(const std::string& name) {
  struct stat status {};
  return ::stat(name.c_str(), &status) == 0;
}

bool File::isSameFile(const std::string& name, const std::string& otherName) {
  struct stat status {};
  struct stat other {};
  return ::stat(name.c_str(), &status) == 0 && ::stat(otherName.c_str(), &other) == 0 &&
         sameInode(status, other);
}

bool File::open(const std::string& name, int mode) {
  if (mode != kRead && mode != kWrite) {
    errno = EINVAL;
    return false;
  }
  const int flags = mode == kRead ? O_RDONLY : O_WRONLY | O_CREAT | O_TRUNC;
  return openWith(name, mode == kRead, [&] { return openAny(name, flags); });
}

bool File::openOwn(const std::string& name, const std::string& input) {
  return openWith(name, false, [&] { return openOwnFile(name, input, created_); });
}

bool File::openDescriptor(const std::string& name, int descriptor) {
  return openWith(name, false, [descriptor] {
    const int copy = ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
    return copy < 0 || ::lseek(copy, 0, SEEK_SET) == 0 ? copy : refuse(copy, errno);
  });
}

/// Prepares the buffer and opens the file with `openDescriptor`.
template <class OpenDescriptor>
bool File::openWith(const std::string& name, bool reading, OpenDescriptor openDescriptor) {
  if (isOpen()) {
    errno = EBUSY;
    return false;
  }
  reading_ = reading;
  capacity_ = reading_ ? kLargestRead : writeBufferSize_;
  nextRead_ = kSmallestRead;
  limit_ = reading_ ? 0 : capacity_;
  begin_ = end_ = 0;
  diskPosition_ = 0;
  created_ = false;
  readError_ = writeError_ = reportedError_ = 0;
  try {
    name_ = name;
    shownName_.clear();
    buffer_ = std::make_unique_for_overwrite<char[]>(capacity_);
    descriptor_ = openDescriptor();
  } catch (const std::bad_alloc&) {
    errno = ENOMEM;
  }
  if (descriptor_ >= 0) {
    struct stat status {};
    regular_ = ::fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode);
    knownSize_ = status.st_size;
    return true;
  }
  const int reason = errno;
  if (!reading_)
    TRACE_MEMBER_ERROR("File", "open", "file(%s) cannot be written: %s!", name.c_str(),
                       std::strerror(reason));
  buffer_.reset();
  errno = reason;
  return false;
}

void File::close() {
  if (!isOpen()) return;
  flush();
  if (::close(descriptor_) != 0 && !reading_ && writeError_ == 0 && errno != EINTR) {
    writeError_ = errno;
    report("close", "write", writeError_);
  }
  descriptor_ = -1;
  buffer_.reset();
  limit_ = begin_ = end_ = 0;
}

void File::discard() {
  struct stat own {};
  struct stat named {};
  const bool remove = created_ && ::fstat(descriptor_, &own) == 0 &&
                      ::lstat(name_.c_str(), &named) == 0 && sameInode(own, named);
  close();
  if (remove) ::unlink(name_.c_str());
}

/// Prints why an operation failed, once for each reason: a failing device fails repeatedly.
void File::report(const char* function, const char* operation, int error) {
  if (std::exchange(reportedError_, error) == error) return;
  TRACE_MEMBER_ERROR("File", function, "file(%s) %s error: %s!",
                     (shownName_.empty() ? name_ : shownName_).c_str(), operation,
                     std::strerror(error));
}

int File::readBeyondBuffer(char* destination, int count) {
  if (!isOpen() || !reading_ || count < 0) return -1;
  const auto wanted = static_cast<std::size_t>(count);
  std::size_t done = 0;
  while (done < wanted) {
    if (begin_ == end_) {
      if (wanted - done >= nextRead_) {
        done += readFromDisk(destination + done, wanted - done);
        nextRead_ = kSmallestRead;
        break;
      }
      if (!fillBuffer()) break;
    }
    const std::size_t piece = std::min(wanted - done, end_ - begin_);
    std::memcpy(destination + done, buffer_.get() + begin_, piece);
    begin_ += piece;
    done += piece;
  }
  return done == 0 && lastReadFailed_ ? -1 : static_cast<int>(done);
}

int File::readLine(std::string* line) {
  line->clear();
  if (!isOpen() || !reading_) return -1;
  std::size_t consumed = 0;
  bool ended = false;
  while (!ended && (begin_ < end_ || fillBuffer())) {
    const char* const first = buffer_.get() + begin_;
    const void* const lineBreak = std::memchr(first, '\n', end_ - begin_);
    ended = lineBreak != nullptr;
    const std::size_t piece =
        ended ? static_cast<std::size_t>(static_cast<const char*>(lineBreak) - first)
              : end_ - begin_;
    line->append(first, std::min(piece, kLongestLine - line->size()));
    begin_ += piece + (ended ? 1 : 0);
    consumed += piece + (ended ? 1 : 0);
  }
  if (consumed == 0) return lastReadFailed_ ? -1 : 0;
  return static_cast<int>(std::min<std::size_t>(consumed, INT_MAX));
}

/// Refills the buffer after all of it was read; false at the end of the file or on error.
bool File::fillBuffer() {
  begin_ = 0;
  end_ = readFromDisk(buffer_.get(), nextRead_);
  nextRead_ = std::min(2 * nextRead_, kLargestRead);
  return end_ > 0;
}

/// Reads `size` bytes, fewer at the end of the file or on error; returns the number of bytes read.
std::size_t File::readFromDisk(char* destination, std::size_t size) {
  std::size_t done = 0;
  lastReadFailed_ = false;
  while (done < size) {
    const ssize_t count =
        ::read(descriptor_, destination + done, std::min(size - done, kLargestTransfer));
    if (count > 0) {
      done += static_cast<std::size_t>(count);
    } else if (count == 0) {
      break;
    } else if (errno != EINTR) {
      readError_ = errno;
      lastReadFailed_ = true;
      report("readData", "read", readError_);
      break;
    }
  }
  diskPosition_ += static_cast<std::int64_t>(done);
  return done;
}

int File::writeBeyondBuffer(const char* source, int count) {
  if (!isOpen() || reading_ || count < 0) {
    errno = EBADF;
    return -1;
  }
  flush();
  const auto size = static_cast<std::size_t>(count);
  if (size >= limit_) return static_cast<int>(writeToDisk(source, size));
  std::memcpy(buffer_.get(), source, size);
  end_ = size;
  return count;
}

void File::flush() {
  if (reading_ || end_ == 0) return;
  writeToDisk(buffer_.get(), end_);
  end_ = 0;
}

int File::sync() {
  flush();
  if (!isOpen() || reading_) return EBADF;
  if (writeError_ != 0) return writeError_;
  if (retried([this] { return ::fsync(descriptor_); }) == 0) return 0;
  const int error = errno;
  if (error == EINVAL || error == ENOTSUP || error == EROFS) return 0;
  report("sync", "sync", error);
  return error;
}

/// Writes all `size` bytes unless a write fails or has failed; returns the number of bytes written.
std::size_t File::writeToDisk(const char* source, std::size_t size) {
  std::size_t done = 0;
  while (done < size && writeError_ == 0) {
    const ssize_t count =
        ::write(descriptor_, source + done, std::min(size - done, kLargestTransfer));
    if (count > 0) {
      done += static_cast<std::size_t>(count);
    } else if (count == 0 || errno != EINTR) {
      writeError_ = count == 0 ? ENOSPC : errno;
      limit_ = 0;
      report("writeData", "write", writeError_);
    }
  }
  diskPosition_ += static_cast<std::int64_t>(done);
  if (writeError_ != 0) errno = writeError_;
  return done;
}

std::int64_t File::pos() const {
  if (reading_) return diskPosition_ - static_cast<std::int64_t>(end_ - begin_);
  return diskPosition_ + static_cast<std::int64_t>(end_);
}

void File::seek(std::int64_t position) {
  if (!isOpen()) return;
  flush();
  writeError_ = 0;
  if (::lseek(descriptor_, position, SEEK_SET) >= 0) {  // a device may return another position
    begin_ = end_ = 0;
    nextRead_ = kSmallestRead;
    diskPosition_ = position;
    limit_ = reading_ ? 0 : capacity_;
    return;
  }
  writeError_ = errno;
  limit_ = 0;
  report("seek", "seek", writeError_);
}

bool File::skip(std::int64_t count) {
  const auto buffered = static_cast<std::int64_t>(end_ - begin_);
  if (reading_ && count >= 0 && count <= buffered) {
    begin_ += static_cast<std::size_t>(count);
    return true;
  }
  if (!reading_ || count < 0 || !isRegular()) return false;
  const std::int64_t position = pos();
  if (count > knownSize_ - position) knownSize_ = getSize();
  if (count > knownSize_ - position) return false;
  seek(position + count);
  return pos() == position + count;
}

std::int64_t File::getSize() const {
  struct stat status {};
  return isOpen() && ::fstat(descriptor_, &status) == 0 ? status.st_size : -1;
}

bool File::truncate(std::int64_t size) {
  flush();
  return retried([&] { return ::ftruncate(descriptor_, size); }) == 0;
}

bool File::reserve(std::int64_t end) {
  return retried([&] {
           return ::fallocate(descriptor_, FALLOC_FL_KEEP_SIZE, diskPosition_, end - diskPosition_);
         }) == 0;
}

}  // namespace ferrun
