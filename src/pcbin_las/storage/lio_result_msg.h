// SPDX-License-Identifier: BSD-3-Clause
// The odometry result that a mapping pipeline passes to the writer.
#pragma once

#include <array>
#include <memory>

#include <pcl/point_cloud.h>

#include "pcbin_las/storage/points.h"

namespace norvo {

/// The result of lidar-inertial odometry for one sweep.
struct LioResultMsg {
  double timestamp = 0;  ///< seconds, on any clock; stored as the frame's time stamp
  std::array<float, 4> rotation = {1, 0, 0, 0};  ///< quaternion w, x, y, z: sweep's frame to map
  std::array<float, 3> translation = {0, 0,
                                      0};  ///< metres: position of the sweep's frame in the map
  /// The registered points of the sweep: in the map, metres. They are stored as they are.
  std::shared_ptr<pcl::PointCloud<PointIRT>> cloud;
};

}  // namespace norvo
