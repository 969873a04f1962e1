// SPDX-License-Identifier: BSD-3-Clause
// Reads the points of a survey as a conversion does, without writing them.
#pragma once

#include <array>
#include <functional>
#include <span>
#include <string>

#include "pcbin_las/export/poses.h"

/// A point of a survey whose sweep has a pose. Metres, with the offset of the poses.
struct RefinedPoint {
  std::array<double, 3> registered;  ///< as the odometry placed it
  std::array<double, 3> refined;     ///< as the optimised poses place it
  std::array<std::uint8_t, 3> colour;
};

/// Passes the refined points of the pcbin file to `take`, one batch for each frame, up to the first
/// damage; those that are not finite are left out. False, with an error line, when the file cannot
/// be opened, at a read error, and when there is no memory for a frame.
bool passRefinedPoints(const std::string& pcbinPath, const norvo::PGOResultMsg& poses,
                       const std::function<void(std::span<const RefinedPoint>)>& take);
