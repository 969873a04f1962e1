// A LAS file through the repair.
#include "pcbin_las/app/las_repair.h"

#include <filesystem>

#include "fuzz_input.h"
#include "pcbin_las/platform/large_memory.h"

namespace ferrun {
namespace {

constexpr std::size_t kLarge = std::size_t{1} << 20;
void* block = nullptr;
std::size_t blockSize = 0;

}  // namespace

// All of large_memory.cpp is replaced: there is one large block for all runs. The address sanitizer
// would spend nearly all its time on marking 32 MiB used and unused.
LargeMemory allocateLarge(std::size_t size) {
  if (size < kLarge) return LargeMemory(static_cast<char*>(std::malloc(size)));
  if (block == nullptr) block = std::malloc(blockSize = size);
  fuzz::require(size == blockSize);
  return LargeMemory(static_cast<char*>(block));
}

void FreeMemory::operator()(void* memory) const {
  if (memory != block) std::free(memory);
}

void mapPages(void* /*memory*/, std::size_t /*size*/) {}

}  // namespace ferrun

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::discardLines();
  const std::string las = fuzz::text(data, size);
  const std::string path = fuzz::inputFile(las);
  las_repair(path);
  for (const auto& entry : std::filesystem::directory_iterator(fuzz::directory().path())) {
    if (entry.path() == path) continue;
    const std::string repaired = test::readFile(entry.path());
    fuzz::require(repaired.size() >= 227 && repaired.size() <= las.size());
    fuzz::require(repaired.size() ==
                  227 + 34 * std::size_t{test::at<std::uint32_t>(repaired, 107)});
    std::filesystem::remove(entry.path());
  }
  return 0;
}
