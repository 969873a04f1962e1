#include "make_survey/solids.h"

#include <algorithm>
#include <cmath>

namespace {

/// From the map's axes to axes with this heading, and back.
Eigen::Vector3d toSolid(const Eigen::Vector3d& v, const Eigen::Vector2d& heading) {
  return {heading.x() * v.x() + heading.y() * v.y(), heading.x() * v.y() - heading.y() * v.x(),
          v.z()};
}
Eigen::Vector3d toMap(const Eigen::Vector3d& v, const Eigen::Vector2d& heading) {
  return {heading.x() * v.x() - heading.y() * v.y(), heading.x() * v.y() + heading.y() * v.x(),
          v.z()};
}

bool meetBox(const Ray& ray, const Solid& box, Meeting& meeting) {
  const Eigen::Vector3d origin = toSolid(ray.origin - box.centre, box.heading);
  const Eigen::Vector3d direction = toSolid(ray.direction, box.heading);
  double enter = 0;
  double leave = meeting.distance;
  int side = -1;
  for (int axis = 0; axis < 3; ++axis) {
    const double one = (-box.halfSize[axis] - origin[axis]) / direction[axis];
    const double other = (box.halfSize[axis] - origin[axis]) / direction[axis];
    const double near = std::min(one, other);
    if (near > enter) {
      enter = near;
      side = axis;
    }
    leave = std::min(leave, std::max(one, other));
  }
  if (side < 0 || enter >= leave) return false;
  Eigen::Vector3d normal = Eigen::Vector3d::Zero();
  normal[side] = direction[side] < 0 ? 1 : -1;
  meeting = {enter, toMap(normal, box.heading)};
  return true;
}

/// The first root of a·t² + 2·b·t + c, or a negative number when there is none.
double firstRoot(double a, double b, double c) {
  const double discriminant = b * b - a * c;
  return discriminant > 0 ? (-b - std::sqrt(discriminant)) / a : -1;
}

bool meetCylinder(const Ray& ray, const Solid& cylinder, Meeting& meeting) {
  const Eigen::Vector2d origin = (ray.origin - cylinder.centre).head<2>();
  const Eigen::Vector2d direction = ray.direction.head<2>();
  const double radius = cylinder.halfSize.x();
  const double distance = firstRoot(direction.squaredNorm(), origin.dot(direction),
                                    origin.squaredNorm() - radius * radius);
  if (!(distance > 0 && distance < meeting.distance)) return false;
  const Eigen::Vector3d fromCentre = ray.at(distance) - cylinder.centre;
  if (std::abs(fromCentre.z()) > cylinder.halfSize.z()) return false;
  meeting = {distance, {fromCentre.x() / radius, fromCentre.y() / radius, 0}};
  return true;
}

bool meetSphere(const Ray& ray, const Solid& sphere, Meeting& meeting) {
  const Eigen::Vector3d origin = ray.origin - sphere.centre;
  const double radius = sphere.halfSize.x();
  const double distance =
      firstRoot(1, origin.dot(ray.direction), origin.squaredNorm() - radius * radius);
  if (!(distance > 0 && distance < meeting.distance)) return false;
  meeting = {distance, (ray.at(distance) - sphere.centre) / radius};
  return true;
}

}  // namespace

bool meet(const Ray& ray, const Solid& solid, Meeting& meeting) {
  switch (solid.shape) {
    case Shape::kBox:
      return meetBox(ray, solid, meeting);
    case Shape::kCylinder:
      return meetCylinder(ray, solid, meeting);
    case Shape::kSphere:
      return meetSphere(ray, solid, meeting);
  }
  return false;
}
