// The solids that the town is built of, and where a ray meets them.
#pragma once

#include <cstdint>

#include <Eigen/Core>

/// A half-line; `direction` is of unit length, so that distances along it are metres.
struct Ray {
  Eigen::Vector3d origin;
  Eigen::Vector3d direction;

  Eigen::Vector3d at(double distance) const { return origin + distance * direction; }
};

/// A colour with the share of the scanner's light that comes back, 0 to 1.
struct Paint {
  double red;  ///< 0 to 255
  double green;
  double blue;
  double reflectance;
};

enum class Shape : std::uint8_t { kBox, kCylinder, kSphere };
enum class Material : std::uint8_t { kGround, kWall, kCar, kPole, kBark, kLeaves };

/// One solid: a box turned about the vertical, an upright cylinder without its ends, or a sphere.
struct Solid {
  Shape shape;
  Material material;
  Eigen::Vector3d centre;
  Eigen::Vector3d halfSize;  ///< half the extent along the solid's axes; for round ones the radius
  Eigen::Vector2d heading;   ///< the solid's x axis in the map, unit length
  Paint paint;

  /// The radius of an upright cylinder around the centre that holds the solid.
  double reach() const { return shape == Shape::kBox ? halfSize.head<2>().norm() : halfSize.x(); }
};

/// Where a ray meets a surface.
struct Meeting {
  double distance;         ///< metres from the ray's origin
  Eigen::Vector3d normal;  ///< of the surface, unit length
};

/// Where `ray` enters `solid` before `meeting.distance`: sets `meeting`, or returns false and
/// leaves it alone. The ray's origin is outside of the solid.
bool meet(const Ray& ray, const Solid& solid, Meeting& meeting);
