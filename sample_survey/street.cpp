// SPDX-License-Identifier: BSD-3-Clause
#include "street.h"

#include <array>
#include <cmath>
#include <cstddef>

#include "random.h"

namespace {

using Eigen::Array3d;
using Eigen::Vector3d;

const Vector3d kAsphalt(72, 74, 80);
const Vector3d kMarking(225, 225, 218);
const Vector3d kPavement(150, 146, 138);
const Vector3d kGrass(92, 128, 62);
const Vector3d kHedge(60, 136, 50);
const Vector3d kGlass(52, 70, 92);
const Vector3d kMetal(200, 202, 206);
const std::array<Vector3d, 5> kWalls = {Vector3d(206, 182, 140), Vector3d(188, 98, 74),
                                        Vector3d(216, 208, 192), Vector3d(214, 158, 96),
                                        Vector3d(150, 168, 182)};
const std::array<Vector3d, 4> kCars = {Vector3d(176, 32, 34), Vector3d(38, 78, 150),
                                       Vector3d(222, 222, 224), Vector3d(44, 46, 50)};

template <std::size_t size>
const Vector3d& choose(const std::array<Vector3d, size>& colours, Random& random) {
  return colours[static_cast<std::size_t>(random.uniform(0, size))];
}

Box box(double x, double y, double bottom, const Vector3d& size, const Vector3d& colour) {
  const Vector3d low(x - size.x() / 2, y - size.y() / 2, bottom);
  return {low, low + size, colour};
}

Vector3d groundColour(const Vector3d& position) {
  const double fromCentreLine = std::abs(position.y());
  const bool dash = std::fmod(std::abs(position.x()), 6) < 3;
  if (fromCentreLine < 0.12 && dash) return kMarking;
  if (fromCentreLine < 5.2) return kAsphalt;
  return fromCentreLine < 7.2 ? kPavement : kGrass;
}

/// Replaces `hit` where the ray enters the box before `hit.distance`.
bool intersect(const Ray& ray, const Box& box, Hit& hit) {
  const Array3d toLow = (box.low - ray.origin).array() / ray.direction.array();
  const Array3d toHigh = (box.high - ray.origin).array() / ray.direction.array();
  Eigen::Index axis = 0;
  const double entry = toLow.min(toHigh).maxCoeff(&axis);
  const double exit = toLow.max(toHigh).minCoeff();
  if (!(entry > 0 && entry < hit.distance && entry < exit)) return false;
  hit = {entry, Vector3d::Zero(), box.colour};
  hit.normal[axis] = ray.direction[axis] < 0 ? 1 : -1;
  return true;
}

}  // namespace

std::vector<Box> buildStreet() {
  std::vector<Box> boxes;
  Random random(7);
  for (const double side : {1.0, -1.0}) {
    double x = -25;
    while (x < kStreetLength + 25) {
      const Vector3d size(random.uniform(8, 14), random.uniform(8, 10), random.uniform(5.5, 11));
      const double y = side * (random.uniform(10, 12.5) + size.y() / 2);
      boxes.push_back(box(x + size.x() / 2, y, 0, size, choose(kWalls, random)));
      boxes.push_back(box(x + size.x() / 2, side * 8.3, 0, {size.x() - 3, 0.6, 1}, kHedge));
      x += size.x() + random.uniform(2, 5);
    }
    for (int lamp = 0; lamp < 5; ++lamp)
      boxes.push_back(box(5 + 26 * lamp, side * 6, 0, {0.2, 0.2, 6}, kMetal));
    x = random.uniform(0, 8);
    while (x < kStreetLength) {
      boxes.push_back(box(x, side * 4.2, 0.25, {4.4, 1.8, 0.8}, choose(kCars, random)));
      boxes.push_back(box(x, side * 4.2, 1.05, {2.2, 1.6, 0.5}, kGlass));
      x += random.uniform(6.5, 18);
    }
  }
  return boxes;
}

std::optional<Hit> intersect(const Ray& ray, const std::vector<Box>& boxes, double maximumRange) {
  static const Vector3d kToSun = Vector3d(0.45, -0.6, 0.66).normalized();
  const double toGround = -ray.origin.z() / ray.direction.z();
  bool found = toGround > 0 && toGround < maximumRange;
  Hit hit{maximumRange, Vector3d::UnitZ(), {}};
  if (found)
    hit = {toGround, Vector3d::UnitZ(), groundColour(ray.origin + toGround * ray.direction)};
  for (const Box& box : boxes) found |= intersect(ray, box, hit);
  if (!found) return std::nullopt;
  hit.colour *= 0.72 + 0.28 * hit.normal.dot(kToSun);
  return hit;
}
