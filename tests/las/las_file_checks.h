// SPDX-License-Identifier: BSD-3-Clause
// Checks of LAS files that the program has written.
#pragma once

#include <algorithm>
#include <limits>

#include <gtest/gtest.h>

#include "support/bytes.h"

namespace test {

/// Checks that `las` contains `count` whole records and nothing else, and that its header has this
/// count and their bounds: X × scale factor + offset of the lowest and the highest stored X, and so
/// on.
inline void expectWholeLas(const Bytes& las, std::size_t count) {
  ASSERT_EQ(las.size(), 227 + 34 * count);
  EXPECT_EQ(at<std::uint32_t>(las, 107), count);
  EXPECT_EQ(at<std::uint32_t>(las, 111), count);
  EXPECT_EQ(las.substr(115, 16), Bytes(16, '\0'));
  for (std::size_t axis = 0; axis < 3; ++axis) {
    double low = std::numeric_limits<double>::infinity();
    double high = -low;
    for (std::size_t k = 0; k < count; ++k) {
      const double coordinate =
          at<std::int32_t>(las, 227 + 34 * k + 4 * axis) * at<double>(las, 131 + 8 * axis) +
          at<double>(las, 155 + 8 * axis);
      low = std::min(low, coordinate);
      high = std::max(high, coordinate);
    }
    EXPECT_EQ(at<double>(las, 179 + 16 * axis), count > 0 ? high : 0) << "axis " << axis;
    EXPECT_EQ(at<double>(las, 187 + 16 * axis), count > 0 ? low : 0) << "axis " << axis;
  }
}

}  // namespace test
