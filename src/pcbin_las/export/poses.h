// SPDX-License-Identifier: BSD-3-Clause
// The poses of a survey's sweeps.
#pragma once

#include <cstdint>
#include <vector>

#include <Eigen/Geometry>

namespace norvo {

/// The id of a record without a pose.
constexpr std::uint32_t kNoPose = 0xFFFFFFFF;

/// One pose of one sweep: a transform from the sweep's frame to the map.
struct PGOPoseStamped {
  double timestamp = 0;                     ///< seconds, as in the pose file
  std::uint32_t id = kNoPose;               ///< of the sweep
  Eigen::Vector3f translation{0, 0, 0};     ///< metres
  Eigen::Vector3f aux1{0, 0, 0};            ///< not used
  Eigen::Quaternionf rotation{0, 0, 0, 0};  ///< unit quaternion, used without normalisation
  Eigen::Vector3f aux2{0, 0, 0};            ///< not used
};

/// All poses of a survey. The index of a pose is its sweep id. Both lists have the same length; at
/// each index, both contain a pose of that id or neither does.
struct PGOResultMsg {
  std::vector<PGOPoseStamped> lioPoses;  ///< registration poses, which placed the stored points
  std::vector<PGOPoseStamped> pgoPoses;  ///< optimised poses
  std::vector<PGOPoseStamped> extras;    ///< always empty
  Eigen::Vector3d offset{0, 0, 0};       ///< of the map's origin; goes into the LAS header
};

}  // namespace norvo
