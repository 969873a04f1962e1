#include "support/fault_injection.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <fcntl.h>
#include <mutex>
#include <new>
#include <unistd.h>

namespace test {
namespace {

struct Counter {
  std::atomic<unsigned> calls = 0;
  std::atomic<unsigned> first = 0;  // number of the first that fails, 0 for none
  std::atomic<bool> forGood = false;
};
std::array<Counter, std::size(kEveryCall)> counters;
std::atomic<const Counter*> firstFault = nullptr;
std::atomic<bool> active = false;

bool fails(Call call) {
  if (!active) return false;
  Counter& counter = counters[static_cast<std::size_t>(call)];
  const unsigned number = ++counter.calls;
  const unsigned first = counter.first;
  return first != 0 && (counter.forGood ? number >= first : number == first);
}

bool fails(Call call, int error) {
  if (!fails(call)) return false;
  errno = error;
  return true;
}

/// A change of the recorded file: bytes written at an offset, or a new size without bytes.
struct Change {
  std::int64_t offset;
  Bytes bytes;
};

std::atomic<bool> recording = false;
std::mutex mutex;  // guards the variables below
std::vector<Change> changes;
int recorded = -1;  // the descriptor

void record(int descriptor, std::int64_t offset, const char* bytes, std::size_t size) {
  const std::lock_guard lock(mutex);
  if (recording && descriptor == recorded) changes.push_back({offset, Bytes(bytes, size)});
}

void apply(Bytes& file, const Change& change, std::size_t size) {
  const auto offset = static_cast<std::size_t>(change.offset);
  if (change.bytes.empty()) {
    file.resize(offset, '\0');
  } else {
    file.resize(std::max(file.size(), offset + size), '\0');
    file.replace(offset, size, change.bytes, 0, size);
  }
}

}  // namespace

FaultInjection::FaultInjection(const std::vector<Fault>& faults) {
  for (Counter& counter : counters) counter.calls = counter.first = 0;
  for (const Fault& fault : faults) {
    Counter& counter = counters[static_cast<std::size_t>(fault.call)];
    counter.first = fault.number;
    counter.forGood = fault.forGood;
  }
  firstFault = &counters[static_cast<std::size_t>(faults.at(0).call)];
  active = true;
}

FaultInjection::~FaultInjection() {
  active = false;
}

bool FaultInjection::happened() {
  const Counter* const counter = firstFault;
  return counter->calls >= counter->first;
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

// The linker option --wrap directs calls of read() to __wrap_read(), and calls of __real_read() to
// the C library; likewise for the other functions. It prescribes the names.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

int __real_open(const char* name, int flags, ...);
ssize_t __real_read(int descriptor, void* bytes, std::size_t size);
ssize_t __real_write(int descriptor, const void* bytes, std::size_t size);
off_t __real_lseek(int descriptor, off_t offset, int whence);
int __real_ftruncate(int descriptor, off_t size);
int __real_fallocate(int descriptor, int mode, off_t offset, off_t size);
int __real_fsync(int descriptor);
int __real_fdatasync(int descriptor);
int __real_close(int descriptor);
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* block, std::size_t size);
void* __real_aligned_alloc(std::size_t alignment, std::size_t size);
int __real_posix_memalign(void** block, std::size_t alignment, std::size_t size);

int __wrap_open(const char* name, int flags, ...) {
  std::va_list values;
  va_start(values, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(values, mode_t) : 0;
  va_end(values);
  if (test::fails(test::Call::kOpen, EACCES)) return -1;
  const int descriptor = __real_open(name, flags, mode);
  if (test::recording && descriptor >= 0 && (flags & O_ACCMODE) != O_RDONLY) {
    {
      const std::lock_guard lock(test::mutex);
      test::recorded = descriptor;
    }
    test::record(descriptor, 0, "", 0);
  }
  return descriptor;
}

ssize_t __wrap_read(int descriptor, void* bytes, std::size_t size) {
  return test::fails(test::Call::kRead, EIO) ? -1 : __real_read(descriptor, bytes, size);
}

ssize_t __wrap_write(int descriptor, const void* bytes, std::size_t size) {
  if (test::fails(test::Call::kWrite, ENOSPC)) return -1;
  const off_t offset = test::recording ? __real_lseek(descriptor, 0, SEEK_CUR) : 0;
  const ssize_t done = __real_write(descriptor, bytes, size);
  if (test::recording && done > 0)
    test::record(descriptor, offset, static_cast<const char*>(bytes),
                 static_cast<std::size_t>(done));
  return done;
}

off_t __wrap_lseek(int descriptor, off_t offset, int whence) {
  return test::fails(test::Call::kSeek, EIO) ? -1 : __real_lseek(descriptor, offset, whence);
}

int __wrap_ftruncate(int descriptor, off_t size) {
  if (test::fails(test::Call::kTruncate, EIO)) return -1;
  const int result = __real_ftruncate(descriptor, size);
  if (test::recording && result == 0) test::record(descriptor, size, "", 0);
  return result;
}

int __wrap_fallocate(int descriptor, int mode, off_t offset, off_t size) {
  if (test::fails(test::Call::kTruncate, ENOSPC)) return -1;
  return __real_fallocate(descriptor, mode, offset, size);
}

int __wrap_fsync(int descriptor) {
  return test::fails(test::Call::kSync, EIO) ? -1 : __real_fsync(descriptor);
}

int __wrap_fdatasync(int descriptor) {
  return test::fails(test::Call::kSync, EIO) ? -1 : __real_fdatasync(descriptor);
}

int __wrap_close(int descriptor) {
  const int result = __real_close(descriptor);
  return test::fails(test::Call::kClose, EIO) ? -1 : result;
}

void* __wrap_malloc(std::size_t size) {
  return test::fails(test::Call::kAllocate, ENOMEM) ? nullptr : __real_malloc(size);
}

void* __wrap_calloc(std::size_t count, std::size_t size) {
  return test::fails(test::Call::kAllocate, ENOMEM) ? nullptr : __real_calloc(count, size);
}

void* __wrap_realloc(void* block, std::size_t size) {
  return test::fails(test::Call::kAllocate, ENOMEM) ? nullptr : __real_realloc(block, size);
}

void* __wrap_aligned_alloc(std::size_t alignment, std::size_t size) {
  return test::fails(test::Call::kAllocate, ENOMEM) ? nullptr
                                                    : __real_aligned_alloc(alignment, size);
}

int __wrap_posix_memalign(void** block, std::size_t alignment, std::size_t size) {
  return test::fails(test::Call::kAllocate) ? ENOMEM
                                            : __real_posix_memalign(block, alignment, size);
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)

// The C++ library's own calls of malloc() do not pass the linker's wrapper; operator new does.
void* operator new(std::size_t size) {
  void* const block = std::malloc(std::max<std::size_t>(size, 1));
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void operator delete(void* block) noexcept {
  std::free(block);
}

void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}
