#include "make_survey/scanner.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

constexpr std::uint32_t kRings = 32;
constexpr double kLowest = -24 * std::numbers::pi / 180;  // elevation of the lowest ring
constexpr double kHighest = 14 * std::numbers::pi / 180;  // and of the highest one
constexpr double kReach = 90;                             // metres
constexpr double kRangeNoise = 0.008;                     // metres
constexpr double kLeafDepth = 0.8;                        // metres that light gets into a crown
constexpr double kTurnTime = 0.1;                         // seconds
constexpr double kRaysPerPoint = 1.15;                    // some rays meet nothing

double grained(double colour, double grain) {
  return std::clamp(colour * grain, 0.0, 255.0);
}

}  // namespace

const std::vector<ScanPoint>& Scanner::sweep(const Eigen::Isometry3d& pose, std::uint32_t number,
                                             std::uint32_t count) {
  points_.clear();
  double rays = count * kRaysPerPoint;
  while (points_.size() < count) {
    turnOnce(pose, number, static_cast<std::uint32_t>(rays / kRings) + 1);
    rays *= 1.1;
  }
  // Keeps `count` of the returns, evenly spread over the turn.
  const std::uint64_t found = points_.size();
  for (std::uint64_t i = 0; i < count; ++i) points_[i] = points_[i * found / count];
  points_.resize(count);
  return points_;
}

/// Fills points_ with the returns of one turn in which every ring fires `columns` times.
void Scanner::turnOnce(const Eigen::Isometry3d& pose, std::uint32_t number, std::uint32_t columns) {
  points_.clear();
  Noise noise(seed_, std::uint64_t{number} + 2);
  const double firstAzimuth = noise.uniform(0, 2 * std::numbers::pi);
  for (std::uint32_t column = 0; column < columns; ++column) {
    const double part = static_cast<double>(column) / columns;
    const double azimuth = firstAzimuth - 2 * std::numbers::pi * part;
    for (std::uint32_t ring = 0; ring < kRings; ++ring) {
      const double elevation = kLowest + (kHighest - kLowest) * ring / (kRings - 1);
      const Eigen::Vector3d direction(std::cos(elevation) * std::cos(azimuth),
                                      std::cos(elevation) * std::sin(azimuth), std::sin(elevation));
      const auto sight = town_.look({pose.translation(), pose.linear() * direction}, kReach);
      if (!sight) continue;
      double distance = sight->distance + noise.normal(kRangeNoise);
      if (sight->material == Material::kLeaves)
        distance += kLeafDepth * noise.uniform(0, 1) * noise.uniform(0, 1);
      const double grain = 1 + noise.normal(0.06);
      const double echo = sight->paint.reflectance * (0.3 + 0.7 * sight->cosIncidence) *
                          std::exp(-distance / 120) * (1 + noise.normal(0.08));
      points_.push_back({distance * direction, kTurnTime * part, grained(sight->paint.red, grain),
                         grained(sight->paint.green, grain), grained(sight->paint.blue, grain),
                         std::clamp(255 * echo, 0.0, 255.0)});
    }
  }
}
