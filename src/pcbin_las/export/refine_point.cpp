#include "pcbin_las/export/refine_point.h"

#include "pcbin_las/platform/rate.h"
#include "pcbin_las/platform/trace_macros.h"

namespace {

constexpr float kWarningsPerSecond = 1.0F;

}  // namespace

PointRefiner::Rotation PointRefiner::rotation(const Eigen::Matrix3f& matrix) {
  Rotation result;
  for (int i = 0; i < 3; ++i) result.columns[static_cast<std::size_t>(i)] << matrix.col(i), 0;
  return result;
}

/// Takes up the poses of another sweep; false when it has none.
bool PointRefiner::selectSweep(std::uint32_t sweepid, unsigned i) {
  if (sweepid >= msg_.pgoPoses.size()) {
    static ferrun::Rate rate(kWarningsPerSecond);
    if (rate.wakeup(0.0F)) TRACE_WARNING("write_las", "sweepid error(i:%u, %u)", i, sweepid);
    return false;
  }
  const norvo::PGOPoseStamped& lio = msg_.lioPoses[sweepid];
  const norvo::PGOPoseStamped& pgo = msg_.pgoPoses[sweepid];
  if (lio.id == norvo::kNoPose || pgo.id == norvo::kNoPose) {
    static ferrun::Rate rate(kWarningsPerSecond);
    if (rate.wakeup(0.0F))
      TRACE_WARNING("write_las", "sweepid error(%u, %u, %u)", sweepid, lio.id, pgo.id);
    return false;
  }
  sweep_ = sweepid;
  toSweep_ = rotation(lio.rotation.toRotationMatrix().transpose());
  toMap_ = rotation(pgo.rotation.toRotationMatrix());
  lioTranslation_ << lio.translation, 0;
  pgoTranslation_ << pgo.translation, 0;
  return true;
}

std::optional<Eigen::Vector3d> refinePoint(const norvo::PointRGBIST& point, unsigned i,
                                           const norvo::PGOResultMsg& msg) {
  return PointRefiner(msg).refine(point, i);
}
