// Moves points from where the registration pose of their sweep put them to where the optimised pose
// does.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include <Eigen/Geometry>

#include "pcbin_las/export/poses.h"
#include "pcbin_las/storage/points.h"

/// Refines points by the poses of a survey, which must outlive it. The matrices of the last sweep
/// are kept, for the points of a sweep stand together. For use by one thread.
class PointRefiner {
 public:
  explicit PointRefiner(const norvo::PGOResultMsg& msg) : msg_(msg) {}

  /// The refined position of the point number `i` of its frame: R_P · R_Lᵀ · (p − t_L) + t_P with
  /// the registration pose L and the optimised pose P of its sweep, computed in single precision
  /// with rotation matrices of quaternions taken as they are; the position itself when no pose was
  /// loaded. Nothing, with a warning at most once a second, when the sweep has no pose.
  std::optional<Eigen::Vector3d> refine(const norvo::PointRGBIST& point, unsigned i) {
    if (msg_.pgoPoses.empty()) return Eigen::Vector3d(point.x, point.y, point.z);
    if (point.sweepid != sweep_ && !selectSweep(point.sweepid, i)) return std::nullopt;
    const Column inSweep = toSweep_ * (Eigen::Map<const Column>(point.data) - lioTranslation_);
    const Column refined = toMap_ * inSweep + pgoTranslation_;
    return refined.head<3>().cast<double>();
  }

 private:
  /// A vector, or a column of a matrix; the fourth number is not used.
  using Column = Eigen::Vector4f;

  /// A rotation as its three columns.
  struct Rotation {
    std::array<Column, 3> columns;

    Column operator*(const Column& v) const {
      return columns[0] * v[0] + columns[1] * v[1] + columns[2] * v[2];
    }
  };

  static Rotation rotation(const Eigen::Matrix3f& matrix);
  bool selectSweep(std::uint32_t sweepid, unsigned i);

  const norvo::PGOResultMsg& msg_;
  std::int64_t sweep_ = -1;  ///< the sweep that the members below belong to, -1 for none
  Rotation toSweep_;         ///< R_Lᵀ, from the map as registered to the sweep's frame
  Rotation toMap_;           ///< R_P, from the sweep's frame to the map as optimised
  Column lioTranslation_;    ///< t_L
  Column pgoTranslation_;    ///< t_P
};

/// The refinement of one point on its own.
std::optional<Eigen::Vector3d> refinePoint(const norvo::PointRGBIST& point, unsigned i,
                                           const norvo::PGOResultMsg& msg);
