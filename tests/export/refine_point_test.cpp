// SPDX-License-Identifier: BSD-3-Clause
// Moves points from registration to optimised poses; points without a pose.
#include "pcbin_las/export/refine_point.h"

#include <gmock/gmock.h>

#include "pcbin_las/platform/thread.h"
#include "support/log_lines.h"

namespace {

using Eigen::Vector3d;
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

TEST(RefinePoint, LeavesPointsWhereTheyAreWithoutPoses) {
  EXPECT_EQ(refinePoint(pointAt({0.1F, -1e30F, 3}, 4000000000), 0, {}),
            Vector3d(double{0.1F}, double{-1e30F}, 3));
}

TEST(RefinePoint, WarnsOfMissingPosesAtMostOnceASecond) {
  norvo::PGOResultMsg msg;
  msg.lioPoses = msg.pgoPoses = {stamped(0, kOrigin), {}, stamped(2, kOrigin)};
  for (const unsigned sweep : {1U, 3U}) refinePoint(pointAt({0, 0, 0}, sweep), 0, msg);
  const test::CapturedLines captured;
  ferrun::Thread::msleep(1050);  // the calls above have used up this second's warnings
  for (unsigned i = 40; i < 44; ++i) {
    EXPECT_FALSE(refinePoint(pointAt({0, 0, 0}, 3), i, msg));
    EXPECT_FALSE(refinePoint(pointAt({0, 0, 0}, 1), i, msg));
  }
  EXPECT_THAT(captured.lines(),
              testing::ElementsAre("<W>TIME [write_las,L#] sweepid error(i:40, 3)",
                                   "<W>TIME [write_las,L#] sweepid error(1, 4294967295, "
                                   "4294967295)"));
}

}  // namespace
