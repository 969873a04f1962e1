// SPDX-License-Identifier: BSD-3-Clause
// The bounds of point records, and the header fields that describe the records of a file.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "pcbin_las/las/las_records.h"

namespace pontra {

/// The lowest and highest X, Y and Z of some records, in scale-factor steps.
struct StepBounds {
  std::array<std::int32_t, 3> low = {kHighest, kHighest, kHighest};
  std::array<std::int32_t, 3> high = {kLowest, kLowest, kLowest};

  void widen(const LasPointRecord& record) {
    widen(0, record.x, record.x);
    widen(1, record.y, record.y);
    widen(2, record.z, record.z);
  }
  void widen(const StepBounds& other) {
    for (std::size_t axis = 0; axis < 3; ++axis) widen(axis, other.low[axis], other.high[axis]);
  }

  void widen(std::size_t axis, std::int32_t lowest, std::int32_t highest) {
    low[axis] = std::min(low[axis], lowest);
    high[axis] = std::max(high[axis], highest);
  }

 private:
  static constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
  static constexpr std::int32_t kHighest = std::numeric_limits<std::int32_t>::max();
};

/// Sets the counts and bounds of `header` to those of `count` records of return 1 with `bounds`.
void describeRecords(LasHeader& header, std::uint32_t count, const StepBounds& bounds);

}  // namespace pontra
