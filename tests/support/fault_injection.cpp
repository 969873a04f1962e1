// SPDX-License-Identifier: BSD-3-Clause
#include "support/fault_injection.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <fcntl.h>
#include <mutex>
#include <new>
#include <sys/stat.h>
#include <unistd.h>

// The linker option --wrap directs calls of read() to __wrap_read(), and calls of __real_read() to
// the C library; likewise for the other functions. It prescribes the names.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
int __real_open(const char* name, int flags, ...);
ssize_t __real_read(int file, void* bytes, std::size_t size);
ssize_t __real_write(int file, const void* bytes, std::size_t size);
off_t __real_lseek(int file, off_t offset, int whence);
int __real_ftruncate(int file, off_t size);
int __real_close(int file);
}

namespace test {
namespace {

struct Injected {
  Fault fault{};  // number 0 for none
  std::atomic<unsigned> calls = 0;
};
std::array<Injected, 2> injected;
std::array<std::atomic<unsigned>, static_cast<std::size_t>(Call::kUnlink) + 1> counters;
std::atomic<bool> injecting = false;

/// Counts a call; true, with errno set, when it fails.
bool fails(Call call, int error, std::size_t size = 0) {
  if (!injecting) return false;
  ++counters[static_cast<std::size_t>(call)];
  bool failed = false;
  for (Injected& each : injected) {
    const Fault& fault = each.fault;
    if (fault.number == 0 || call != fault.call || size < fault.smallest) continue;
    const unsigned number = ++each.calls;
    if (number != fault.number && !(fault.forGood && number > fault.number)) continue;
    if (fault.kills) (void)raise(SIGKILL);
    failed = true;
  }
  if (failed) errno = error;
  return failed;
}

std::mutex mutex;  // guards the variables below

std::atomic<bool> faulty = false;
std::string faultyPath;
IoFaults ioFaults;
bool failsNext = false;

/// A change of the recorded file: bytes written at an offset, or a new size without bytes.
struct Change {
  std::int64_t offset;
  Bytes bytes;
};
std::atomic<bool> recording = false;
std::vector<Change> changes;
std::atomic<int> recorded = -1;  // the descriptor

bool isFaulty(int file) {
  struct stat own {};
  struct stat other {};
  return fstat(file, &own) == 0 && stat(faultyPath.c_str(), &other) == 0 &&
         own.st_dev == other.st_dev && own.st_ino == other.st_ino;
}

/// Reduces `size` to what a transfer of a faulty file may move; false, with errno set, when it
/// fails.
bool admit(int file, std::size_t& size, int errorAtEnd) {
  if (!faulty) return true;
  const std::lock_guard lock(mutex);
  if (!isFaulty(file)) return true;
  failsNext = !failsNext;
  const bool fails = ioFaults.everyOther != 0 && failsNext;
  const std::int64_t space =
      ioFaults.end - std::max<std::int64_t>(__real_lseek(file, 0, SEEK_CUR), 0);
  errno = fails ? ioFaults.everyOther : errorAtEnd;
  if (fails || space <= 0) return false;
  size = std::min({size, ioFaults.longestTransfer, static_cast<std::size_t>(space)});
  return true;
}

void record(int file, std::int64_t offset, const void* bytes, ssize_t size) {
  const std::lock_guard lock(mutex);
  if (recording && file == recorded && size >= 0)
    changes.push_back(
        {offset, Bytes(static_cast<const char*>(bytes), static_cast<std::size_t>(size))});
}

void apply(Bytes& file, const Change& change, std::size_t size) {
  const auto offset = static_cast<std::size_t>(change.offset);
  file.resize(change.bytes.empty() ? offset : std::max(file.size(), offset + size), '\0');
  file.replace(offset, size, change.bytes, 0, size);
}

}  // namespace

FaultInjection::FaultInjection(const std::vector<Fault>& faults) {
  for (auto& counter : counters) counter = 0;
  for (std::size_t i = 0; i < injected.size(); ++i) {
    injected[i].fault = i < faults.size() ? faults[i] : Fault{};
    injected[i].calls = 0;
  }
  injecting = true;
}

FaultInjection::~FaultInjection() {
  injecting = false;
}

bool FaultInjection::happened() {
  return injected[0].calls >= injected[0].fault.number;
}

unsigned FaultInjection::calls(Call call) {
  return counters[static_cast<std::size_t>(call)];
}

FaultyFile::FaultyFile(const std::string& path, const IoFaults& faults) {
  const std::lock_guard lock(mutex);
  faultyPath = path;
  ioFaults = faults;
  failsNext = false;
  faulty = true;
}

FaultyFile::~FaultyFile() {
  faulty = false;
}

WriteRecording::WriteRecording() {
  const std::lock_guard lock(mutex);
  changes.clear();
  recorded = -1;
  recording = true;
}

WriteRecording::~WriteRecording() {
  recording = false;
}

std::vector<Bytes> WriteRecording::states() {
  const std::lock_guard lock(mutex);
  std::vector<Bytes> states;
  Bytes file;
  for (const Change& change : changes) {
    const std::size_t size = change.bytes.size();
    const std::size_t step = size <= 300 ? 1 : size / 7;  // headers byte by byte
    for (std::size_t part = step; part < size; part += step) {
      states.push_back(file);
      apply(states.back(), change, part);
    }
    apply(file, change, size);
    states.push_back(file);
  }
  return states;
}

}  // namespace test

