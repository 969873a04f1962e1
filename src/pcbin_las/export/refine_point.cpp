// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/export/refine_point.h"

#include "pcbin_las/platform/trace_macros.h"
#include "pcbin_las/process/rate.h"

namespace {

constexpr float kWarningsPerSecond = 1.0F;

}  // namespace

bool selectSweep(std::uint32_t sweepid, unsigned i, const norvo::PGOResultMsg& msg,
                 SweepMotion& motion) {
  if (sweepid >= msg.pgoPoses.size()) {
    static ferrun::Rate rate(kWarningsPerSecond);
    if (rate.wakeup(0.0F)) TRACE_WARNING("write_las", "sweepid error(i:%u, %u)", i, sweepid);
    return false;
  }
  const norvo::PGOPoseStamped& lio = msg.lioPoses[sweepid];
  const norvo::PGOPoseStamped& pgo = msg.pgoPoses[sweepid];
  if (lio.id == norvo::kNoPose || pgo.id == norvo::kNoPose) {
    static ferrun::Rate rate(kWarningsPerSecond);
    if (rate.wakeup(0.0F))
      TRACE_WARNING("write_las", "sweepid error(%u, %u, %u)", sweepid, lio.id, pgo.id);
    return false;
  }
  motion.sweep = sweepid;
  motion.toSweep = lio.rotation.toRotationMatrix().transpose();
  motion.toMap = pgo.rotation.toRotationMatrix();
  motion.lioTranslation = lio.translation;
  motion.pgoTranslation = pgo.translation;
  return true;
}

std::optional<Eigen::Vector3d> refinePoint(const norvo::PointRGBIST& point, unsigned i,
                                           const norvo::PGOResultMsg& msg) {
  SweepMotion motion;
  const auto refined = refinePoint(point, i, msg, motion);
  if (!refined) return std::nullopt;
  const auto [x, y, z] = *refined;
  return Eigen::Vector3d(x, y, z);
}
