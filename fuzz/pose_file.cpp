// A pose file.
#include "pcbin_las/export/pose_file.h"

#include <sstream>

#include "fuzz_input.h"

namespace {

/// Whether a line may name a sweep whose poses would fill the memory: their lists are as long as
/// the largest id, by design. Ids beyond the limit are refused before, and may come.
bool namesDistantSweep(const std::string& file) {
  std::istringstream lines(file);
  for (std::string line; std::getline(lines, line);) {
    const unsigned long id = std::strtoul(line.substr(line.find(',') + 1).c_str(), nullptr, 10);
    if (id > 999 && id <= kLargestSweepId) return true;
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string file = fuzz::text(data, size);
  if (namesDistantSweep(file)) return 0;
  fuzz::discardLines();
  norvo::PGOResultMsg msg;
  fuzz::require(loadPgoFile(fuzz::inputFile(file), msg));
  fuzz::require(!msg.pgoPoses.empty() && msg.pgoPoses.size() == msg.lioPoses.size());
  for (std::uint32_t id = 0; id < msg.pgoPoses.size(); ++id) {
    fuzz::require(msg.pgoPoses[id].id == msg.lioPoses[id].id);
    fuzz::require(msg.pgoPoses[id].id == id || msg.pgoPoses[id].id == norvo::kNoPose);
  }
  norvo::PGOResultMsg strict;
  std::uint64_t skipped = 0;
  fuzz::require(loadPgoFileStrictly(fuzz::inputFile(file), strict, skipped));
  fuzz::require(strict.pgoPoses.size() <= msg.pgoPoses.size());
  return 0;
}
