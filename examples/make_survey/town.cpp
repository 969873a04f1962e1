#include "make_survey/town.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "make_survey/streets.h"

namespace {

using Eigen::Vector2d;
using Eigen::Vector3d;

constexpr double kHighest = 12;  // metres; every solid ends below

constexpr Paint kAsphalt{72, 74, 80, 0.18};
constexpr Paint kMarking{225, 225, 218, 0.85};
constexpr Paint kPavement{150, 146, 138, 0.32};
constexpr Paint kGrass{92, 128, 62, 0.42};
constexpr Paint kWindow{52, 70, 92, 0.08};
constexpr Paint kPole{178, 182, 186, 0.7};
constexpr Paint kBark{96, 72, 52, 0.3};
constexpr std::array kWalls = {Paint{206, 182, 140, 0.55}, Paint{188, 98, 74, 0.45},
                               Paint{216, 208, 192, 0.65}, Paint{170, 150, 128, 0.5},
                               Paint{214, 158, 96, 0.5},   Paint{150, 168, 182, 0.5}};
constexpr std::array kCars = {Paint{176, 32, 34, 0.4}, Paint{38, 78, 150, 0.35},
                              Paint{222, 222, 224, 0.6}, Paint{44, 46, 50, 0.12}};

/// The remainder of a division, never negative.
double wrapped(double value, double period) {
  return value - period * std::floor(value / period);
}

Paint groundPaint(const Vector2d& position) {
  const double distance = street::signedDistance(position);
  const double fromCentreLine = std::abs(distance);
  const bool dash = wrapped(position.x() + position.y(), 6) < 3;
  if (fromCentreLine < 0.12 && dash) return kMarking;
  if (fromCentreLine < street::kRoadEdge) return kAsphalt;
  return fromCentreLine < street::kPavementEdge ? kPavement : kGrass;
}

/// The wall's own paint, or a window's.
Paint wallPaint(const Solid& house, const Meeting& meeting, const Vector3d& position) {
  const double along =
      (position - house.centre).head<2>().dot(Vector2d(-meeting.normal.y(), meeting.normal.x()));
  const bool window =
      std::abs(wrapped(along, 3) - 1.5) < 0.6 && std::abs(wrapped(position.z(), 3) - 1.7) < 0.65;
  return window ? kWindow : house.paint;
}

Paint lit(Paint paint, const Vector3d& normal) {
  static const Vector3d kToSun = Vector3d(0.45, -0.6, 0.66).normalized();
  const double light = 0.72 + 0.28 * normal.dot(kToSun);
  return {paint.red * light, paint.green * light, paint.blue * light, paint.reflectance};
}

}  // namespace

Town::Town(std::uint64_t seed) : noise_(seed), solids_(street::centre()) {
  for (int side = 0; side < 4; ++side) buildSide(side);
  plantTrees();
}

void Town::addHouse(const Vector2d& front, const Vector2d& heading, double width, double depth) {
  const double yaw = std::atan2(heading.y(), heading.x()) + noise_.normal(0.015);
  const double height = noise_.uniform(5.5, kHighest - 1);
  const Vector2d outward(heading.y(), -heading.x());
  const Vector2d middle = front + depth / 2 * outward;
  const auto paint = kWalls[static_cast<std::size_t>(noise_.uniform(0, kWalls.size()))];
  solids_.add({Shape::kBox,
               Material::kWall,
               {middle.x(), middle.y(), height / 2},
               {width / 2, std::abs(depth) / 2, height / 2},
               {std::cos(yaw), std::sin(yaw)},
               paint});
}

void Town::addTree(const Vector2d& foot, double size) {
  const double crown = size * noise_.uniform(1.3, 1.9);
  const double trunk = size * noise_.uniform(2.0, 2.8);
  solids_.add({Shape::kCylinder,
               Material::kBark,
               {foot.x(), foot.y(), trunk / 2},
               {0.16 * size, 0.16 * size, trunk / 2},
               {1, 0},
               kBark});
  const Paint leaves{noise_.uniform(50, 95), noise_.uniform(105, 150), noise_.uniform(38, 60), 0.5};
  for (int part = 0; part < 3; ++part) {
    const double radius = crown * noise_.uniform(0.6, 0.9);
    const Vector3d centre(foot.x() + noise_.normal(0.4 * crown),
                          foot.y() + noise_.normal(0.4 * crown),
                          trunk + crown * noise_.uniform(0.3, 0.9));
    solids_.add(
        {Shape::kSphere, Material::kLeaves, centre, Vector3d::Constant(radius), {1, 0}, leaves});
  }
}

