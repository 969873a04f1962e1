// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/export/time_check.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <string>

#include "pcbin_las/export/median.h"
#include "pcbin_las/las/gps_time.h"
#include "pcbin_las/platform/str_util.h"
#include "pcbin_las/platform/trace_macros.h"

namespace {

using ferrun::StrUtil;
using Point = PointSample::Point;

constexpr double kWeek = 604800;  ///< seconds
constexpr double kSameTime = 1;   ///< seconds

/// A time stamp of a point and that of its sweep's pose.
struct TimePair {
  double point, pose;
  double difference() const { return pose - point; }
};

/// Seconds of the GPS week of an adjusted standard GPS time.
double weekTime(double adjusted) {
  const double seconds = std::fmod(adjusted + 1e9, kWeek);
  return seconds < 0 ? seconds + kWeek : seconds;
}

/// Whether two known clocks explain the time stamps within `allowed` seconds; prints them as
/// information.
bool areOfTwoClocks(const TimePair& times, double allowed) {
  constexpr const char* kWeekName = "GPS week seconds";
  const auto report = [](const char* points, const char* poses) {
    TRACE_INFO("plausibility", "time stamps: the points have %s, the poses %s.", points, poses);
    return true;
  };
  const auto agree = [allowed](double a, double b) { return std::abs(a - b) <= allowed; };
  for (const pontra::Clock ofPoint : pontra::kClocks) {
    const double point = pontra::toAdjustedGpsTime(ofPoint, times.point);
    if (!pontra::isTimeOf(ofPoint, times.point)) continue;
    if (pontra::isWeekTime(times.pose) && agree(weekTime(point), times.pose))
      return report(pontra::clockName(ofPoint), kWeekName);
    for (const pontra::Clock ofPose : pontra::kClocks) {
      if (ofPose != ofPoint && pontra::isTimeOf(ofPose, times.pose) &&
          agree(point, pontra::toAdjustedGpsTime(ofPose, times.pose)))
        return report(pontra::clockName(ofPoint), pontra::clockName(ofPose));
    }
  }
  for (const pontra::Clock ofPose : pontra::kClocks) {
    if (pontra::isTimeOf(ofPose, times.pose) && pontra::isWeekTime(times.point) &&
        agree(weekTime(pontra::toAdjustedGpsTime(ofPose, times.pose)), times.point))
      return report(kWeekName, pontra::clockName(ofPose));
  }
  return false;
}

bool isSet(double time) {
  return std::isfinite(time) && time != 0;
}

/// The median time in seconds from one pose to the next of the sampled sweeps, for each sweep.
double medianStep(const std::vector<Point>& points, const norvo::PGOResultMsg& poses) {
  std::vector<double> steps;
  for (std::size_t i = 1; i < points.size(); ++i) {
    const auto [before, after] = std::pair(points[i - 1].sweepid, points[i].sweepid);
    if (before != after)
      steps.push_back(std::abs(poses.lioPoses[after].timestamp - poses.lioPoses[before].timestamp) /
                      (after - before));
  }
  return steps.empty() ? 0 : median(steps);
}

/// The pair of the median difference, and the duration of a sweep: what a sweep's points in the
/// sample cover, or the time to the next pose.
struct TimeComparison {
  TimePair middle;
  double duration;  ///< seconds
};

std::optional<TimeComparison> compareTimes(const std::vector<Point>& points,
                                           const norvo::PGOResultMsg& poses) {
  std::vector<TimePair> pairs;
  std::vector<double> durations;
  for (std::size_t i = 0, end = 0; i < points.size(); i = end) {
    const double pose = poses.lioPoses[points[i].sweepid].timestamp;
    double first = std::numeric_limits<double>::infinity();
    double last = -first;
    for (end = i; end < points.size() && points[end].sweepid == points[i].sweepid; ++end) {
      const double point = points[end].timestamp;
      if (!isSet(point) || !isSet(pose)) continue;
      pairs.push_back({point, pose});
      first = std::min(first, point);
      last = std::max(last, point);
    }
    if (last >= first) durations.push_back(last - first);
  }
  if (pairs.empty()) return std::nullopt;
  const TimePair middle =
      median(pairs, [](const TimePair& pair) { return std::abs(pair.difference()); });
  return TimeComparison{middle, std::max(median(durations), medianStep(points, poses))};
}

}  // namespace

void checkTimes(const std::vector<Point>& points, const norvo::PGOResultMsg& poses) {
  constexpr double kYear = 365.25 * 86400;
  const auto times = compareTimes(points, poses);
  if (!times) return;
  const double difference = times->middle.difference();
  const double allowed = std::max(kSameTime, times->duration);
  if (std::abs(difference) <= allowed || areOfTwoClocks(times->middle, allowed)) return;
  const double seconds = std::abs(difference);
  TRACE_WARNING("plausibility",
                "the time stamps of the poses are %s %s those of the points (median of a sample): "
                "check that the poses are those of this survey!",
                (seconds < kYear ? StrUtil::format("%.3f s", seconds)
                                 : StrUtil::format("%.1f years", seconds / kYear))
                    .c_str(),
                difference < 0 ? "before" : "after");
}