extern "C" {

int __wrap_open(const char* name, int flags, ...) {
  std::va_list values;
  va_start(values, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(values, mode_t) : 0;
  va_end(values);
  if (test::fails(test::Call::kOpen, EACCES)) return -1;
  const int file = __real_open(name, flags, mode);
  if (test::recording && file >= 0 && (flags & O_ACCMODE) != O_RDONLY) {
    test::recorded = file;
    test::record(file, 0, "", 0);
  }
  return file;
}

ssize_t __wrap_read(int file, void* bytes, std::size_t size) {
  if (test::fails(test::Call::kRead, EIO) || !test::admit(file, size, EIO)) return -1;
  return __real_read(file, bytes, size);
}

ssize_t __wrap_write(int file, const void* bytes, std::size_t size) {
  if (test::fails(test::Call::kWrite, ENOSPC) || !test::admit(file, size, ENOSPC)) return -1;
  const off_t offset = test::recording ? __real_lseek(file, 0, SEEK_CUR) : 0;
  const ssize_t done = __real_write(file, bytes, size);
  if (test::recording) test::record(file, offset, bytes, done);
  return done;
}

int __wrap_ftruncate(int file, off_t size) {
  if (test::fails(test::Call::kTruncate, EIO)) return -1;
  const int result = __real_ftruncate(file, size);
  if (test::recording) test::record(file, size, "", result);
  return result;
}

int __wrap_close(int file) {
  const int result = __real_close(file);
  return test::fails(test::Call::kClose, EIO) ? -1 : result;
}

#define PCBIN_WRAP(Result, function, parameters, arguments, call, error, failure)        \
  Result __real_##function parameters;                                                   \
  Result __wrap_##function parameters {                                                  \
    return test::fails(test::Call::call, error) ? failure : __real_##function arguments; \
  }
PCBIN_WRAP(off_t, lseek, (int file, off_t to, int from), (file, to, from), kSeek, EIO, -1)
PCBIN_WRAP(int, fallocate, (int file, int mode, off_t offset, off_t size),
           (file, mode, offset, size), kTruncate, ENOSPC, -1)
PCBIN_WRAP(int, fsync, (int file), (file), kSync, EIO, -1)
PCBIN_WRAP(int, fdatasync, (int file), (file), kSync, EIO, -1)
PCBIN_WRAP(int, rename, (const char* from, const char* to), (from, to), kRename, EIO, -1)
PCBIN_WRAP(int, unlink, (const char* name), (name), kUnlink, EIO, -1)
PCBIN_WRAP(int, renameat2, (int in, const char* from, int at, const char* to, unsigned flags),
           (in, from, at, to, flags), kRename, EIO, -1)

#define PCBIN_WRAP_ALLOCATION(Result, function, parameters, arguments, failure)            \
  Result __real_##function parameters;                                                     \
  Result __wrap_##function parameters {                                                    \
    return test::fails(test::Call::kAllocate, ENOMEM, size) ? failure                      \
                                                            : __real_##function arguments; \
  }
PCBIN_WRAP_ALLOCATION(void*, malloc, (std::size_t size), (size), nullptr)
PCBIN_WRAP_ALLOCATION(void*, realloc, (void* block, std::size_t size), (block, size), nullptr)
PCBIN_WRAP_ALLOCATION(void*, aligned_alloc, (std::size_t to, std::size_t size), (to, size), nullptr)
PCBIN_WRAP_ALLOCATION(int, posix_memalign, (void** block, std::size_t to, std::size_t size),
                      (block, to, size), ENOMEM)

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)

// The C++ library's own calls of malloc() do not pass the linker's wrapper; operator new does.
void* operator new(std::size_t size) {
  void* const block = std::malloc(std::max<std::size_t>(size, 1));
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {  // else a sanitizer's own
  return std::malloc(std::max<std::size_t>(size, 1));
}

void operator delete(void* block) noexcept {
  std::free(block);
}

void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}
