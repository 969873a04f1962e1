// Times and counters of the benchmark programs.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <vector>

#include <benchmark/benchmark.h>

namespace bench {

/// Seconds on a clock that only runs forward.
inline double now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

/// The middle one of `values`, which must not be empty.
inline double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/// Adds a column with the seconds that each of `items` items took.
inline void reportPerItem(benchmark::State& state, const char* column, std::int64_t items) {
  state.counters[column] = benchmark::Counter(
      static_cast<double>(items), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

}  // namespace bench
