// SPDX-License-Identifier: BSD-3-Clause
// Fuzzes both repairs with a LAS file.
#include "pcbin_las/app/las_repair.h"

#include <filesystem>
#include <optional>

#include "fuzz_input.h"
#include "pcbin_las/app/lossless_repair.h"
#include "support/bytes.h"

namespace {

/// The contents of the only new file, which is removed.
std::optional<std::string> takeNewFile(const std::string& path) {
  for (const auto& entry : std::filesystem::directory_iterator(fuzz::directory().path())) {
    if (entry.path() == path) continue;
    std::string contents = test::readFile(entry.path());
    std::filesystem::remove(entry.path());
    return contents;
  }
  return std::nullopt;
}

void checkRepair(const std::string& las) {
  const std::string path = fuzz::inputFile(las);
  las_repair(path);
  const auto repaired = takeNewFile(path);
  if (!repaired) return;
  fuzz::require(repaired->size() >= 227 && repaired->size() <= las.size());
  const std::size_t begin = test::at<std::uint32_t>(las, 96);
  fuzz::require(repaired->size() ==
                begin + 34 * std::size_t{test::at<std::uint32_t>(*repaired, 107)});
  fuzz::require(repaired->substr(227, begin - 227) == las.substr(227, begin - 227));
}

void checkLosslessRepair(const std::string& las) {
  const std::string path = fuzz::inputFile(las);
  const int status = lossless_repair(path);
  const auto repaired = takeNewFile(path);
  fuzz::require(repaired.has_value() == (status == 0 || status == 1));
  if (!repaired) return;
  fuzz::require(status == 1 ? repaired->size() < las.size() : repaired->size() == las.size());
  const std::size_t header = test::at<std::uint8_t>(las, 25) == 4 ? 375 : 227;
  if (repaired->size() > header)
    fuzz::require(las.compare(header, repaired->size() - header, *repaired, header) == 0);
  fuzz::require(lossless_repair(fuzz::inputFile(*repaired)) == 0);
  fuzz::require(takeNewFile(path) == repaired);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::discardLines();
  const std::string las = fuzz::text(data, size);
  checkRepair(las);
  checkLosslessRepair(las);
  return 0;
}
