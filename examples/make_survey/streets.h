// The street of the town: a loop along a rectangle with rounded corners.
#pragma once

#include <algorithm>
#include <cmath>
#include <numbers>

#include <Eigen/Geometry>

/// A place on the street's centre line and the direction of travel there.
struct StreetPoint {
  Eigen::Vector2d position;  ///< metres, in the map
  double heading;            ///< radians, from the map's x axis
};

/// The centre line starts at the map's origin, leads east and goes round to the left.
namespace street {

constexpr double kLength = 110;  ///< metres, west to east
constexpr double kWidth = 70;    ///< metres, south to north
constexpr double kCornerRadius = 14;
constexpr double kLoop =
    2 * (kLength + kWidth) - 8 * kCornerRadius + 2 * std::numbers::pi * kCornerRadius;
constexpr double kRoadEdge = 5.2;      ///< metres from the centre line
constexpr double kPavementEdge = 7.2;  ///< metres from the centre line

inline Eigen::Vector2d centre() {
  return {0, kWidth / 2};
}

/// The distance in metres from the centre line: negative on the inside of the loop.
inline double signedDistance(const Eigen::Vector2d& position) {
  const Eigen::Vector2d fromCentre = (position - centre()).cwiseAbs();
  const Eigen::Vector2d core(kLength / 2 - kCornerRadius, kWidth / 2 - kCornerRadius);
  const Eigen::Vector2d q = fromCentre - core;
  return q.cwiseMax(0.0).norm() + std::min(q.maxCoeff(), 0.0) - kCornerRadius;
}

/// The place that lies `distance` metres along the centre line from its start; any number of loops.
inline StreetPoint at(double distance) {
  constexpr double kCorner = std::numbers::pi / 2 * kCornerRadius;
  double left = std::fmod(distance, kLoop);
  StreetPoint place{{0, 0}, 0};
  // The south side from its middle, the other three, and the rest of the south side.
  constexpr double kHalfLong = kLength / 2 - kCornerRadius;
  constexpr double kShort = kWidth - 2 * kCornerRadius;
  for (const double straight : {kHalfLong, kShort, 2 * kHalfLong, kShort, kHalfLong}) {
    const Eigen::Vector2d ahead(std::cos(place.heading), std::sin(place.heading));
    const Eigen::Vector2d leftward(-ahead.y(), ahead.x());
    place.position += std::min(left, straight) * ahead;
    if (left <= straight) return place;
    left -= straight;
    const double turn = std::min(left, kCorner) / kCornerRadius;
    place.position += kCornerRadius * (std::sin(turn) * ahead + (1 - std::cos(turn)) * leftward);
    place.heading += turn;
    if (left <= kCorner) return place;
    left -= kCorner;
  }
  return {{0, 0}, 0};
}

}  // namespace street
