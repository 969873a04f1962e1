// Memory for large buffers.
#pragma once

#include <cstddef>
#include <memory>

namespace ferrun {

struct FreeMemory {
  void operator()(void* memory) const;
};

/// Uninitialised memory that frees itself.
using LargeMemory = std::unique_ptr<char, FreeMemory>;

/// At least `size` bytes, rounded up to whole huge pages (2 MiB) and on such pages where the system
/// grants them: a pass over a buffer of small pages spends half its time on faults and address
/// translation. Null when there is no memory.
LargeMemory allocateLarge(std::size_t size);

}  // namespace ferrun
