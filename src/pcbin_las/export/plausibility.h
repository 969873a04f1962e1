// SPDX-License-Identifier: BSD-3-Clause
// Checks whether the points of a survey and its poses belong together.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "pcbin_las/export/poses.h"
#include "pcbin_las/storage/points.h"

/// Some points of a survey, evenly distributed over its frames. Takes at most 1.5 MiB.
class PointSample {
 public:
  struct Point {
    float x, y, z;  ///< metres, as registered
    std::uint32_t sweepid;
    double timestamp;
    std::uint64_t frame;  ///< its number, counted from 0
  };

  /// Adds some points of the next frame, among them the first and the last one.
  void add(std::span<const norvo::PointRGBIST> points);

  const std::vector<Point>& points() const { return points_; }

 private:
  std::vector<Point> points_;
  std::uint64_t frames_ = 0;
  std::uint64_t step_ = 1;  ///< only frames whose number is a multiple contribute
};

/// What the poses did to the points of a sample.
struct Movement {
  double median = 0;  ///< metres, like `most`
  double most = 0;
  double turned = 0;  ///< the largest change of heading, degrees
  double tilted = 0;  ///< the largest change of the up axis, degrees
};

/// Compares the sample with the registration poses of its sweeps. Prints at most one warning for
/// each of: points out of a scanner's reach, or poses that spread wider than the points; time
/// stamps of another clock, as information when two known clocks explain the difference. Returns
/// nothing when no point of the sample has a pose.
std::optional<Movement> checkPoints(const PointSample& sample, const norvo::PGOResultMsg& poses);
