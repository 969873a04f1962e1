// The drive of the vehicle: where the scanner was, and where the odometry believed it was.
#pragma once

#include <cstdint>

#include <Eigen/Geometry>

#include "make_survey/noise.h"

/// A transform from the scanner's frame to the map, in the single precision of pose files.
struct Pose {
  Eigen::Vector3f translation;  ///< metres
  Eigen::Quaternionf rotation;

  Eigen::Isometry3d transform() const;
};

/// The poses of one sweep.
struct SweepPoses {
  double time;               ///< seconds since the Unix epoch
  Pose registered;           ///< as the odometry had it
  Pose optimised;            ///< the true one: what an optimisation that closes the loop finds
  Eigen::Vector3f velocity;  ///< metres a second, in the map
};

/// A drive of at least two loops, which ends where it began; the sweeps follow each other every
/// tenth of a second.
class Route {
 public:
  Route(std::uint32_t sweeps, std::uint64_t seed);

  /// The poses of the next sweep.
  SweepPoses next();

 private:
  Eigen::Isometry3d truePose(double distance) const;
  Eigen::Isometry3d stepError(double step);

  std::uint32_t sweep_ = 0;
  double stepLength_;  ///< metres between two sweeps
  Noise noise_;
  Eigen::Vector3d gyroBias_;    ///< radians for each metre
  Eigen::Isometry3d truth_;     ///< of the sweep before
  Eigen::Isometry3d odometry_;  ///< of the sweep before
};
