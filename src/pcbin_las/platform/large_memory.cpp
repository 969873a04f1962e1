#include "pcbin_las/platform/large_memory.h"

#include <cstdlib>
#include <memory>
#include <sys/mman.h>

namespace ferrun {

void FreeMemory::operator()(void* memory) const {
  std::free(memory);
}

LargeMemory allocateLarge(std::size_t size) {
  constexpr std::size_t kHugePage = std::size_t{2} << 20;
  if (size < kHugePage) return LargeMemory(static_cast<char*>(std::malloc(size > 0 ? size : 1)));
  const std::size_t rounded = (size + kHugePage - 1) / kHugePage * kHugePage;
  LargeMemory memory(static_cast<char*>(std::aligned_alloc(kHugePage, rounded)));
  if (memory) ::madvise(memory.get(), rounded, MADV_HUGEPAGE);  // a wish; small pages do as well
  return memory;
}

void mapPages(void* memory, std::size_t size) {
  constexpr std::size_t kPage = 4096;
  void* first = memory;
  if (std::align(kPage, kPage, first, size) != nullptr)
    ::madvise(first, size / kPage * kPage, MADV_POPULATE_WRITE);
}

}  // namespace ferrun
