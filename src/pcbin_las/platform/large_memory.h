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

/// At least `size` bytes. From 2 MiB on they are rounded up to whole huge pages, and stand on such
/// where the system grants them: a pass over a buffer of small pages spends half its time on faults
/// and address translation. Null when there is no memory.
LargeMemory allocateLarge(std::size_t size);

/// Has the system map `size` bytes of new memory at `memory` in one go, which takes a fraction of
/// the time of a fault for each page. Contents are kept. Only a wish, too.
void mapPages(void* memory, std::size_t size);

}  // namespace ferrun
