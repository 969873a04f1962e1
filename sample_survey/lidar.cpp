// SPDX-License-Identifier: BSD-3-Clause
#include "lidar.h"

#include <cmath>
#include <numbers>

namespace {

constexpr double kDegree = std::numbers::pi / 180;  // radians
constexpr double kMaximumRange = 90;                // metres
constexpr double kRangeNoise = 0.008;               // metres, standard deviation

}  // namespace

std::vector<LidarReturn> scan(const std::vector<Box>& street, const Eigen::Isometry3d& pose,
                              unsigned count, Random& random) {
  std::vector<LidarReturn> returns;
  returns.reserve(count);
  const double firstAzimuth = random.uniform(0, 2 * std::numbers::pi);
  while (returns.size() < count) {
    const double part = static_cast<double>(returns.size()) / count;
    const double azimuth = firstAzimuth - 2 * std::numbers::pi * part;
    const double elevation = random.uniform(-24 * kDegree, 14 * kDegree);
    const Eigen::Vector3d direction(std::cos(elevation) * std::cos(azimuth),
                                    std::cos(elevation) * std::sin(azimuth), std::sin(elevation));
    const Ray ray{pose.translation(), pose.linear() * direction};
    const auto hit = intersect(ray, street, kMaximumRange);
    if (!hit) continue;
    const double cosIncidence = std::abs(ray.direction.dot(hit->normal));
    returns.push_back({(hit->distance + random.normal(kRangeNoise)) * direction, hit->colour,
                       hit->colour.mean() * (0.3 + 0.7 * cosIncidence), kSweepTime * part});
  }
  return returns;
}
