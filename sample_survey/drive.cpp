// SPDX-License-Identifier: BSD-3-Clause
#include "drive.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "street.h"

namespace {

using Eigen::AngleAxisd;
using Eigen::Isometry3d;
using Eigen::Vector3d;

constexpr double kLane = 2;           // metres from the centre line, and the radius of the turns
constexpr double kLidarHeight = 1.9;  // metres
constexpr double kOneWay = kStreetLength + std::numbers::pi * kLane;  // metres, with the turn

// Drift of the odometry: systematic errors per metre, and a random walk.
constexpr double kYawBias = 3e-4;        // radians per metre
constexpr double kScaleError = 0.003;    // metres per metre
constexpr double kYawWalk = 2e-4;        // radians, after one metre
constexpr double kPositionWalk = 0.004;  // metres, after one metre

/// The pose after `distance` metres: along y = -kLane, a half turn to the left, and back.
Isometry3d truePose(double distance) {
  const bool back = distance >= kOneWay;
  const double along = back ? distance - kOneWay : distance;
  const double angle = std::max(along - kStreetLength, 0.0) / kLane;
  const double swing = 0.2 * std::sin(distance / 13);
  Vector3d position(std::min(along, kStreetLength) + kLane * std::sin(angle),
                    swing - kLane * std::cos(angle), kLidarHeight);
  if (back) position.head<2>() = Eigen::Vector2d(kStreetLength, 0) - position.head<2>();
  return Eigen::Translation3d(position) *
         AngleAxisd(angle + (back ? std::numbers::pi : 0), Vector3d::UnitZ()) *
         AngleAxisd(0.010 * std::sin(distance / 3.1), Vector3d::UnitX());
}

}  // namespace

Drive::Drive(unsigned sweeps) : step_(2 * kOneWay / sweeps), poses_{truePose(0), truePose(0)} {}

SweepPoses Drive::next() {
  SweepPoses poses = poses_;
  distance_ += step_;
  poses_.optimised = truePose(distance_);
  const double walk = std::sqrt(step_);
  const auto shift = [&] { return random_.normal(walk * kPositionWalk); };
  const Vector3d error(step_ * kScaleError + shift(), shift(), shift());
  const double yawError = step_ * kYawBias + random_.normal(walk * kYawWalk);
  poses_.registered = poses.registered * (poses.optimised.inverse() * poses_.optimised) *
                      Eigen::Translation3d(error) * AngleAxisd(yawError, Vector3d::UnitZ());
  return poses;
}
