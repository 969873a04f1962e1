#include "support/faulty_io.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <mutex>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

namespace test {
namespace {

// Other threads and static objects call read() and write() at any time, so most calls see only
// this.
std::atomic<bool> active = false;

struct Plan {
  std::mutex mutex;
  std::string path;
  IoFaults faults;
  bool fails = false;  ///< the next call gives faults.everyOther
};

Plan& plan() {
  static Plan instance;
  return instance;
}

bool isFaulty(int descriptor) {
  struct stat status {};
  struct stat faulty {};
  return fstat(descriptor, &status) == 0 && stat(plan().path.c_str(), &faulty) == 0 &&
         status.st_dev == faulty.st_dev && status.st_ino == faulty.st_ino;
}

/// Cuts `size` down to what the call may move; false, with errno set, when it fails.
bool admit(int descriptor, std::size_t& size, int errorAtEnd) {
  std::unique_lock lock(plan().mutex);
  if (!isFaulty(descriptor)) return true;
  const IoFaults faults = plan().faults;
  plan().fails = !plan().fails;
  const bool fails = faults.everyOther != 0 && plan().fails;
  lock.unlock();

  std::this_thread::sleep_for(faults.delay);
  const std::int64_t room = faults.end - std::max<std::int64_t>(lseek(descriptor, 0, SEEK_CUR), 0);
  errno = fails ? faults.everyOther : errorAtEnd;
  if (fails || room <= 0) return false;
  size = std::min({size, faults.longestTransfer, static_cast<std::size_t>(room)});
  return true;
}

}  // namespace

FaultyFile::FaultyFile(const std::string& path, const IoFaults& faults) {
  const std::lock_guard lock(plan().mutex);
  plan().path = path;
  plan().faults = faults;
  plan().fails = false;
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
