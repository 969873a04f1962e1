// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/export/pose_checks.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <vector>

#include "pcbin_las/export/degrees.h"
#include "pcbin_las/export/median.h"
#include "pcbin_las/platform/trace_macros.h"

namespace {

using Eigen::Quaterniond;
using Eigen::Vector3d;
using norvo::PGOPoseStamped;

constexpr double kLargestRounding = 0.0002;  ///< of a norm; four digits stay below 0.0001
constexpr std::size_t kMostPoses = 4096;     ///< that are looked at
constexpr double kSmallestTilt = 10;         ///< degrees
constexpr double kTiltRatio = 1.5;           ///< to the tilt in the other order

/// The order in which the four numbers of a quaternion are stored.
enum class Order { kAsRead, kOther };  ///< w, x, y, z; x, y, z, w

Quaterniond inOrder(const Eigen::Quaternionf& q, Order order) {
  const Quaterniond read = q.cast<double>().normalized();
  return order == Order::kAsRead ? read : Quaterniond(read.z(), read.w(), read.x(), read.y());
}

double angle(const Vector3d& a, const Vector3d& b) {
  return inDegrees(std::atan2(a.cross(b).norm(), a.dot(b)));
}

/// Pairs of poses, the registration pose first: all, or a sample in equal steps.
using Pairs = std::vector<std::array<Eigen::Quaternionf, 2>>;

Pairs samplePoses(const norvo::PGOResultMsg& poses) {
  Pairs pairs;
  const std::size_t count = poses.pgoPoses.size();
  const std::size_t step = count / kMostPoses + 1;
  for (std::size_t i = 0; i < count; i += step) {
    const PGOPoseStamped& lio = poses.lioPoses[i];
    if (lio.id != norvo::kNoPose) pairs.push_back({lio.rotation, poses.pgoPoses[i].rotation});
  }
  return pairs;
}

/// The median angle in degrees between the up axes of the poses and their mean.
double medianTilt(const Pairs& pairs, std::size_t set, Order order) {
  std::vector<Vector3d> axes;
  Vector3d sum = Vector3d::Zero();
  for (const auto& pair : pairs)
    sum += axes.emplace_back(inOrder(pair[set], order) * Vector3d::UnitZ());
  std::vector<double> tilts;
  tilts.reserve(axes.size());
  for (const Vector3d& axis : axes) tilts.push_back(angle(axis, sum));
  return median(tilts);
}

/// The median angle in degrees by which the corrections tilt the map.
double medianCorrection(const Pairs& pairs, Order lioOrder, Order pgoOrder) {
  std::vector<double> tilts;
  for (const auto& [lio, pgo] : pairs) {
    const Quaterniond correction = inOrder(pgo, pgoOrder) * inOrder(lio, lioOrder).conjugate();
    tilts.push_back(angle(correction * Vector3d::UnitZ(), Vector3d::UnitZ()));
  }
  return median(tilts);
}

/// How far a set of quaternions tilts the scanner, in degrees.
struct Tilts {
  double asRead, other;
};

/// The tilts of a set that seems to be stored x, y, z, w: the scanner stays upright in that order
/// only, and the corrections tilt less. Nothing for other sets.
std::optional<Tilts> tiltsIfExchanged(const Pairs& pairs, std::size_t set) {
  const Tilts tilts = {medianTilt(pairs, set, Order::kAsRead),
                       medianTilt(pairs, set, Order::kOther)};
  if (tilts.asRead <= kSmallestTilt || tilts.asRead <= kTiltRatio * tilts.other)
    return std::nullopt;
  const double asRead = medianCorrection(pairs, Order::kAsRead, Order::kAsRead);
  const double oneOther = set == 0 ? medianCorrection(pairs, Order::kOther, Order::kAsRead)
                                   : medianCorrection(pairs, Order::kAsRead, Order::kOther);
  const double bothOther = medianCorrection(pairs, Order::kOther, Order::kOther);
  if (asRead <= std::min(oneOther, bothOther)) return std::nullopt;
  return tilts;
}

void checkOrder(const std::string& pgoPath, const norvo::PGOResultMsg& poses) {
  const Pairs pairs = samplePoses(poses);
  if (pairs.empty()) return;
  const auto ofLio = tiltsIfExchanged(pairs, 0);
  const auto ofPgo = tiltsIfExchanged(pairs, 1);
  if (!ofLio && !ofPgo) return;
  const auto [tilt, other] = ofLio ? *ofLio : *ofPgo;
  TRACE_WARNING(
      "plausibility",
      "pgo file(%s): the %s quaternions tilt the scanner by %.1f degrees, by %.1f if they "
      "are stored x, y, z, w: write them in the order w, x, y, z!",
      pgoPath.c_str(),
      !ofLio   ? "optimised"
      : !ofPgo ? "registration"
               : "registration and the optimised",
      tilt, other);
}

void checkUnits(const std::string& pgoPath, const PoseFileReport& report) {
  if (report.notUnit == 0) return;
  TRACE_WARNING(
      "plausibility",
      "pgo file(%s): lines with a quaternion whose norm is not 1: %llu, the first is line "
      "%u (%.6g); they distort the points, write unit quaternions!",
      pgoPath.c_str(), static_cast<unsigned long long>(report.notUnit), report.firstNotUnit,
      report.normOfFirst);
}

bool hasMoreThanThreeDecimals(double value) {
  return std::abs(value * 1e3 - std::round(value * 1e3)) > 1e-6;
}

bool looksLikeDegrees(const Vector3d& offset) {
  const double x = std::abs(offset.x());
  const double y = std::abs(offset.y());
  return std::max(x, y) <= 180 && std::min(x, y) <= 90 && std::max(x, y) > 0 &&
         (hasMoreThanThreeDecimals(x) || hasMoreThanThreeDecimals(y));
}

void checkOffset(const std::string& pgoPath, const PoseFileReport& report, const Vector3d& offset) {
  if (report.newOffsets > 0)
    TRACE_WARNING(
        "plausibility",
        "pgo file(%s): lines whose offset is not that of the line before: %llu, the first "
        "is line %u (%s); the last one holds, write one offset or use --offset!",
        pgoPath.c_str(), static_cast<unsigned long long>(report.newOffsets), report.firstNewOffset,
        report.firstOffsetChange.c_str());
  if (looksLikeDegrees(offset))
    TRACE_WARNING("plausibility",
                  "the offset %.8g %.8g looks like degrees: write easting and northing in metres!",
                  offset.x(), offset.y());
}

}  // namespace

bool isDamaged(double norm) {
  return !(norm >= 0.5 && norm <= 2);
}

bool isNotUnit(double norm) {
  return !(std::abs(norm - 1) <= kLargestRounding);
}

void checkPoses(const std::string& pgoPath, const PoseFileReport& report,
                const norvo::PGOResultMsg& poses) {
  checkUnits(pgoPath, report);
  checkOrder(pgoPath, poses);
  checkOffset(pgoPath, report, poses.offset);
}
