// Frames: the points of one lidar sweep, or of one coloured cloud, with their time.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include <Eigen/Geometry>
#include <pcl/point_cloud.h>

#include "pcbin_las/storage/eigen_alignment.h"
#include "pcbin_las/storage/points.h"

namespace norvo {

using IrtCloud = pcl::PointCloud<PointIRT>;
using RgbCloud = pcl::PointCloud<PointRGBIST>;

/// What lidar-inertial odometry found for one sweep, as the mapping pipeline hands it to a writer.
struct LioResultMsg {
  double timestamp = 0;  ///< seconds, on any clock; stored as the frame's time
  std::array<float, 4> rotation = {1, 0, 0, 0};  ///< w, x, y, z; from the sweep's frame to the map
  std::array<float, 3> translation = {0, 0, 0};  ///< metres, in the map
  std::shared_ptr<IrtCloud> cloud;               ///< the registered points of the sweep
};

}  // namespace norvo

namespace modeling_app {

/// One frame of lidar points with its odometry pose.
struct PclFrame {
  double timestamp = 0;                     ///< seconds, on any clock
  std::shared_ptr<norvo::IrtCloud> cloud;   ///< never null in a frame that was read
  Eigen::Quaternionf rotation{1, 0, 0, 0};  ///< from the frame to the map
  Eigen::Vector3f translation{0, 0, 0};     ///< metres, in the map
};

/// One frame of coloured points, which stand in the map already.
struct PclRGBFrame {
  double timestamp = 0;                    ///< seconds since the Unix epoch
  std::shared_ptr<norvo::RgbCloud> cloud;  ///< never null in a frame that was read
};

using PclFrames = std::vector<std::shared_ptr<PclFrame>>;
using PclRGBFrames = std::vector<std::shared_ptr<PclRGBFrame>>;

}  // namespace modeling_app
