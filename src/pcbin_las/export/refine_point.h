// SPDX-License-Identifier: BSD-3-Clause
// Moves points from the registration pose of their sweep to the optimised pose.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include <Eigen/Geometry>

#include "pcbin_las/export/poses.h"
#include "pcbin_las/storage/points.h"

/// The transformation of the points of one sweep: o = R_P · R_Lᵀ · (p − t_L) + t_P, with the
/// registration pose L and the optimised pose P of the sweep. Computed in single precision; the
/// quaternions are used without normalisation.
struct SweepMotion {
  std::int64_t sweep = -1;         ///< id of the sweep, -1 for none
  Eigen::Matrix3f toSweep;         ///< R_Lᵀ, from the map as registered to the sweep's frame
  Eigen::Matrix3f toMap;           ///< R_P, from the sweep's frame to the map as optimised
  Eigen::Vector3f lioTranslation;  ///< t_L, metres
  Eigen::Vector3f pgoTranslation;  ///< t_P, metres

  /// The moved position of the point at (x, y, z), metres.
  std::array<float, 3> apply(float x, float y, float z) const {
    const std::array<float, 3> inSweep =
        rotated(toSweep, {x - lioTranslation[0], y - lioTranslation[1], z - lioTranslation[2]});
    const std::array<float, 3> inMap = rotated(toMap, inSweep);
    return {inMap[0] + pgoTranslation[0], inMap[1] + pgoTranslation[1],
            inMap[2] + pgoTranslation[2]};
  }

 private:
  /// Adds from left to right: another order rounds differently, and all machines and compilers must
  /// give the same bytes.
  static std::array<float, 3> rotated(const Eigen::Matrix3f& m, const std::array<float, 3>& v) {
    return {m(0, 0) * v[0] + m(0, 1) * v[1] + m(0, 2) * v[2],
            m(1, 0) * v[0] + m(1, 1) * v[1] + m(1, 2) * v[2],
            m(2, 0) * v[0] + m(2, 1) * v[1] + m(2, 2) * v[2]};
  }
};

/// Sets `motion` to that of the sweep `sweepid`. False, with `motion` unchanged and a warning at
/// most once a second, when the sweep has no pose in `msg`. `i` is the index of the point in its
/// frame, for the warning.
bool selectSweep(std::uint32_t sweepid, unsigned i, const norvo::PGOResultMsg& msg,
                 SweepMotion& motion);

/// The refined position in metres of `point`, which has the index `i` in its frame: moved by the
/// poses of its sweep, or unchanged when no poses were loaded. Nothing, with a warning at most once
/// a second, when the sweep has no pose.
std::optional<Eigen::Vector3d> refinePoint(const norvo::PointRGBIST& point, unsigned i,
                                           const norvo::PGOResultMsg& msg);

/// The same in single precision, as computed. `motion` keeps the transformation of the last sweep
/// between calls, because consecutive points mostly belong to one sweep.
inline std::optional<std::array<float, 3>> refinePoint(const norvo::PointRGBIST& point, unsigned i,
                                                       const norvo::PGOResultMsg& msg,
                                                       SweepMotion& motion) {
  if (msg.pgoPoses.empty()) return std::array<float, 3>{point.x, point.y, point.z};
  if (point.sweepid != motion.sweep && !selectSweep(point.sweepid, i, msg, motion))
    return std::nullopt;
  return motion.apply(point.x, point.y, point.z);
}
