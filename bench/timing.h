// SPDX-License-Identifier: BSD-3-Clause
// The clock and the median of the benchmark programs.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <vector>

namespace bench {

/// Seconds on a monotonic clock.
inline double now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

/// The median of `values`; 0 when there are none.
inline double median(std::vector<double> values) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  const std::size_t middle = values.size() / 2;
  return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

}  // namespace bench
