#include "make_survey/route.h"

#include <algorithm>
#include <cmath>

#include "make_survey/streets.h"

namespace {

using Eigen::AngleAxisd;
using Eigen::Isometry3d;
using Eigen::Vector3d;

constexpr double kStartTime = 1782036000;  // 2026-06-21, 10:00 UTC
constexpr double kSweepTime = 0.1;         // seconds
constexpr double kSweepsPerLoop = 300;     // at 11 m/s
constexpr double kScannerHeight = 1.9;     // metres

// How the odometry drifts: constant errors for each metre, and a random walk on top of them.
constexpr double kYawBias = 9e-5;    // radians a metre
constexpr double kTiltBias = 3e-6;   // radians a metre
constexpr double kTurnWalk = 2e-4;   // radians after the first metre
constexpr double kPlaceWalk = 4e-3;  // metres after the first metre
constexpr double kTooLong = 0.003;   // share by which distances are overrated

Pose rounded(const Isometry3d& transform) {
  return {transform.translation().cast<float>(),
          Eigen::Quaterniond(transform.rotation()).normalized().cast<float>()};
}

}  // namespace

Isometry3d Pose::transform() const {
  Isometry3d result = Isometry3d::Identity();
  result.linear() = rotation.cast<double>().toRotationMatrix();
  result.translation() = translation.cast<double>();
  return result;
}

Route::Route(std::uint32_t sweeps, std::uint64_t seed) : noise_(seed, 1) {
  const double loops = std::max(2.0, std::round(sweeps / kSweepsPerLoop));
  stepLength_ = loops * street::kLoop / sweeps;
  gyroBias_ = {noise_.normal(kTiltBias), noise_.normal(kTiltBias), kYawBias};
  truth_ = odometry_ = truePose(0);
}

SweepPoses Route::next() {
  const Isometry3d truth = truePose(sweep_ * stepLength_);
  if (sweep_ > 0) odometry_ = odometry_ * (truth_.inverse() * truth) * stepError(stepLength_);
  const double time = kStartTime + sweep_ * kSweepTime;
  const Vector3d velocity = (truth.translation() - truth_.translation()) / kSweepTime;
  truth_ = truth;
  ++sweep_;
  return {time, rounded(odometry_), rounded(truth), velocity.cast<float>()};
}

/// The vehicle follows the street, swings a little from side to side and shakes.
Isometry3d Route::truePose(double distance) const {
  const StreetPoint place = street::at(distance);
  const double swing = 0.35 * std::sin(distance / 13);
  const Vector3d position(place.position.x() - swing * std::sin(place.heading),
                          place.position.y() + swing * std::cos(place.heading),
                          kScannerHeight + 0.02 * std::sin(distance / 1.7));
  return Eigen::Translation3d(position) *
         AngleAxisd(place.heading + 0.027 * std::cos(distance / 13), Vector3d::UnitZ()) *
         AngleAxisd(0.008 * std::sin(distance / 2.3), Vector3d::UnitY()) *
         AngleAxisd(0.010 * std::sin(distance / 3.1), Vector3d::UnitX());
}

/// What the odometry adds to a step of `step` metres.
Isometry3d Route::stepError(double step) {
  const double walk = std::sqrt(step);
  const Vector3d turn = step * gyroBias_ + Vector3d(0, 0, noise_.normal(walk * kTurnWalk));
  const Vector3d shift(step * kTooLong + noise_.normal(walk * kPlaceWalk),
                       noise_.normal(walk * kPlaceWalk), noise_.normal(walk * kPlaceWalk));
  return Eigen::Translation3d(shift) * AngleAxisd(turn.norm(), turn.normalized());
}
