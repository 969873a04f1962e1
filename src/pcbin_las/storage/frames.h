// SPDX-License-Identifier: BSD-3-Clause
// Frames: the points of one lidar sweep, or one coloured cloud, with a time stamp.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include <Eigen/Geometry>
#include <pcl/point_cloud.h>

#include "pcbin_las/storage/eigen_alignment.h"
#include "pcbin_las/storage/points.h"

namespace norvo {

using IrtCloud = pcl::PointCloud<PointIRT>;
using RgbCloud = pcl::PointCloud<PointRGBIST>;

}  // namespace norvo

namespace modeling_app {

/// One frame of lidar points with its odometry pose.
struct PclFrame {
  double timestamp = 0;                     ///< seconds, on any clock
  std::shared_ptr<norvo::IrtCloud> cloud;   ///< never null in a frame that was read
  Eigen::Quaternionf rotation{1, 0, 0, 0};  ///< from the frame to the map
  Eigen::Vector3f translation{0, 0, 0};     ///< metres, in the map
};
static_assert(sizeof(PclFrame) == (kAlignedQuaternions ? 64 : 56) &&
              offsetof(PclFrame, rotation) == (kAlignedQuaternions ? 32 : 24) &&
              offsetof(PclFrame, translation) == (kAlignedQuaternions ? 48 : 40));

/// One frame of coloured points, whose coordinates are map coordinates.
struct PclRGBFrame {
  double timestamp = 0;                    ///< seconds since the Unix epoch
  std::shared_ptr<norvo::RgbCloud> cloud;  ///< never null in a frame that was read
};

using PclFrames = std::vector<std::shared_ptr<PclFrame>>;
using PclRGBFrames = std::vector<std::shared_ptr<PclRGBFrame>>;

}  // namespace modeling_app
