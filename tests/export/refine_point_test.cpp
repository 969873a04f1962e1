// SPDX-License-Identifier: BSD-3-Clause
// Moves points from registration to optimised poses.
#include "pcbin_las/export/refine_point.h"

#include <gmock/gmock.h>

namespace {

using Eigen::Vector3f;

constexpr float kHalfRoot = 0.70710678F;
constexpr float kRoot = 1.41421356F;

struct Pose {
  Vector3f translation{0, 0, 0};
  Eigen::Quaternionf rotation{1, 0, 0, 0};  // w, x, y, z
};

const Pose kOrigin;
const Eigen::Quaternionf kQuarterTurn{kHalfRoot, 0, 0, kHalfRoot};  // about z
const Eigen::Quaternionf kTwiceQuarterTurn{kRoot, 0, 0, kRoot};     // not of unit length
const Eigen::Quaternionf kThirdTurn{0.5F, 0.5F, 0.5F, 0.5F};        // x to y to z to x
const Eigen::Quaternionf kZero{0, 0, 0, 0};

norvo::PGOPoseStamped stamped(std::uint32_t id, const Pose& pose) {
  norvo::PGOPoseStamped result;
  std::tie(result.id, result.translation) = std::tie(id, pose.translation);
  result.rotation = pose.rotation;
  return result;
}

norvo::PointRGBIST pointAt(const Vector3f& position, std::uint32_t sweepid) {
  norvo::PointRGBIST point;
  std::tie(point.x, point.y, point.z) = std::tuple(position.x(), position.y(), position.z());
  point.sweepid = sweepid;
  return point;
}

TEST(RefinePoint, MovesPointsFromTheRegistrationPoseToTheOptimisedPose) {
  const struct {
    Pose lio, pgo;
    Vector3f point, refined;
  } cases[] = {
      {kOrigin, kOrigin, {1, 2, 3}, {1, 2, 3}},
      {{{7, 8, 9}}, {{7, 8, 9}}, {1, 2, 3}, {1, 2, 3}},
      {kOrigin, {{1, 2, 3}}, {5, 5, 5}, {6, 7, 8}},
      {kOrigin, {{0, 0, 0}, kQuarterTurn}, {1, 0, 0}, {0, 1, 0}},
      {{{10, 0, 0}, kQuarterTurn}, kOrigin, {10, 1, 0}, {1, 0, 0}},
      {kOrigin, {{0, 0, 0}, kThirdTurn}, {1, 2, 3}, {3, 1, 2}},
      {{{0, 0, 0}, kThirdTurn}, kOrigin, {1, 2, 3}, {2, 3, 1}},
      {{{1, 1, 1}, kThirdTurn}, {{0, 0, 10}, kQuarterTurn}, {2, 3, 4}, {-3, 2, 11}},
      {kOrigin, {{0, 0, 0}, kZero}, {1, 2, 3}, {1, 2, 3}},
      {kOrigin, {{0, 0, 0}, kTwiceQuarterTurn}, {1, 0, 0}, {-3, 4, 0}},
      {{{0, 0, 0}, kTwiceQuarterTurn}, kOrigin, {1, 0, 0}, {-3, -4, 0}},
  };
  for (const auto& c : cases) {
    norvo::PGOResultMsg msg;
    msg.lioPoses = {stamped(0, c.lio)};
    msg.pgoPoses = {stamped(0, c.pgo)};
    const auto refined = refinePoint(pointAt(c.point, 0), 0, msg);
    ASSERT_TRUE(refined);
    EXPECT_LT((*refined - c.refined.cast<double>()).norm(), 1e-5)
        << "case " << &c - cases << ": " << refined->transpose();
  }
}

}  // namespace
