#include "support/faulty_io.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <mutex>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace test {
namespace {

// Other threads and static objects call read() and write() at any time; most calls read only this.
std::atomic<bool> active = false;

std::mutex mutex;  // guards the variables below
std::string faultyPath;
IoFaults faults;
bool failsNext = false;

bool isFaulty(int descriptor) {
  struct stat status {};
  struct stat faulty {};
  return fstat(descriptor, &status) == 0 && stat(faultyPath.c_str(), &faulty) == 0 &&
         status.st_dev == faulty.st_dev && status.st_ino == faulty.st_ino;
}

/// Reduces `size` to what the call may transfer; false, with errno set, when it fails.
bool admit(int descriptor, std::size_t& size, int errorAtEnd) {
  const std::lock_guard lock(mutex);
  if (!isFaulty(descriptor)) return true;
  failsNext = !failsNext;
  const bool fails = faults.everyOther != 0 && failsNext;
  const std::int64_t space = faults.end - std::max<std::int64_t>(lseek(descriptor, 0, SEEK_CUR), 0);
  errno = fails ? faults.everyOther : errorAtEnd;
  if (fails || space <= 0) return false;
  size = std::min({size, faults.longestTransfer, static_cast<std::size_t>(space)});
  return true;
}

}  // namespace

FaultyFile::FaultyFile(const std::string& path, const IoFaults& newFaults) {
  const std::lock_guard lock(mutex);
  faultyPath = path;
  faults = newFaults;
  failsNext = false;
  active = true;
}

FaultyFile::~FaultyFile() {
  active = false;
}

}  // namespace test

extern "C" ssize_t read(int descriptor, void* bytes, std::size_t size) {
  if (test::active && !test::admit(descriptor, size, EIO)) return -1;
  return syscall(SYS_read, descriptor, bytes, size);
}

extern "C" ssize_t write(int descriptor, const void* bytes, std::size_t size) {
  if (test::active && !test::admit(descriptor, size, ENOSPC)) return -1;
  return syscall(SYS_write, descriptor, bytes, size);
}
