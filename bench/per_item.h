// SPDX-License-Identifier: BSD-3-Clause
// Counters of the step benchmarks.
#pragma once

#include <cstdint>

#include <benchmark/benchmark.h>

namespace bench {

/// Adds a column with the seconds per item.
inline void reportPerItem(benchmark::State& state, const char* column, std::int64_t items) {
  state.counters[column] = benchmark::Counter(
      static_cast<double>(items), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

}  // namespace bench
