// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/export/plausibility.h"

#include <algorithm>
#include <cmath>

#include "pcbin_las/export/degrees.h"
#include "pcbin_las/export/median.h"
#include "pcbin_las/export/refine_point.h"
#include "pcbin_las/export/time_check.h"
#include "pcbin_las/platform/trace_macros.h"

namespace {

using Eigen::AlignedBox3d;
using Eigen::Quaterniond;
using Eigen::Vector3d;
using Point = PointSample::Point;

constexpr std::size_t kFewestPerFrame = 8;
constexpr std::size_t kMostPerFrame = 1024;
constexpr std::size_t kPointsPerSample = 256;
constexpr std::size_t kMostPoints = 32768;
constexpr double kLongestRange = 6000;  ///< metres
constexpr double kLargestSpread = 3;    ///< of the registration positions, to that of the points

/// The points of a sample that have a pose and finite coordinates, sorted by sweep.
std::vector<Point> posedPoints(const PointSample& sample, const norvo::PGOResultMsg& poses) {
  std::vector<Point> points;
  for (const Point& point : sample.points()) {
    if (point.sweepid < poses.lioPoses.size() &&
        poses.lioPoses[point.sweepid].id != norvo::kNoPose &&
        std::isfinite(point.x + point.y + point.z))
      points.push_back(point);
  }
  std::ranges::stable_sort(points, {}, &Point::sweepid);
  return points;
}

double diagonal(const AlignedBox3d& box) {
  return box.diagonal().norm();
}

void checkRange(const std::vector<Point>& points, const norvo::PGOResultMsg& poses) {
  std::vector<double> ranges;
  AlignedBox3d pointBox;
  AlignedBox3d positionBox;
  for (const Point& point : points) {
    const Vector3d position = poses.lioPoses[point.sweepid].translation.cast<double>();
    const Vector3d place(point.x, point.y, point.z);
    ranges.push_back((place - position).norm());
    pointBox.extend(place);
    positionBox.extend(position);
  }
  const double range = median(ranges);
  const double spread = diagonal(positionBox);
  const double extent = diagonal(pointBox);
  if (range > kLongestRange)
    TRACE_WARNING("plausibility",
                  "the points lie %.0f m from the registration poses of their sweeps (median of a "
                  "sample), out of a scanner's reach: check that the positions are in metres and "
                  "the poses those of this survey!",
                  range);
  else if (spread > kLargestSpread * extent)
    TRACE_WARNING("plausibility",
                  "the registration positions spread over %.1f m, the points over %.1f m (of a "
                  "sample): check that the positions are in metres and the poses those of this "
                  "survey!",
                  spread, extent);
}

Movement movementOf(const std::vector<Point>& points, const norvo::PGOResultMsg& poses) {
  Movement movement;
  std::vector<double> distances;
  SweepMotion motion;
  for (const Point& point : points) {
    if (point.sweepid != motion.sweep) {
      selectSweep(point.sweepid, 0, poses, motion);
      const Quaterniond turn =
          poses.pgoPoses[point.sweepid].rotation.cast<double>().normalized() *
          poses.lioPoses[point.sweepid].rotation.cast<double>().normalized().conjugate();
      const Vector3d up = turn * Vector3d::UnitZ();
      movement.turned = std::max(movement.turned,
                                 inDegrees(2 * std::atan2(std::abs(turn.z()), std::abs(turn.w()))));
      movement.tilted =
          std::max(movement.tilted, inDegrees(std::atan2(std::hypot(up.x(), up.y()), up.z())));
    }
    const auto [x, y, z] = motion.apply(point.x, point.y, point.z);
    distances.push_back(Vector3d(x - point.x, y - point.y, z - point.z).norm());
  }
  movement.median = median(distances);
  movement.most = *std::ranges::max_element(distances);
  return movement;
}

}  // namespace

void PointSample::add(std::span<const norvo::PointRGBIST> points) {
  const std::uint64_t frame = frames_++;
  if (frame % step_ != 0) return;
  const std::size_t size = points.size();
  const std::size_t count =
      std::min(size, std::clamp(size / kPointsPerSample, kFewestPerFrame, kMostPerFrame));
  for (std::size_t k = 0; k < count; ++k) {
    const norvo::PointRGBIST& point = points[k * (size - 1) / std::max<std::size_t>(count - 1, 1)];
    points_.push_back({point.x, point.y, point.z, point.sweepid, point.timestamp, frame});
  }
  while (points_.size() + kMostPerFrame > kMostPoints) {
    step_ *= 2;
    std::erase_if(points_, [this](const Point& kept) { return kept.frame % step_ != 0; });
  }
}

std::optional<Movement> checkPoints(const PointSample& sample, const norvo::PGOResultMsg& poses) {
  const std::vector<Point> points = posedPoints(sample, poses);
  if (points.empty()) return std::nullopt;
  checkRange(points, poses);
  checkTimes(points, poses);
  return movementOf(points, poses);
}
