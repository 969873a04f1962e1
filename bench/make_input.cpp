// SPDX-License-Identifier: BSD-3-Clause
// Writes the input of a conversion: DIR/survey.pcbin and DIR/pgo.csv.
#include <cstdio>
#include <cstdlib>

#include "survey.h"

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: %s DIR SWEEPS POINTS_PER_SWEEP\n", argv[0]);
    return 2;
  }
  const std::string directory = argv[1];
  const auto sweeps = static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10));
  const auto points = static_cast<unsigned>(std::strtoul(argv[3], nullptr, 10));
  bench::writeSurvey(directory + "/survey.pcbin", sweeps, points);
  bench::writePoses(directory + "/pgo.csv", sweeps);
  return 0;
}
