// SPDX-License-Identifier: BSD-3-Clause
// A simulated spinning lidar with a camera that colours its points.
#pragma once

#include <vector>

#include <Eigen/Geometry>

#include "random.h"
#include "street.h"

constexpr double kSweepTime = 0.1;  ///< seconds from sweep to sweep

/// One return of the lidar.
struct LidarReturn {
  Eigen::Vector3d position;  ///< metres, in the lidar's frame
  Eigen::Vector3d colour;    ///< red, green and blue, 0 to 255
  double intensity;          ///< 0 to 255
  double time;               ///< seconds since the start of the sweep
};

/// The `count` returns of one sweep, taken at `pose` (from the lidar's frame to the map). The
/// azimuth decreases evenly; the elevation of each ray is random.
std::vector<LidarReturn> scan(const std::vector<Box>& street, const Eigen::Isometry3d& pose,
                              unsigned count, Random& random);
