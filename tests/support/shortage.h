// Shortage of memory.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

namespace test {

/// Large blocks are always mapped and unmapped one by one: none is had from memory freed earlier.
inline const int kLargeBlocksAreMapped = mallopt(M_MMAP_THRESHOLD, 1 << 20);

/// The process gets hardly more memory than it has while the object lives. Sanitizers and emulators
/// know no such limit.
class LittleMemory {
 public:
  explicit LittleMemory(std::uint64_t spareBytes) {
    // The sixth number: pages of data and stack. Unlike the whole address space these leave out
    // what the allocator has reserved for threads and could use under the limit.
    std::uint64_t pages = 0;
    std::ifstream statistics("/proc/self/statm");
    for (int field = 0; field < 6; ++field) statistics >> pages;
    getrlimit(RLIMIT_DATA, &former_);
    rlimit limit = former_;
    limit.rlim_cur = pages * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE)) + spareBytes;
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    setrlimit(RLIMIT_DATA, &limit);
    void* const tooMuch = std::malloc(spareBytes + (std::size_t{1} << 30));
    works_ = tooMuch == nullptr;
    std::free(tooMuch);
#endif
  }
  LittleMemory(const LittleMemory&) = delete;
  LittleMemory& operator=(const LittleMemory&) = delete;
  ~LittleMemory() {
    setrlimit(RLIMIT_DATA, &former_);
  }

  /// Whether the limit holds here.
  bool works() const {
    return works_;
  }

 private:
  rlimit former_{};
  bool works_ = false;
};

}  // namespace test
