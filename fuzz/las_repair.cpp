// SPDX-License-Identifier: BSD-3-Clause
// Fuzzes the repair with a LAS file.
#include "pcbin_las/app/las_repair.h"

#include <filesystem>

#include "fuzz_input.h"

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
