// SPDX-License-Identifier: BSD-3-Clause
// The scene of the sample survey: a straight street with houses, hedges, lamp posts and parked
// cars.
#pragma once

#include <optional>
#include <vector>

#include <Eigen/Core>

/// A ray from `origin` (metres, in the map) along `direction` (unit length).
struct Ray {
  Eigen::Vector3d origin;
  Eigen::Vector3d direction;
};

/// The intersection of a ray with a surface.
struct Hit {
  double distance;         ///< metres from the ray's origin
  Eigen::Vector3d normal;  ///< unit length
  Eigen::Vector3d colour;  ///< red, green and blue, 0 to 255
};

/// An object: an axis-aligned box.
struct Box {
  Eigen::Vector3d low;   ///< corner with the lowest coordinates
  Eigen::Vector3d high;  ///< corner with the highest coordinates
  Eigen::Vector3d colour;
};

constexpr double kStreetLength = 120;  ///< metres, from (0, 0) along the map's x axis

/// The objects on both sides of the street.
std::vector<Box> buildStreet();

/// The first hit of `ray`, which starts outside all boxes, within `maximumRange` metres: on a box
/// or on the ground at z = 0.
std::optional<Hit> intersect(const Ray& ray, const std::vector<Box>& boxes, double maximumRange);
