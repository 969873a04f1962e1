// SPDX-License-Identifier: BSD-3-Clause
// Angles.
#pragma once

#include <numbers>

/// An angle in radians, in degrees.
constexpr double inDegrees(double angle) {
  return angle * (180 / std::numbers::pi);
}