void Town::addCar(const Vector2d& position, const Vector2d& heading) {
  const auto paint = kCars[static_cast<std::size_t>(noise_.uniform(0, kCars.size()))];
  solids_.add({Shape::kBox,
               Material::kCar,
               {position.x(), position.y(), 0.65},
               {2.2, 0.9, 0.4},
               heading,
               paint});
  solids_.add({Shape::kBox,
               Material::kCar,
               {position.x(), position.y(), 1.25},
               {1.1, 0.8, 0.3},
               heading,
               kWindow});
}

void Town::addPole(const Vector2d& foot) {
  solids_.add(
      {Shape::kCylinder, Material::kPole, {foot.x(), foot.y(), 3}, {0.09, 0.09, 3}, {1, 0}, kPole});
}

/// Builds along one of the loop's four straights, the south one first: houses, trees, poles and
/// cars on the outside and on the inside.
void Town::buildSide(int side) {
  const bool isLong = side % 2 == 0;
  const Vector2d heading = std::array{Vector2d(1, 0), Vector2d(0, 1), Vector2d(-1, 0),
                                      Vector2d(0, -1)}[static_cast<std::size_t>(side)];
  const Vector2d outward(heading.y(), -heading.x());
  const double half = (isLong ? street::kLength : street::kWidth) / 2;
  const double toCentre = (isLong ? street::kWidth : street::kLength) / 2;
  const auto place = [&](double along, double across) -> Vector2d {
    return street::centre() + along * heading + (toCentre + across) * outward;
  };
  for (const double away : {1.0, -1.0}) {
    // Outside, the rows end where the next side's begin; inside, those of the long sides go first.
    const double rowEnd = away > 0 ? half + 7 : half - (isLong ? 10 : 23);
    for (double along = -rowEnd;;) {
      const double width = noise_.uniform(8, 14);
      if (along + width > rowEnd) break;
      addHouse(place(along + width / 2, away * noise_.uniform(10, 12.5)), heading, width,
               away * noise_.uniform(8, 10));
      along += width + noise_.uniform(2, 5);
    }
    const double straight = half - street::kCornerRadius;
    for (double along = -straight; along <= straight; along += noise_.uniform(11, 16))
      addTree(place(along, away * 8), 1);
    for (double along = 5 - straight; along <= straight; along += 26)
      addPole(place(along, away * 6));
    for (double along = 3 - straight; along <= straight - 3; along += 6.5) {
      if (noise_.uniform(0, 1) < 0.4) addCar(place(along, away * 4.2), heading);
    }
  }
}

/// Larger trees in the yard between the houses, and behind the town.
void Town::plantTrees() {
  for (int tree = 0; tree < 12; ++tree)
    addTree(street::centre() + Vector2d(noise_.uniform(-28, 28), noise_.uniform(-9, 9)), 1.5);
  for (int tree = 0; tree < 400; ++tree) {
    const Vector2d foot =
        street::centre() + Vector2d(noise_.uniform(-105, 105), noise_.uniform(-85, 85));
    const double distance = street::signedDistance(foot);
    if (distance > 28 && distance < 48) addTree(foot, noise_.uniform(1.2, 1.8));
  }
}

std::optional<Sight> Town::look(const Ray& ray, double reach) const {
  const bool downward = ray.direction.z() < 0;
  const double toPlane = ((downward ? 0 : kHighest) - ray.origin.z()) / ray.direction.z();
  Meeting meeting{std::min(reach, toPlane), Vector3d::UnitZ()};
  const Solid* const solid = solids_.first(ray, meeting);
  if (solid == nullptr && !(downward && toPlane <= reach)) return std::nullopt;

  const Vector3d position = ray.at(meeting.distance);
  const Material material = solid == nullptr ? Material::kGround : solid->material;
  Paint paint = solid == nullptr ? groundPaint(position.head<2>()) : solid->paint;
  if (material == Material::kWall) paint = wallPaint(*solid, meeting, position);
  return Sight{meeting.distance, std::abs(ray.direction.dot(meeting.normal)), material,
               lit(paint, meeting.normal)};
}
