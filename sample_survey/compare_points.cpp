// SPDX-License-Identifier: BSD-3-Clause
// Prints the distances between the points of two LAS files, pairing the points in file order.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iostream>

#include "las_points.h"

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "compare_points <truth.las> <map.las>\n";
    return 1;
  }
  LasPoints truth;
  LasPoints map;
  if (!truth.open(argv[1]) || !map.open(argv[2])) return 1;
  const Eigen::Vector3d offsetDifference = map.offset() - truth.offset();
  unsigned long long count = 0;
  double squares = 0;
  double worst = 0;
  while (true) {
    const auto expected = truth.next();
    const auto found = map.next();
    if (expected.has_value() != found.has_value()) {
      std::cerr << "the files have different numbers of points\n";
      return 1;
    }
    if (!expected) break;
    const double square =
        (map.position(*found) - truth.position(*expected) + offsetDifference).squaredNorm();
    squares += square;
    worst = std::max(worst, square);
    ++count;
  }
  if (count == 0) {
    std::cerr << "the files have no points\n";
    return 1;
  }
  std::printf("%llu points, distances: root mean square %.6f m, worst %.6f m\n", count,
              std::sqrt(squares / static_cast<double>(count)), std::sqrt(worst));
  return 0;
}
