// SPDX-License-Identifier: BSD-3-Clause
// The drive of the sample survey: the true poses of the lidar and those of a drifting odometry.
#pragma once

#include <Eigen/Geometry>

#include "random.h"

/// The two poses of one sweep, transforms from the lidar's frame to the map.
struct SweepPoses {
  Eigen::Isometry3d registered;  ///< from the odometry
  Eigen::Isometry3d optimised;   ///< the true pose, as an ideal optimisation finds it
};

/// A drive down the street in the right-hand lane and back in the other one.
class Drive {
 public:
  explicit Drive(unsigned sweeps);

  /// The poses of the next sweep.
  SweepPoses next();

 private:
  double step_;  ///< metres from sweep to sweep
  double distance_ = 0;
  SweepPoses poses_;  ///< of the next sweep
  Random random_{2};
};
