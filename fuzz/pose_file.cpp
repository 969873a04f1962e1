// SPDX-License-Identifier: BSD-3-Clause
// Fuzzes the reading of pose files, tolerant and strict, and the checks of their poses.
#include "pcbin_las/export/pose_file.h"

#include "fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string file = fuzz::text(data, size);
  if (fuzz::namesDistantSweep(file)) return 0;
  fuzz::discardLines();
  norvo::PGOResultMsg msg;
  fuzz::require(loadPgoFile(fuzz::inputFile(file), msg));
  fuzz::require(!msg.pgoPoses.empty() && msg.pgoPoses.size() == msg.lioPoses.size());
  for (std::uint32_t id = 0; id < msg.pgoPoses.size(); ++id) {
    fuzz::require(msg.pgoPoses[id].id == msg.lioPoses[id].id);
    fuzz::require(msg.pgoPoses[id].id == id || msg.pgoPoses[id].id == norvo::kNoPose);
  }
  norvo::PGOResultMsg strict;
  PoseFileReport report;
  fuzz::require(loadPgoFile(fuzz::inputFile(file), strict, report));
  fuzz::require(strict.pgoPoses.size() <= msg.pgoPoses.size());
  checkPoses(fuzz::inputFile(file), report, strict);
  return 0;
}
